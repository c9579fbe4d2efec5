// What the listener opens, and the order in which it closes that again.

#include "net/callback_listener.h"

#include "auth/kernel_handle.h"
#include "net/running_listener.h"
#include "net/started_threads.h"
#include "tests/support/import_patch.h"
#include "tests/support/scripted_browser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <vector>

namespace zelto::test {
namespace {

using testing::ElementsAre;

constexpr std::uint32_t kLongMs = 600000;

// What the listener that is being watched has open, told by its own calls. Only the listener's thread writes
// here, and the test reads when that thread has ended.
struct Watch {
    DWORD thread = 0; // the one that creates the accept event
    WSAEVENT acceptEvent = nullptr;
    HANDLE dataReady = nullptr;
    HANDLE timer = nullptr;
    SOCKET listening = INVALID_SOCKET;
    SOCKET browser = INVALID_SOCKET;
    int dataEventManualReset = -1;
    u_long unread = 0; // bytes that the browser's socket still holds when it is closed
    std::vector<std::string> inheritable;
    std::vector<std::string> closed;

    bool IsWatched() const { return GetCurrentThreadId() == thread; }

    void LookAt(const char* name, SOCKET socket) {
        DWORD flags = 0;
        if (!GetHandleInformation(reinterpret_cast<HANDLE>(socket), &flags) ||
            (flags & HANDLE_FLAG_INHERIT) != 0) {
            inheritable.emplace_back(name);
        }
    }
};
Watch* watch;

HANDLE(WINAPI* createEvent)(LPSECURITY_ATTRIBUTES, BOOL, BOOL, LPCWSTR);
WSAEVENT(WINAPI* createWsaEvent)();
HANDLE(WINAPI* createTimer)(LPSECURITY_ATTRIBUTES, BOOL, LPCWSTR);
int(WINAPI* listenOn)(SOCKET, int);
SOCKET(WINAPI* acceptFrom)(SOCKET, sockaddr*, int*);
int(WINAPI* closeSocket)(SOCKET);
BOOL(WINAPI* closeWsaEvent)(WSAEVENT);
BOOL(WINAPI* closeHandle)(HANDLE);
int(WINAPI* cleanUp)();

// The data-ready event is the last one that the listener's thread creates before its accept event.
HANDLE WINAPI CreateEventWatched(LPSECURITY_ATTRIBUTES security, BOOL manual, BOOL set, LPCWSTR name) {
    EXPECT_FALSE(set);
    EXPECT_EQ(name, nullptr);
    const HANDLE event = createEvent(security, manual, set, name);
    if (watch->thread == 0) {
        watch->dataEventManualReset = manual;
        watch->dataReady = event;
    }
    return event;
}

WSAEVENT WINAPI CreateWsaEventWatched() {
    watch->thread = GetCurrentThreadId();
    return watch->acceptEvent = createWsaEvent();
}

HANDLE WINAPI CreateTimerWatched(LPSECURITY_ATTRIBUTES security, BOOL manual, LPCWSTR name) {
    EXPECT_TRUE(manual);
    return watch->timer = createTimer(security, manual, name);
}

int WINAPI ListenWatched(SOCKET socket, int backlog) {
    EXPECT_EQ(backlog, 0x7FFFFFFF);
    watch->listening = socket;
    return listenOn(socket, backlog);
}

SOCKET WINAPI AcceptWatched(SOCKET socket, sockaddr* address, int* length) {
    EXPECT_EQ(address, nullptr);
    return watch->browser = acceptFrom(socket, address, length);
}

int WINAPI CloseSocketWatched(SOCKET socket) {
    if (watch->IsWatched()) {
        const char* name = socket == watch->browser ? "browser" : "listening";
        watch->LookAt(name, socket);
        if (socket == watch->browser) {
            ioctlsocket(socket, static_cast<long>(FIONREAD), &watch->unread);
        }
        watch->closed.emplace_back(name);
    }
    return closeSocket(socket);
}

BOOL WINAPI CloseWsaEventWatched(WSAEVENT event) {
    watch->closed.emplace_back("accept event");
    return closeWsaEvent(event);
}

BOOL WINAPI CloseHandleWatched(HANDLE handle) {
    if (watch->IsWatched() && (handle == watch->timer || handle == watch->dataReady)) {
        watch->closed.emplace_back(handle == watch->timer ? "timer" : "data-ready event");
    }
    return closeHandle(handle);
}

int WINAPI CleanUpWatched() {
    if (watch->IsWatched()) {
        watch->closed.emplace_back("winsock");
    }
    return cleanUp();
}

// A replaced import whose original goes to a variable.
struct Replaced {
    template <class Function>
    Replaced(const char* name, Function* replacement, Function*& original)
        : patch(GetModuleHandleW(nullptr), name, replacement) {
        original = patch.Original<Function>();
    }
    ImportPatch patch;
};

struct SocketOption {
    SOCKET socket;
    int option;
    DWORD value;
    bool operator==(const SocketOption&) const = default;
};
DWORD browsersThread = 0; // the test's own, whose sockets have options, too
std::mutex optionsLock;   // the reader sets some
std::vector<SocketOption> options;
int(WINAPI* setOption)(SOCKET, int, int, const char*, int);
int WINAPI SetOptionWatched(SOCKET socket, int level, int option, const char* value, int length) {
    if (GetCurrentThreadId() != browsersThread) {
        EXPECT_EQ(level, SOL_SOCKET);
        const std::lock_guard lock(optionsLock);
        options.push_back({socket, option, *reinterpret_cast<const DWORD*>(value)});
    }
    return setOption(socket, level, option, value, length);
}

class CallbackListenerCleanupTest : public testing::Test {
protected:
    CallbackListenerCleanupTest() { watch = &own; }
    ~CallbackListenerCleanupTest() override { EXPECT_TRUE(threads.WaitForAll()); }

