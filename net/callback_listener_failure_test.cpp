// What the listener does when the system fails it: outcome, message, and nothing left open. The failing
// function is replaced in this program's import table.

#include "net/callback_listener.h"

#include "auth/kernel_handle.h"
#include "net/running_listener.h"
#include "net/started_threads.h"
#include "net/winsock_balance.h"
#include "tests/support/import_patch.h"
#include "tests/support/process_counts.h"
#include "tests/support/scripted_browser.h"
#include "tests/support/trace_recording.h"

#include <atomic>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <system_error>

namespace zelto::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::uint32_t kLongMs = 600000;

HMODULE ThisProgram() {
    return GetModuleHandleW(nullptr);
}

class CallbackListenerFailureTest : public testing::Test {
protected:
    // What the system opens once and keeps is open before anything is counted.
    static void SetUpTestSuite() {
        TraceRecording trace;
        KernelHandle exit(CreateEventW(nullptr, TRUE, TRUE, nullptr));
        EXPECT_EQ(RunningListener(0, kLongMs, exit.get()).Outcome(), HttpUtilsError::Cancelled);
    }

    CallbackListenerFailureTest() {
        FreePort(); // starts the test's own Winsock, before the counting
        balance.emplace();
    }

    // Runs a listener that ends by itself and checks that it leaves nothing behind. The first line of the log
    // is the one that every call writes; the others are returned.
    std::vector<std::string> Run(std::optional<HttpUtilsError> expected) {
        const std::size_t handles = CountHandles();
        TraceRecording trace;
        {
            RunningListener listener(0, kLongMs, exitEvent.get());
            if (onPort) {
                onPort(listener.Port());
            }
            EXPECT_EQ(listener.Outcome(), expected);
            exception = listener.Exception();
        }
        EXPECT_TRUE(threads.WaitForAll());
        EXPECT_EQ(balance->Held(), 0);
        std::vector<std::string> messages = trace.Take();
        EXPECT_EQ(CountHandles(), handles);
        EXPECT_THAT(messages.at(0), HasSubstr("called. dwPort=0"));
        messages.erase(messages.begin());
        return WithoutSocketNumbers(messages);
    }

