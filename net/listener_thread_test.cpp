// The listener for a browser in another session: the id it extracts, its own texts, and its connections.

#include "net/listener_thread.h"

#include "auth/kernel_handle.h"
#include "net/callback_answer.h"
#include "net/html_page.h"
#include "net/patient_select.h"
#include "net/started_threads.h"
#include "net/winsock_balance.h"
#include "tests/support/import_patch.h"
#include "tests/support/library_under_test.h"
#include "tests/support/process_counts.h"
#include "tests/support/scripted_browser.h"
#include "tests/support/trace_recording.h"

#include <atomic>
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <new>
#include <process.h>

namespace {

// Tells whether the thread frees the record that it is given.
std::atomic<void*> watchedRecord{nullptr};
std::atomic<int> watchedFrees{0};

void CountingFree(void* memory) noexcept {
    if (memory != nullptr && memory == watchedRecord) {
        ++watchedFrees;
        watchedRecord = nullptr; // the next block at this place is another one
    }
    std::free(memory);
}

} // namespace

void* operator new(std::size_t size) {
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    CountingFree(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    CountingFree(memory);
}

namespace zelto::test {
namespace {

using testing::ElementsAre;

HMODULE ThisProgram() {
    return GetModuleHandleW(nullptr);
}

class ListenerThreadTest : public testing::Test {
protected:
    ~ListenerThreadTest() override {
        EXPECT_TRUE(threads.WaitForAll()); // the readers, too: none of them touches what the next test counts
        if (library != nullptr) {
            FreeLibrary(library);
        }
    }

    void Start() {
        auto* record = new ListenerThreadArgs{&port, &timeoutSeconds, &authId};
        watchedFrees = 0;
        watchedRecord = record;
        thread.reset(reinterpret_cast<HANDLE>(
            _beginthreadex(nullptr, 0, ExtBrowserListenerThread, record, 0, nullptr)));
        ASSERT_TRUE(thread);
    }

    // Waits for the thread's end; it answers 0 and has freed its record, whatever happened.
    void Join() {
        ASSERT_EQ(WaitForSingleObject(thread.get(), 60000), WAIT_OBJECT_0);
        DWORD code = 1;
        GetExitCodeThread(thread.get(), &code);
        EXPECT_EQ(code, 0u);
        EXPECT_EQ(watchedFrees, 1);
        watchedRecord = nullptr;
    }

    std::string Called() const {
        return "info: called. dwPort=" + std::to_string(port) +
               ", dwTimeout=" + std::to_string(timeoutSeconds * 1000) + ", /*bExit=0*/";
    }

    // A run that ends without an id; what it logs behind its first line.
    std::vector<std::string> RunToFailure() {
        TraceRecording trace;
        Start();
        if (connect) {
            ScriptedConnection connection(static_cast<std::uint16_t>(port));
            Join();
        } else {
            Join();
        }
        EXPECT_EQ(authId, "untouched");
        std::vector<std::string> messages = trace.Take();
        EXPECT_EQ(messages.at(0), Called());
        messages.erase(messages.begin());
        return WithoutSocketNumbers(messages);
    }

    std::string ZtnaAnswer() const {
        std::string page;
        EXPECT_TRUE(LoadHtmlPage(library, 1004, page));
        return std::string("HTTP/1.1 200 OK\r\n ContentType: text/html \r\n\r\n") + page;
    }

    // Exactly as many bytes as the answer has, because nobody ends the connection.
    std::string ReceiveAnswer(const ScriptedConnection& browser) const {
        const std::string expected = ZtnaAnswer();
        std::string answer(expected.size(), '\0');
        std::size_t got = 0;
        while (got < answer.size()) {
            const int piece =
                recv(browser.Socket(), answer.data() + got, static_cast<int>(answer.size() - got), 0);
            if (piece <= 0) {
                break;
            }
            got += static_cast<std::size_t>(piece);
        }
        answer.resize(got);
        return answer;
    }

    HMODULE library = LoadBuiltLibrary(LibraryUnderTest::LibraryPath());
    std::uint32_t port = FreePort();
    std::uint32_t timeoutSeconds = 3;
    std::string authId = "untouched";
    const PatientSelect patience;
    StartedThreads threads;
    KernelHandle thread;
    bool connect = false;
};

TEST_F(ListenerThreadTest, TheIdOfTheRequestIsExtractedAndTheZtnaPageSent) {
    TraceRecording trace;
    Start();
    ScriptedConnection browser(static_cast<std::uint16_t>(port));
    browser.Send("GET /?id=ab12 HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
    EXPECT_EQ(ReceiveAnswer(browser), ZtnaAnswer());
    Join();
    EXPECT_EQ(authId, "ab12");
    EXPECT_THAT(WithoutSocketNumbers(trace.Take()),
                ElementsAre(Called(), "info: Client socket(SOCKET) established.",
                            "debug: RecvFromSocket() Read event on the socket.",
                            "info: Get authId successfully!", "info: authId: ab12"));
}

TEST_F(ListenerThreadTest, ARequestWithoutAnIdYieldsTheEmptyId) {
    TraceRecording trace;
    Start();
    ScriptedConnection browser(static_cast<std::uint16_t>(port));
    browser.Send("GET /favicon.ico HTTP/1.1\r\n\r\n");
    Join();
    EXPECT_EQ(authId, "");
    EXPECT_EQ(trace.Take().back(), "info: authId: ");
}

TEST_F(ListenerThreadTest, AnIdWithoutABlankBehindItYieldsTheEmptyId) {
    Start();
    ScriptedConnection browser(static_cast<std::uint16_t>(port));
    browser.Send("GET /?id=ab12");
    Join();
    EXPECT_EQ(authId, "");
}

TEST_F(ListenerThreadTest, AConnectionWithoutARequestEndsItWithTheEmptyId) {
    TraceRecording trace;
    Start();
    ScriptedConnection(static_cast<std::uint16_t>(port)).Close();
    Join();
    EXPECT_EQ(authId, "");
    EXPECT_EQ(trace.Take().back(), "info: authId: ");
}

TEST_F(ListenerThreadTest, ATimeOutInSecondsIsPassedOnInMilliseconds) {
    static std::atomic<DWORD> receiveTimeout;
    static int(WINAPI * original)(SOCKET, int, int, const char*, int);
    const ImportPatch patch(
        ThisProgram(), "setsockopt",
        +[](SOCKET socket, int level, int option, const char* value, int length) -> int {
            if (option == SO_RCVTIMEO) {
                receiveTimeout = *reinterpret_cast<const DWORD*>(value);
            }
            return original(socket, level, option, value, length);
        });
    original = patch.Original<int WINAPI(SOCKET, int, int, const char*, int)>();
    timeoutSeconds = 7;
    Start();
    ScriptedConnection browser(static_cast<std::uint16_t>(port));
    browser.Send("GET /?id=a HTTP/1.1\r\n\r\n");
    Join();
    EXPECT_EQ(receiveTimeout, 7000u);
}

std::atomic<int> dataEventManualReset;
HANDLE(WINAPI* originalCreateEvent)(LPSECURITY_ATTRIBUTES, BOOL, BOOL, LPCWSTR);

HANDLE WINAPI RecordingCreateEvent(LPSECURITY_ATTRIBUTES security, BOOL manual, BOOL set, LPCWSTR name) {
    dataEventManualReset = manual;
    return originalCreateEvent(security, manual, set, name);
}

TEST_F(ListenerThreadTest, TheDataReadyEventStaysSet) {
    const ImportPatch patch(ThisProgram(), "CreateEventW", RecordingCreateEvent);
    originalCreateEvent = patch.Original<HANDLE WINAPI(LPSECURITY_ATTRIBUTES, BOOL, BOOL, LPCWSTR)>();
    dataEventManualReset = -1;
    const ImportPatch noWinsock(
        ThisProgram(), "WSAStartup", +[](WORD, LPWSADATA) -> int { return WSASYSNOTREADY; });
    Start();
    Join();
    EXPECT_EQ(dataEventManualReset, TRUE);
}

// A browser connects a few times at once; whichever of its connections carries the request, it is served.
// Each accepted socket stays open, and is the only thing that does.
TEST_F(ListenerThreadTest, EveryConnectionHasItsOwnReader) {
    const WinsockBalance balance;
    const auto run = [this] {
        authId = "untouched";
        Start();
        ScriptedConnection first(static_cast<std::uint16_t>(port));
        ScriptedConnection second(static_cast<std::uint16_t>(port));
        ScriptedConnection third(static_cast<std::uint16_t>(port));
        third.Send("GET /?id=third HTTP/1.1\r\n\r\n");
        EXPECT_EQ(ReceiveAnswer(third), ZtnaAnswer());
        Join();
        // The listener has ended; the other readers have not.
        first.Send("GET /?id=first HTTP/1.1\r\n\r\n");
        second.Send("GET /?id=second HTTP/1.1\r\n\r\n");
        EXPECT_EQ(ReceiveAnswer(first), ZtnaAnswer());
        EXPECT_EQ(ReceiveAnswer(second), ZtnaAnswer());
        EXPECT_EQ(authId, "third");
        EXPECT_TRUE(threads.WaitForAll());
        thread.reset();
    };
    run(); // opens what the system keeps
    port = FreePort();
    const std::size_t handles = CountHandles();
    run();
    EXPECT_EQ(CountHandles(), handles + 3);
    EXPECT_EQ(balance.Held(), 0);
    EXPECT_EQ(authId, "third");
}

TEST_F(ListenerThreadTest, APortInUseCannotBeBound) {
    const TakenPort taken;
    port = taken.Port();
    EXPECT_THAT(RunToFailure(),
                ElementsAre("error: local port " + std::to_string(port) + " can not be bound."));
}

TEST_F(ListenerThreadTest, APortAbove31BitsIsLoggedSigned) {
    const TakenPort taken;
    port = 0xFFFF0000u + taken.Port();
    TraceRecording trace;
    Start();
    Join();
    EXPECT_THAT(trace.Take().back(), testing::StartsWith("error: local port -"));
}

TEST_F(ListenerThreadTest, NoWinsockEndsItWithoutAMessage) {
    const ImportPatch patch(
        ThisProgram(), "WSAStartup", +[](WORD, LPWSADATA) -> int { return WSASYSNOTREADY; });
    EXPECT_THAT(RunToFailure(), ElementsAre());
}

TEST_F(ListenerThreadTest, NoSocketEndsItWithoutAMessage) {
    const ImportPatch patch(ThisProgram(), "socket", +[](int, int, int) -> SOCKET { return INVALID_SOCKET; });
    EXPECT_THAT(RunToFailure(), ElementsAre());
}

TEST_F(ListenerThreadTest, ASocketThatCannotListenEndsItWithoutAMessage) {
    const ImportPatch patch(ThisProgram(), "listen", +[](SOCKET, int) -> int { return SOCKET_ERROR; });
    EXPECT_THAT(RunToFailure(), ElementsAre());
}

TEST_F(ListenerThreadTest, NoAcceptEventEndsIt) {
    const ImportPatch patch(
        ThisProgram(), "WSACreateEvent", +[]() -> WSAEVENT {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return WSA_INVALID_EVENT;
        });
    EXPECT_THAT(RunToFailure(), ElementsAre("error:  WSACreateEvent() failed. LastError=8"));
}

TEST_F(ListenerThreadTest, AnAcceptThatFailsEndsIt) {
    const ImportPatch patch(
        ThisProgram(), "accept", +[](SOCKET, sockaddr*, int*) -> SOCKET {
            WSASetLastError(WSAEMFILE);
            return INVALID_SOCKET;
        });
    connect = true;
    EXPECT_THAT(RunToFailure(),
                ElementsAre("error: Cant accept connection request browser. Lasterror=10024"));
}

std::atomic<int> acceptCalls;
SOCKET(WINAPI* originalAccept)(SOCKET, sockaddr*, int*);

// The first browser has gone again.
SOCKET WINAPI AcceptAfterAFalseEvent(SOCKET listening, sockaddr* address, int* length) {
    if (acceptCalls++ > 0) {
        return originalAccept(listening, address, length);
    }
    const SOCKET pending = originalAccept(listening, address, length);
    EXPECT_NE(pending, INVALID_SOCKET);
    closesocket(pending);
    WSASetLastError(WSAEWOULDBLOCK);
    return INVALID_SOCKET;
}

TEST_F(ListenerThreadTest, AFalseAcceptEventIsWaitedOut) {
    acceptCalls = 0;
    const ImportPatch patch(ThisProgram(), "accept", AcceptAfterAFalseEvent);
    originalAccept = patch.Original<SOCKET WINAPI(SOCKET, sockaddr*, int*)>();
    TraceRecording trace;
    Start();
    EXPECT_EQ(RequestOnce(static_cast<std::uint16_t>(port), "one"), "");
    ScriptedConnection second(static_cast<std::uint16_t>(port));
    second.Send("GET /?id=two HTTP/1.1\r\n\r\n");
    Join();
    EXPECT_EQ(authId, "two");
    EXPECT_EQ(trace.Take().at(1), "info: False event signaled. Continue waiting...");
}

HANDLE createdDataEvent;
WSAEVENT createdAcceptEvent;
WSAEVENT(WINAPI* originalCreateWsaEvent)();

HANDLE WINAPI KeepingCreateEvent(LPSECURITY_ATTRIBUTES security, BOOL manual, BOOL set, LPCWSTR name) {
    return createdDataEvent = originalCreateEvent(security, manual, set, name);
}

WSAEVENT WINAPI KeepingCreateWsaEvent() {
    return createdAcceptEvent = originalCreateWsaEvent();
}

TEST_F(ListenerThreadTest, AConnectionComesBeforeAReaderThatHasFinished) {
    const ImportPatch createPatch(ThisProgram(), "CreateEventW", KeepingCreateEvent);
    originalCreateEvent = createPatch.Original<HANDLE WINAPI(LPSECURITY_ATTRIBUTES, BOOL, BOOL, LPCWSTR)>();
    const ImportPatch createWsaPatch(ThisProgram(), "WSACreateEvent", KeepingCreateWsaEvent);
    originalCreateWsaEvent = createWsaPatch.Original<WSAEVENT WINAPI()>();
    const ImportPatch waitPatch(
        ThisProgram(), "WaitForMultipleObjects", +[](DWORD, const HANDLE* handles, BOOL, DWORD) -> DWORD {
            EXPECT_EQ(handles[0], createdAcceptEvent);
            EXPECT_EQ(handles[1], createdDataEvent);
            SetLastError(ERROR_ACCESS_DENIED);
            return WAIT_FAILED;
        });
    EXPECT_THAT(RunToFailure(), ElementsAre("error:  WaitForMultipleObjects failed(5). dwWait=-1"));
}

TEST_F(ListenerThreadTest, AWaitThatFailsEndsIt) {
    const ImportPatch patch(
        ThisProgram(), "WaitForMultipleObjects",
        +[](DWORD count, const HANDLE*, BOOL, DWORD milliseconds) -> DWORD {
            EXPECT_EQ(count, 2u);
            EXPECT_EQ(milliseconds, 500u);
            SetLastError(ERROR_ACCESS_DENIED);
            return WAIT_FAILED;
        });
    EXPECT_THAT(RunToFailure(), ElementsAre("error:  WaitForMultipleObjects failed(5). dwWait=-1"));
}

std::uintptr_t(__cdecl* originalBeginThread)(void*, unsigned, unsigned(__stdcall*)(void*), void*, unsigned,
                                             unsigned*);

// The listener itself is started; its reader is not.
std::uintptr_t __cdecl BeginOnlyTheListener(void* security, unsigned stack, unsigned(__stdcall* start)(void*),
                                            void* argument, unsigned flags, unsigned* id) {
    if (start == ExtBrowserListenerThread) {
        return originalBeginThread(security, stack, start, argument, flags, id);
    }
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
}

TEST_F(ListenerThreadTest, AReaderThreadThatCannotBeStartedEndsItAndNotTheHost) {
    const ImportPatch patch(ThisProgram(), "_beginthreadex", BeginOnlyTheListener);
    originalBeginThread = patch.Original<std::remove_pointer_t<decltype(originalBeginThread)>>();
    connect = true;
    EXPECT_THAT(RunToFailure(), ElementsAre("info: Client socket(SOCKET) established."));
}

} // namespace
} // namespace zelto::test