    KernelHandle exitEvent{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    StartedThreads threads;
    Watch own;

private:
    Replaced createEvent_{"CreateEventW", CreateEventWatched, createEvent};
    Replaced createWsaEvent_{"WSACreateEvent", CreateWsaEventWatched, createWsaEvent};
    Replaced createTimer_{"CreateWaitableTimerW", CreateTimerWatched, createTimer};
    Replaced listen_{"listen", ListenWatched, listenOn};
    Replaced accept_{"accept", AcceptWatched, acceptFrom};
    Replaced closeSocket_{"closesocket", CloseSocketWatched, closeSocket};
    Replaced closeWsaEvent_{"WSACloseEvent", CloseWsaEventWatched, closeWsaEvent};
    Replaced closeHandle_{"CloseHandle", CloseHandleWatched, closeHandle};
    Replaced cleanUp_{"WSACleanup", CleanUpWatched, cleanUp};
};

TEST_F(CallbackListenerCleanupTest, AfterARequestEverythingIsClosedInItsOrder) {
    RunningListener listener(0, kLongMs, exitEvent.get());
    RequestOnce(listener.Port(), "GET /?id=1 HTTP/1.1\r\n\r\n");
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::Success);
    std::erase(own.closed, "data-ready event"); // shared: the reader may be the last to let go of it
    EXPECT_THAT(own.closed, ElementsAre("browser", "listening", "accept event", "timer", "winsock"));
}

// The reader signals its data as the last but one of its steps.
HANDLE readerMayEnd;
BOOL(WINAPI* setEvent)(HANDLE);
BOOL WINAPI SignalAndStay(HANDLE event) {
    const BOOL done = setEvent(event);
    WaitForSingleObject(readerMayEnd, 60000);
    return done;
}

TEST_F(CallbackListenerCleanupTest, TheBrowserIsClosedWhileItsReaderIsStillEnding) {
    const KernelHandle mayEnd(readerMayEnd = CreateEventW(nullptr, TRUE, FALSE, nullptr));
    {
        const Replaced replaced("SetEvent", SignalAndStay, setEvent);
        RunningListener listener(0, kLongMs, exitEvent.get());
        RequestOnce(listener.Port(), "GET /?id=1 HTTP/1.1\r\n\r\n");
        EXPECT_EQ(listener.Outcome(), HttpUtilsError::Success);
        EXPECT_THAT(own.closed, ElementsAre("browser", "listening", "accept event", "timer", "winsock"));
        setEvent(readerMayEnd);
        EXPECT_TRUE(threads.WaitForAll());
    }
}

TEST_F(CallbackListenerCleanupTest, WithoutAConnectionTheRestIsClosedInItsOrder) {
    SetEvent(exitEvent.get());
    RunningListener listener(0, kLongMs, exitEvent.get());
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::Cancelled);
    EXPECT_THAT(own.closed, ElementsAre("listening", "accept event", "data-ready event", "timer", "winsock"));
}

TEST_F(CallbackListenerCleanupTest, TheDataReadyEventResetsItself) {
    SetEvent(exitEvent.get());
    RunningListener(0, kLongMs, exitEvent.get()).Join();
    EXPECT_EQ(own.dataEventManualReset, FALSE);
}

// Closed with unread bytes, the connection would be reset, and on Windows a browser then loses what it has
// not read yet.
TEST_F(CallbackListenerCleanupTest, TheRestOfALongRequestIsTakenOffBeforeClosing) {
    RunningListener listener(0, kLongMs, exitEvent.get());
    RequestOnce(listener.Port(), std::string(3000, 'x'));
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::Success);
    EXPECT_EQ(own.unread, 0u);
}