    KernelHandle exitEvent{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    StartedThreads threads;
    std::optional<WinsockBalance> balance;
    std::function<void(std::uint16_t)> onPort;
    std::exception_ptr exception;
};

TEST_F(CallbackListenerFailureTest, NoWinsockFailsWithoutAMessage) {
    const ImportPatch patch(
        ThisProgram(), "WSAStartup", +[](WORD, LPWSADATA) -> int { return WSASYSNOTREADY; });
    EXPECT_THAT(Run(HttpUtilsError::Failed), ElementsAre());
}

TEST_F(CallbackListenerFailureTest, NoAcceptEventIsASocketError) {
    const ImportPatch patch(
        ThisProgram(), "WSACreateEvent", +[]() -> WSAEVENT {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return WSA_INVALID_EVENT;
        });
    EXPECT_THAT(Run(HttpUtilsError::SocketError),
                ElementsAre("error:  WSACreateEvent() failed. LastError=8"));
}

TEST_F(CallbackListenerFailureTest, NoTimerFailsTheFirstWait) {
    const ImportPatch patch(
        ThisProgram(), "CreateWaitableTimerW",
        +[](LPSECURITY_ATTRIBUTES, BOOL, LPCWSTR) -> HANDLE { return nullptr; });
    EXPECT_THAT(Run(HttpUtilsError::Failed),
                ElementsAre("error:  WaitForMultipleObjects failed(6). dwWait=-1"));
}

TEST_F(CallbackListenerFailureTest, ATimerThatCannotBeArmedFailsTheFirstWait) {
    const ImportPatch patch(
        ThisProgram(), "SetWaitableTimer",
        +[](HANDLE, const LARGE_INTEGER*, LONG, PTIMERAPCROUTINE, LPVOID, BOOL) -> BOOL { return FALSE; });
    EXPECT_THAT(Run(HttpUtilsError::Failed),
                ElementsAre("error:  WaitForMultipleObjects failed(6). dwWait=-1"));
}

TEST_F(CallbackListenerFailureTest, NoSocketIsASocketErrorWithoutAMessage) {
    const ImportPatch patch(ThisProgram(), "socket", +[](int, int, int) -> SOCKET { return INVALID_SOCKET; });
    EXPECT_THAT(Run(HttpUtilsError::SocketError), ElementsAre());
}

TEST_F(CallbackListenerFailureTest, ASocketThatCannotBeBoundIsASocketError) {
    const ImportPatch patch(
        ThisProgram(), "bind", +[](SOCKET, const sockaddr*, int) -> int { return SOCKET_ERROR; });
    EXPECT_THAT(Run(HttpUtilsError::SocketError), ElementsAre("error: local port 0 can not be bound."));
}

TEST_F(CallbackListenerFailureTest, AnAcceptEventThatCannotBeTiedIsASocketErrorWithoutAMessage) {
    const ImportPatch patch(
        ThisProgram(), "WSAEventSelect", +[](SOCKET, WSAEVENT, long) -> int { return SOCKET_ERROR; });
    EXPECT_THAT(Run(HttpUtilsError::SocketError), ElementsAre());
}

TEST_F(CallbackListenerFailureTest, ASocketThatCannotListenIsASocketErrorWithoutAMessage) {
    const ImportPatch patch(ThisProgram(), "listen", +[](SOCKET, int) -> int { return SOCKET_ERROR; });
    EXPECT_THAT(Run(HttpUtilsError::SocketError), ElementsAre());
}

TEST_F(CallbackListenerFailureTest, APortThatTheSystemDoesNotTellIsReportedAsZero) {
    const ImportPatch patch(
        ThisProgram(), "getsockname", +[](SOCKET, sockaddr*, int*) -> int { return SOCKET_ERROR; });
    onPort = [this](std::uint16_t port) {
        EXPECT_EQ(port, 0);
        SetEvent(exitEvent.get());
    };
    EXPECT_THAT(
        Run(HttpUtilsError::Cancelled),
        ElementsAre("error: Failed to get assigned port.",
                    "warning: RecvReqDataFromExtBrow() Connection request was cancelled either by user or "
                    "internal."));
}

TEST_F(CallbackListenerFailureTest, AnAcceptThatFailsIsASocketError) {
    const ImportPatch patch(
        ThisProgram(), "accept", +[](SOCKET, sockaddr*, int*) -> SOCKET {
            WSASetLastError(WSAEMFILE);
            return INVALID_SOCKET;
        });
    onPort = [](std::uint16_t port) { ScriptedConnection connection(port); };
    EXPECT_THAT(Run(HttpUtilsError::SocketError),
                ElementsAre("error: Cant accept connection request browser. Lasterror=10024"));
}

std::atomic<int> acceptCalls;
SOCKET(WINAPI* originalAccept)(SOCKET, sockaddr*, int*);

// Nobody is there at first. The event is set again by hand, since the pending connection has raised it
// already.
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

TEST_F(CallbackListenerFailureTest, AFalseAcceptEventIsWaitedOut) {
    acceptCalls = 0;
    const ImportPatch patch(ThisProgram(), "accept", AcceptAfterAFalseEvent);
    originalAccept = patch.Original<SOCKET WINAPI(SOCKET, sockaddr*, int*)>();
    onPort = [](std::uint16_t port) {
        EXPECT_EQ(RequestOnce(port, "one"), "");
        EXPECT_NE(RequestOnce(port, "two"), "");
    };
    EXPECT_THAT(
        Run(HttpUtilsError::Success),
        ElementsAre("info: False event signaled. Continue waiting...",
                    "info: Client socket(SOCKET) established.",
                    "debug: RecvFromSocket() Read event on the socket.", "info: Get authId successfully!",
                    "info: RecvReqDataFromExtBrow() Got auth id from external browser successfully."));
}

TEST_F(CallbackListenerFailureTest, AWaitThatFailsIsAFailure) {
    const ImportPatch patch(
        ThisProgram(), "WaitForMultipleObjects",
        +[](DWORD count, const HANDLE*, BOOL all, DWORD milliseconds) -> DWORD {
            EXPECT_EQ(count, 4u);
            EXPECT_FALSE(all);
            EXPECT_EQ(milliseconds, 500u);
            SetLastError(ERROR_ACCESS_DENIED);
            return WAIT_FAILED;
        });
    EXPECT_THAT(Run(HttpUtilsError::Failed),
                ElementsAre("error:  WaitForMultipleObjects failed(5). dwWait=-1"));
}

TEST_F(CallbackListenerFailureTest, AWaitResultThatNobodyExpectsIsAFailure) {
    const ImportPatch patch(
        ThisProgram(), "WaitForMultipleObjects", +[](DWORD, const HANDLE*, BOOL, DWORD) -> DWORD {
            SetLastError(ERROR_SUCCESS);
            return WAIT_ABANDONED_0 + 1;
        });
    EXPECT_THAT(Run(HttpUtilsError::Failed),
                ElementsAre("error:  WaitForMultipleObjects failed(0). dwWait=129"));
}

// A browser that gets no answer; the test's own send is replaced as well.
void SayHelloInVain(std::uint16_t port) {
    const int hello = 0x6F6C6C65; // "ello"
    ScriptedConnection browser(port);
    WSABUF buffer = {4, reinterpret_cast<char*>(const_cast<int*>(&hello))};
    DWORD sent = 0;
    EXPECT_EQ(WSASend(browser.Socket(), &buffer, 1, &sent, 0, nullptr, nullptr), 0);
    EXPECT_EQ(browser.ReceiveAll(), "");
}

TEST_F(CallbackListenerFailureTest, AnAnswerThatCannotBeSentEndsWithoutAnOutcome) {
    const ImportPatch patch(
        ThisProgram(), "send", +[](SOCKET, const char*, int, int) -> int {
            WSASetLastError(WSAECONNABORTED);
            return SOCKET_ERROR;
        });
    onPort = SayHelloInVain;
    EXPECT_THAT(Run(std::nullopt),
                ElementsAre("info: Client socket(SOCKET) established.",
                            "debug: RecvFromSocket() Read event on the socket.",
                            "error: Cant send response to browser properly. LastError=10053",
                            "error: RecvReqDataFromExtBrow() A dummy connection was made."));
}

TEST_F(CallbackListenerFailureTest, AnAnswerOfWhichNothingIsSentEndsWithoutAnOutcome) {
    const ImportPatch patch(
        ThisProgram(), "send", +[](SOCKET, const char*, int, int) -> int {
            WSASetLastError(0);
            return 0;
        });
    onPort = SayHelloInVain;
    EXPECT_THAT(Run(std::nullopt),
                ElementsAre("info: Client socket(SOCKET) established.",
                            "debug: RecvFromSocket() Read event on the socket.",
                            "error: Cant send response to browser properly. LastError=0",
                            "error: RecvReqDataFromExtBrow() A dummy connection was made."));
}

int(WINAPI* originalReceive)(SOCKET, char*, int, int);

// Only the reader asks for 1024 bytes.
int WINAPI ReceiveOfAResetConnection(SOCKET socket, char* buffer, int size, int flags) {
    if (size != 1024) {
        return originalReceive(socket, buffer, size, flags);
    }
    WSASetLastError(WSAECONNRESET);
    return SOCKET_ERROR;
}

TEST_F(CallbackListenerFailureTest, AConnectionThatIsResetEndsWithoutAnOutcome) {
    const ImportPatch patch(ThisProgram(), "recv", ReceiveOfAResetConnection);
    originalReceive = patch.Original<int WINAPI(SOCKET, char*, int, int)>();
    onPort = [](std::uint16_t port) { EXPECT_EQ(RequestOnce(port, "hello"), ""); };
    EXPECT_THAT(Run(std::nullopt),
                ElementsAre("info: Client socket(SOCKET) established.",
                            "debug: RecvFromSocket() Read event on the socket.",
                            "warning: Could not read from socket(SOCKET). recv() returns -1. errocode=10054",
                            "error: RecvReqDataFromExtBrow() A dummy connection was made."));
}

TEST_F(CallbackListenerFailureTest, ASelectThatFailsEndsWithoutAnOutcome) {
    const ImportPatch patch(
        ThisProgram(), "select", +[](int, fd_set*, fd_set*, fd_set*, const timeval* patience) -> int {
            EXPECT_EQ(patience->tv_sec, 5);
            EXPECT_EQ(patience->tv_usec, 0);
            return SOCKET_ERROR;
        });
    onPort = [](std::uint16_t port) { EXPECT_EQ(RequestOnce(port, "hello"), ""); };
    EXPECT_THAT(Run(std::nullopt),
                ElementsAre("info: Client socket(SOCKET) established.",
                            "warning: RecvFromSocket() Nothing happen on the socket(SOCKET).",
                            "error: RecvReqDataFromExtBrow() A dummy connection was made."));
}

TEST_F(CallbackListenerFailureTest, AReaderThreadThatCannotBeStartedRaisesTheStandardError) {
    std::optional<ImportPatch> patch;
    onPort = [&patch](std::uint16_t port) {
        patch.emplace(
            ThisProgram(), "_beginthreadex",
            +[](void*, unsigned, unsigned(__stdcall*)(void*), void*, unsigned, unsigned*) -> std::uintptr_t {
                SetLastError(ERROR_NOT_ENOUGH_MEMORY);
                return 0;
            });
        EXPECT_EQ(ScriptedConnection(port).ReceiveAll(), "");
    };
    EXPECT_THAT(Run(std::nullopt), ElementsAre("info: Client socket(SOCKET) established."));
    patch.reset();
    ASSERT_NE(exception, nullptr);
    try {
        std::rethrow_exception(exception);
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::resource_unavailable_try_again);
    }
}

// The timer as the listener hands it to the system.
struct ArmedTimer {
    LONGLONG due = 1;
    LONG period = -1;
};
ArmedTimer armed;

BOOL WINAPI RecordingSetTimer(HANDLE, const LARGE_INTEGER* due, LONG period, PTIMERAPCROUTINE, LPVOID, BOOL) {
    armed = {due->QuadPart, period};
    return FALSE;
}

TEST_F(CallbackListenerFailureTest, TheTimerIsArmedOnceWithTheWholeSeconds) {
    const ImportPatch patch(ThisProgram(), "SetWaitableTimer", RecordingSetTimer);
    const std::pair<std::uint32_t, LONGLONG> dueTimes[] = {
        {60000, -600'000'000}, {1500, -10'000'000}, {1000, -10'000'000}, {999, 0}, {0, 0}};
    for (const auto& [timeoutMs, due] : dueTimes) {
        armed = {};
        EXPECT_EQ(RunningListener(0, timeoutMs, exitEvent.get()).Outcome(), HttpUtilsError::Failed);
        EXPECT_EQ(armed.due, due) << timeoutMs;
        EXPECT_EQ(armed.period, 0) << timeoutMs;
    }
}

} // namespace
} // namespace zelto::test
