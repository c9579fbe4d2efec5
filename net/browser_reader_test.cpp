// The reader on its own, and the reader that is still at work when the listener and the flow are gone.

#include "net/browser_reader.h"

#include "net/callback_answer.h"
#include "net/html_page.h"
#include "net/running_listener.h"
#include "net/started_threads.h"
#include "net/winsock_balance.h"
#include "tests/support/import_patch.h"
#include "tests/support/library_under_test.h"
#include "tests/support/process_counts.h"
#include "tests/support/scripted_browser.h"
#include "tests/support/trace_recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

namespace zelto::test {
namespace {

using testing::ElementsAre;

constexpr std::uint32_t kLongMs = 600000;
constexpr DWORD kPatienceMs = 60000;
constexpr char kRequest[] = "GET /?id=ab12 HTTP/1.1\r\n\r\n";

HMODULE ThisProgram() {
    return GetModuleHandleW(nullptr);
}

// Both ends of a connection on the loopback address.
struct SocketPair {
    std::unique_ptr<ScriptedConnection> browser;
    std::shared_ptr<SocketHandle> accepted;

    SocketPair() {
        const std::uint16_t port = FreePort();
        SocketHandle listening(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        bind(listening.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address));
        listen(listening.get(), 1);
        browser = std::make_unique<ScriptedConnection>(port);
        accepted = std::make_shared<SocketHandle>(accept(listening.get(), nullptr, nullptr));
    }
};

DWORD SocketTimeout(SOCKET socket, int which) {
    DWORD timeout = 0;
    int length = sizeof(timeout);
    getsockopt(socket, SOL_SOCKET, which, reinterpret_cast<char*>(&timeout), &length);
    return timeout;
}

bool IsSet(const std::shared_ptr<KernelHandle>& event) {
    return WaitForSingleObject(event->get(), 0) == WAIT_OBJECT_0;
}

std::shared_ptr<KernelHandle> NewEvent() {
    return std::make_shared<KernelHandle>(CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

TEST(BrowserReaderTest, WithoutASocketItSignalsNothing) {
    TraceRecording trace;
    const auto event = NewEvent();
    const auto request = std::make_shared<CallbackRequest>();
    RecvFromSocket(nullptr, event, 1000, request, kPageKindVpn);
    RecvFromSocket(std::make_shared<SocketHandle>(), event, 1000, request, kPageKindVpn);
    EXPECT_FALSE(IsSet(event));
    EXPECT_THAT(trace.Take(),
                ElementsAre("error: client socket is invalid.", "error: client socket is invalid."));
}

TEST(BrowserReaderTest, SetsBothTimeOutsAndLeavesTheSocketOpen) {
    const SocketPair pair;
    const auto event = NewEvent();
    const auto request = std::make_shared<CallbackRequest>();
    pair.browser->Send(kRequest);
    RecvFromSocket(pair.accepted, event, 2345, request, kPageKindVpn);
    EXPECT_EQ(SocketTimeout(pair.accepted->get(), SO_RCVTIMEO), 2345u);
    EXPECT_EQ(SocketTimeout(pair.accepted->get(), SO_SNDTIMEO), 2345u);
    EXPECT_TRUE(IsSet(event));
    EXPECT_EQ(RequestText(*request), kRequest);
    EXPECT_EQ(send(pair.accepted->get(), "x", 1, 0), 1);
}

std::vector<int> sentLengths;
int(WINAPI* originalSend)(SOCKET, const char*, int, int);

int WINAPI RecordingSend(SOCKET socket, const char* bytes, int length, int flags) {
    sentLengths.push_back(length);
    EXPECT_EQ(flags, 0);
    return originalSend(socket, bytes, length, flags);
}

TEST(BrowserReaderTest, HeadAndPageGoOutInOneSend) {
    const HMODULE library = LoadBuiltLibrary(LibraryUnderTest::LibraryPath());
    std::string page;
    ASSERT_TRUE(LoadHtmlPage(library, 1004, page));
    const SocketPair pair;
    pair.browser->Send(kRequest);
    {
        const ImportPatch patch(ThisProgram(), "send", RecordingSend);
        originalSend = patch.Original<int WINAPI(SOCKET, const char*, int, int)>();
        sentLengths.clear();
        RecvFromSocket(pair.accepted, NewEvent(), 1000, std::make_shared<CallbackRequest>(), kPageKindZtna);
    }
    FreeLibrary(library);
    EXPECT_THAT(sentLengths, ElementsAre(static_cast<int>(45 + page.size())));
    pair.accepted->reset();
    EXPECT_EQ(pair.browser->ReceiveAll(), std::string(kCallbackAnswerHead) + page);
}

// Holds the reader inside one of its Winsock calls until the test lets it go on.
struct Gate {
    KernelHandle entered{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    KernelHandle open{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    SOCKET socket = INVALID_SOCKET;

    void Pass(SOCKET reading) {
        socket = reading;
        SetEvent(entered.get());
        WaitForSingleObject(open.get(), INFINITE);
    }
};

Gate* gate;
int(WINAPI* originalSelect)(int, fd_set*, fd_set*, fd_set*, const timeval*);
int(WINAPI* originalReceive)(SOCKET, char*, int, int);

// Then waits for longer than the tests do: the reader does not give its browser up by itself.
int WINAPI GatedSelect(int count, fd_set* readable, fd_set* writable, fd_set* failed, const timeval*) {
    gate->Pass(readable->fd_array[0]);
    const timeval tenMinutes = {600, 0};
    return originalSelect(count, readable, writable, failed, &tenMinutes);
}

// Only the reader asks for 1024 bytes.
int WINAPI GatedReceive(SOCKET socket, char* buffer, int size, int flags) {
    if (size == 1024) {
        gate->Pass(socket);
    }
    return originalReceive(socket, buffer, size, flags);
}

// Claims to have sent everything: the browser has the answer, and the text is stored after all others have
// gone.
int WINAPI GatedSend(SOCKET socket, const char*, int length, int) {
    gate->Pass(socket);
    return length;
}

class LateReaderTest : public testing::Test {
protected:
    // What the system opens once and keeps is open before anything is counted.
    static void SetUpTestSuite() {
        RunningListener listener(0, kLongMs, KernelHandle(CreateEventW(nullptr, TRUE, TRUE, nullptr)).get());
        listener.Join();
        FreePort();
        CountProcess();
    }

    LateReaderTest() { gate = &own; }
    ~LateReaderTest() override { EXPECT_TRUE(threads.WaitForAll()); }

    // Runs a listener until its reader stands at the gate and cancels it there.
    void CancelWhileTheReaderWorks(const char* bytes) {
        KernelHandle exitEvent(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        RunningListener listener(0, kLongMs, exitEvent.get());
        browser.emplace(listener.Port());
        if (*bytes != '\0') {
            WSABUF buffer = {static_cast<u_long>(std::strlen(bytes)), const_cast<char*>(bytes)};
            DWORD sent = 0;
            ASSERT_EQ(WSASend(browser->Socket(), &buffer, 1, &sent, 0, nullptr, nullptr), 0);
        }
        ASSERT_EQ(WaitForSingleObject(own.entered.get(), kPatienceMs), WAIT_OBJECT_0);
        SetEvent(exitEvent.get());
        EXPECT_EQ(listener.Outcome(), HttpUtilsError::Cancelled);
        request = listener.request;
    }

    // Lets the reader go on and waits for the end of its thread.
    void LetTheReaderEnd() {
        SetEvent(own.open.get());
        ASSERT_TRUE(threads.WaitForAll());
    }

    Gate own;
    StartedThreads threads;
    std::optional<ScriptedConnection> browser;
    std::weak_ptr<CallbackRequest> request;
};

TEST_F(LateReaderTest, InsideSelectItOutlivesTheListenerAndLeavesNothingBehind) {
    const WinsockBalance balance;
    const ImportPatch patch(ThisProgram(), "select", GatedSelect);
    originalSelect = patch.Original<int WINAPI(int, fd_set*, fd_set*, fd_set*, const timeval*)>();
    const std::size_t handles = CountHandles();
    const std::size_t threadCount = CountThreads();

    CancelWhileTheReaderWorks("");
    EXPECT_EQ(browser->ReceiveAll(), ""); // the browser sees the end now, not when the reader is done
    browser.reset();
    EXPECT_FALSE(request.expired());
    EXPECT_EQ(balance.Held(), 1);
    LetTheReaderEnd();
    EXPECT_TRUE(request.expired());
    EXPECT_EQ(balance.Held(), 0);
    EXPECT_EQ(CountHandles(), handles);
    EXPECT_LE(CountThreads(), threadCount); // idle threads of the pool may have gone meanwhile
}

TEST_F(LateReaderTest, InsideReceiveItOutlivesTheListenerAndLeavesNothingBehind) {
    const WinsockBalance balance;
    const ImportPatch patch(ThisProgram(), "recv", GatedReceive);
    originalReceive = patch.Original<int WINAPI(SOCKET, char*, int, int)>();
    const std::size_t handles = CountHandles();
    const std::size_t threadCount = CountThreads();

    CancelWhileTheReaderWorks(kRequest);
    EXPECT_EQ(balance.Held(), 1);
    LetTheReaderEnd();
    EXPECT_TRUE(request.expired());
    EXPECT_EQ(balance.Held(), 0);

    browser.reset();
    EXPECT_EQ(CountHandles(), handles);
    EXPECT_LE(CountThreads(), threadCount); // idle threads of the pool may have gone meanwhile
}

TEST_F(LateReaderTest, ItStoresItsTextWhenEverybodyElseHasGone) {
    const ImportPatch patch(ThisProgram(), "send", GatedSend);
    CancelWhileTheReaderWorks(kRequest);
    {
        const std::shared_ptr<CallbackRequest> late = request.lock();
        ASSERT_NE(late, nullptr);
        EXPECT_EQ(RequestText(*late), "");
        LetTheReaderEnd();
        EXPECT_EQ(RequestText(*late), kRequest);
    }
    EXPECT_TRUE(request.expired());
}

TEST_F(LateReaderTest, ItSignalsNoStrangersEventAndReadsFromNoStrangersSocket) {
    const ImportPatch patch(ThisProgram(), "select", GatedSelect);
    originalSelect = patch.Original<int WINAPI(int, fd_set*, fd_set*, fd_set*, const timeval*)>();
    CancelWhileTheReaderWorks("");

    // Whatever numbers have become free are taken again.
    std::vector<std::shared_ptr<KernelHandle>> events;
    std::vector<SocketHandle> sockets;
    for (int round = 0; round < 40; ++round) {
        events.push_back(NewEvent());
        sockets.emplace_back(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    }
    for (const SocketHandle& socket : sockets) {
        EXPECT_NE(socket.get(), own.socket);
    }
    browser->Close();
    LetTheReaderEnd();
    for (const auto& event : events) {
        EXPECT_FALSE(IsSet(event));
    }
}

int shutdownHow;
int(WINAPI* originalShutdown)(SOCKET, int);

int WINAPI RecordingShutdown(SOCKET socket, int how) {
    EXPECT_EQ(socket, gate->socket);
    shutdownHow = how;
    return originalShutdown(socket, how);
}

// On Windows it is the reader's direction that lets the reader see an end, too.
TEST_F(LateReaderTest, ItsConnectionIsShutDownBothWays) {
    const ImportPatch patch(ThisProgram(), "select", GatedSelect);
    originalSelect = patch.Original<int WINAPI(int, fd_set*, fd_set*, fd_set*, const timeval*)>();
    const ImportPatch shutdownPatch(ThisProgram(), "shutdown", RecordingShutdown);
    originalShutdown = shutdownPatch.Original<int WINAPI(SOCKET, int)>();
    shutdownHow = -1;
    CancelWhileTheReaderWorks("");
    EXPECT_EQ(shutdownHow, SD_BOTH);
    browser->Close();
    LetTheReaderEnd();
}

TEST_F(LateReaderTest, EndsSoonAfterTheListenerWhenItsBrowserCloses) {
    TraceRecording trace;
    const ImportPatch patch(ThisProgram(), "select", GatedSelect);
    originalSelect = patch.Original<int WINAPI(int, fd_set*, fd_set*, fd_set*, const timeval*)>();
    SetEvent(own.open.get()); // it goes on into the real call
    CancelWhileTheReaderWorks("");
    EXPECT_EQ(browser->ReceiveAll(), ""); // the browser sees the end …
    browser->Close();                     // … and ends its side, as browsers do
    LetTheReaderEnd();
    EXPECT_THAT(trace.Take(), testing::Not(testing::Contains(testing::HasSubstr("Nothing happen"))));
}

KernelHandle waitBegun;
DWORD(WINAPI* originalWait)(DWORD, const HANDLE*, BOOL, DWORD);

DWORD WINAPI TellingWait(DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds) {
    SetEvent(waitBegun.get());
    return originalWait(count, handles, all, milliseconds);
}

// The flow's part: its event may be closed, and the number taken by another event that is set, as soon as the
// listener has told its port.
TEST_F(LateReaderTest, TheCallersEventMayBeClosedAndItsNumberReused) {
    KernelHandle exitEvent(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const HANDLE number = exitEvent.get();
    waitBegun.reset(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    const ImportPatch patch(ThisProgram(), "WaitForMultipleObjects", TellingWait);
    originalWait = patch.Original<DWORD WINAPI(DWORD, const HANDLE*, BOOL, DWORD)>();
    RunningListener listener(0, kLongMs, number);
    const std::uint16_t port = listener.Port();
    ASSERT_EQ(WaitForSingleObject(waitBegun.get(), kPatienceMs), WAIT_OBJECT_0);
    exitEvent.reset();
    std::vector<std::shared_ptr<KernelHandle>> strangers;
    bool reused = false;
    for (int round = 0; round < 40 && !reused; ++round) {
        strangers.push_back(std::make_shared<KernelHandle>(CreateEventW(nullptr, TRUE, TRUE, nullptr)));
        reused = strangers.back()->get() == number;
    }
    ASSERT_TRUE(reused);
    for (int wait = 0; wait < 2; ++wait) { // the next wait would look at the stranger
        ASSERT_EQ(WaitForSingleObject(waitBegun.get(), kPatienceMs), WAIT_OBJECT_0);
    }
    RequestOnce(port, kRequest);
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::Success);
}

TEST_F(LateReaderTest, HandlesAndThreadsStayFlatOverManyConnections) {
    const auto round = [this](int number) {
        KernelHandle exitEvent(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        RunningListener listener(0, kLongMs, exitEvent.get());
        const std::uint16_t port = listener.Port();
        if (number % 3 == 0) {
            RequestOnce(port, kRequest);
            EXPECT_EQ(listener.Outcome(), HttpUtilsError::Success);
        } else if (number % 3 == 1) {
            ScriptedConnection(port).Close();
            EXPECT_EQ(listener.Outcome(), std::nullopt);
        } else {
            ScriptedConnection silent(port);
            ASSERT_EQ(WaitForSingleObject(own.entered.get(), kPatienceMs), WAIT_OBJECT_0);
            SetEvent(exitEvent.get());
            EXPECT_EQ(listener.Outcome(), HttpUtilsError::Cancelled);
        }
        ASSERT_TRUE(threads.WaitForAll());
        ResetEvent(own.entered.get());
    };
    const WinsockBalance balance;
    const ImportPatch patch(ThisProgram(), "select", GatedSelect);
    originalSelect = patch.Original<int WINAPI(int, fd_set*, fd_set*, fd_set*, const timeval*)>();
    SetEvent(own.open.get());
    for (int number = 0; number < 3; ++number) {
        round(number);
    }
    const std::size_t handles = CountHandles();
    const std::size_t threadCount = CountThreads();
    for (int number = 0; number < 60; ++number) {
        round(number);
    }
    EXPECT_EQ(CountHandles(), handles);
    EXPECT_LE(CountThreads(), threadCount); // idle threads of the pool may have gone meanwhile
    EXPECT_EQ(balance.Held(), 0);
}

} // namespace
} // namespace zelto::test