// Answered, but without an outcome.
TEST_F(CallbackListenerCleanupTest, TheRestOfALongRequestWithoutATextIsTakenOffToo) {
    RunningListener listener(0, kLongMs, exitEvent.get());
    RequestOnce(listener.Port(), std::string(3000, '\0'));
    EXPECT_EQ(listener.Outcome(), std::nullopt);
    EXPECT_EQ(own.unread, 0u);
}

DWORD(WINAPI* waitFor)(DWORD, const HANDLE*, BOOL, DWORD);
DWORD WINAPI WaitWatched(DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds) {
    EXPECT_EQ(count, 4u);
    EXPECT_EQ(handles[0], watch->acceptEvent);
    EXPECT_EQ(handles[1], watch->dataReady);
    EXPECT_EQ(handles[3], watch->timer);
    return waitFor(count, handles, all, milliseconds);
}

// Of several that are signalled the first one counts: a request that has come more than the exit event, which counts
// more than the timer.
TEST_F(CallbackListenerCleanupTest, TheFourAreWaitedForInTheirOrder) {
    const Replaced replaced("WaitForMultipleObjects", WaitWatched, waitFor);
    SetEvent(exitEvent.get());
    RunningListener listener(0, kLongMs, exitEvent.get());
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::Cancelled);
}

int discarded;
int(WINAPI* receiveFrom)(SOCKET, char*, int, int);
int WINAPI ReceiveWithoutEnd(SOCKET socket, char* buffer, int size, int flags) {
    if (!watch->IsWatched()) {
        return receiveFrom(socket, buffer, size, flags);
    }
    discarded += size;
    return discarded < 1'000'000 ? size : 0;
}

TEST_F(CallbackListenerCleanupTest, ABrowserThatSendsWithoutEndIsCutOffAt64KiB) {
    discarded = 0;
    const Replaced replaced("recv", ReceiveWithoutEnd, receiveFrom);
    RunningListener listener(0, kLongMs, exitEvent.get());
    RequestOnce(listener.Port(), "GET /?id=1 HTTP/1.1\r\n\r\n");
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::Success);
    EXPECT_EQ(discarded, 65536);
}

TEST_F(CallbackListenerCleanupTest, TheTimeOutIsSetOnTheListeningSocketAndByTheReader) {
    const Replaced replaced("setsockopt", SetOptionWatched, setOption);
    browsersThread = GetCurrentThreadId();
    options.clear();
    RunningListener listener(0, 12345, exitEvent.get());
    RequestOnce(listener.Port(), "GET /?id=1 HTTP/1.1\r\n\r\n");
    listener.Join();
    EXPECT_THAT(options, ElementsAre(SocketOption{own.listening, SO_RCVTIMEO, 12345},
                                     SocketOption{own.browser, SO_RCVTIMEO, 12345},
                                     SocketOption{own.browser, SO_SNDTIMEO, 12345}));
}

TEST_F(CallbackListenerCleanupTest, ProcessesThatTheHostStartsInheritNoSocket) {
    RunningListener listener(0, kLongMs, exitEvent.get());
    RequestOnce(listener.Port(), "GET /?id=1 HTTP/1.1\r\n\r\n");
    listener.Join();
    EXPECT_THAT(own.closed, testing::IsSupersetOf({"browser", "listening"}));
    EXPECT_THAT(own.inheritable, ElementsAre());
}

} // namespace
} // namespace zelto::test
