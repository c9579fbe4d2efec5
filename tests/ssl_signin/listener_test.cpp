#include "tests/ssl_signin/sign_in_test.h"

#include "auth/kernel_handle.h"

#include <atomic>
#include <chrono>

namespace zelto::test {
namespace {

constexpr char kEstablished[] = "info: Client socket(#) established.";
constexpr char kReads[] = "debug: RecvFromSocket() Read event on the socket.";
constexpr char kDummy[] = "error: RecvReqDataFromExtBrow() A dummy connection was made.";
constexpr char kRequest[] = "GET /?id=XYZ HTTP/1.1\r\n\r\n";

using Lines = std::vector<std::string>;

// What the listener on the local port does and logs, beyond a sign-in that goes well.
class SslSignInListenerTest : public LoggedSignInTest {
protected:
    // `listener`: the lines behind the listener's first one; `reader`: those of its reader, if there is one.
    void ExpectSignedIn(const Lines& listener) {
        EXPECT_EQ(SignIn(), 0u);
        EXPECT_EQ(Id(), "XYZ");
        ExpectLog({kGotId}, listener, {kReads, "info: Get authId successfully!"});
    }

    void ExpectFailed(int listenerResult, const Lines& listener, const Lines& reader = {}) {
        EXPECT_EQ(SignIn(), 0xA7000000u);
        EXPECT_EQ(Id(), "old");
        EXPECT_EQ(page_, "");
        EXPECT_EQ(browserCalls_.size(), 1u); // before anybody knows
        ExpectLog({"error: Could not determine error code " + std::to_string(listenerResult) + "."}, listener,
                  reader);
    }

private:
    void ExpectLog(const Lines& last, Lines listener, const Lines& reader) {
        listener.insert(listener.begin(), ListenerCalled());
        std::vector<Lines> others = {listener};
        if (!reader.empty()) {
            others.push_back(reader);
        }
        ExpectLogOfThreads(CallersLines(last), others);
    }
};

// What the browser's connections are told by: one release for each accept event that the listener has taken.
HANDLE acceptEventSeen;
std::atomic<int> accepts;

BOOL WSAAPI TellAcceptEvent(WSAEVENT event) {
    const BOOL done = WSAResetEvent(event);
    ReleaseSemaphore(acceptEventSeen, 1, nullptr);
    return done;
}

SOCKET WSAAPI CountAccept(SOCKET listening, sockaddr* address, int* length) {
    ++accepts;
    return accept(listening, address, length);
}

TEST_F(SslSignInListenerTest, ASecondConnectionIsNeitherAcceptedNorAnswered) {
    const KernelHandle seen(acceptEventSeen = CreateSemaphoreW(nullptr, 0, 100, nullptr));
    accepts = 0;
    Patch("WSAResetEvent", &TellAcceptEvent);
    Patch("accept", &CountAccept);
    std::string secondPage = "none yet";
    browser_ = [&] {
        ScriptedConnection first(ssoPort_);
        EXPECT_EQ(WaitForSingleObject(seen.get(), 60'000), WAIT_OBJECT_0);
        ScriptedConnection second(ssoPort_);
        second.Send("GET /?id=second HTTP/1.1\r\n\r\n");
        EXPECT_EQ(WaitForSingleObject(seen.get(), 60'000), WAIT_OBJECT_0);
        first.Send(kRequest);
        page_ = first.ReceiveAll();
        secondPage = second.ReceiveAll();
    };
    ExpectSignedIn({
        kEstablished,
        "warning: RecvReqDataFromExtBrow() There was already connected socket, ignore this one.",
        kListenerGotId,
    });
    EXPECT_EQ(accepts, 1);
    EXPECT_NE(page_, "");
    EXPECT_EQ(secondPage, "");
}

TEST_F(SslSignInListenerTest, AConnectionThatIsSilentFor5Seconds) {
    std::chrono::steady_clock::duration silence = {};
    browser_ = [&] {
        const auto start = std::chrono::steady_clock::now();
        page_ = ScriptedConnection(ssoPort_).ReceiveAll();
        silence = std::chrono::steady_clock::now() - start;
    };
    ExpectFailed(1, {kEstablished, kDummy}, {"warning: RecvFromSocket() Nothing happen on the socket(#)."});
    EXPECT_GE(silence, std::chrono::milliseconds(4900));
    EXPECT_LT(silence, std::chrono::seconds(40)); // on a busy machine; the sign-in's time-out is a minute
}

WSAEVENT WSAAPI NoEvent() {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return WSA_INVALID_EVENT;
}

TEST_F(SslSignInListenerTest, NoAcceptEvent) {
    Patch("WSACreateEvent", &NoEvent);
    ExpectFailed(5, {"error:  WSACreateEvent() failed. LastError=8"});
}

// The sign-in's own thread may use what fails on any other.
DWORD signInThread;

int WSAAPI BindOnSignInThread(SOCKET socket, const sockaddr* address, int length) {
    return GetCurrentThreadId() == signInThread ? bind(socket, address, length) : SOCKET_ERROR;
}

// Somebody has taken it since it was probed.
TEST_F(SslSignInListenerTest, ThePortCannotBeBoundAnyMore) {
    signInThread = GetCurrentThreadId();
    Patch("bind", &BindOnSignInThread);
    ExpectFailed(5, {"error: local port " + std::to_string(ssoPort_) + " can not be bound."});
}

SOCKET WSAAPI SocketOnSignInThread(int family, int type, int protocol) {
    return GetCurrentThreadId() == signInThread ? socket(family, type, protocol) : INVALID_SOCKET;
}

TEST_F(SslSignInListenerTest, NoSocketHasNoMessage) {
    signInThread = GetCurrentThreadId();
    Patch("socket", &SocketOnSignInThread);
    ExpectFailed(5, {});
}

HANDLE WINAPI NoTimer(LPSECURITY_ATTRIBUTES, BOOL, LPCWSTR) {
    return nullptr;
}

TEST_F(SslSignInListenerTest, NoTimerFailsTheFirstWait) {
    Patch("CreateWaitableTimerW", &NoTimer);
    ExpectFailed(1, {"error:  WaitForMultipleObjects failed(6). dwWait=-1"});
}

BOOL WINAPI TimerIsNotSet(HANDLE, const LARGE_INTEGER*, LONG, PTIMERAPCROUTINE, LPVOID, BOOL) {
    return FALSE;
}

TEST_F(SslSignInListenerTest, ATimerThatCannotBeArmedFailsTheFirstWait) {
    Patch("SetWaitableTimer", &TimerIsNotSet);
    ExpectFailed(1, {"error:  WaitForMultipleObjects failed(6). dwWait=-1"});
}

SOCKET WSAAPI AcceptFails(SOCKET, sockaddr*, int*) {
    WSASetLastError(WSAEMFILE);
    return INVALID_SOCKET;
}

TEST_F(SslSignInListenerTest, AConnectionThatCannotBeAccepted) {
    Patch("accept", &AcceptFails);
    browser_ = [this] { page_ = ScriptedConnection(ssoPort_).ReceiveAll(); };
    ExpectFailed(5, {"error: Cant accept connection request browser. Lasterror=10024"});
}

// The first connection is gone before it is accepted.
SOCKET WSAAPI AcceptTheSecond(SOCKET listening, sockaddr* address, int* length) {
    const SOCKET accepted = accept(listening, address, length);
    if (accepts++ > 0) {
        return accepted;
    }
    closesocket(accepted);
    WSASetLastError(WSAEWOULDBLOCK);
    return INVALID_SOCKET;
}

TEST_F(SslSignInListenerTest, AFalseAcceptEventIsWaitedOut) {
    accepts = 0;
    Patch("accept", &AcceptTheSecond);
    browser_ = [this] {
        EXPECT_EQ(ScriptedConnection(ssoPort_).ReceiveAll(), "");
        page_ = RequestOnce(ssoPort_, kRequest);
    };
    ExpectSignedIn({"info: False event signaled. Continue waiting...", kEstablished, kListenerGotId});
    EXPECT_EQ(accepts, 2);
}

DWORD WINAPI WaitFails(DWORD count, const HANDLE*, BOOL all, DWORD milliseconds) {
    EXPECT_EQ(count, 4u);
    EXPECT_FALSE(all);
    EXPECT_EQ(milliseconds, 500u);
    SetLastError(ERROR_ACCESS_DENIED);
    return WAIT_FAILED;
}

TEST_F(SslSignInListenerTest, AWaitThatFails) {
    Patch("WaitForMultipleObjects", &WaitFails);
    ExpectFailed(1, {"error:  WaitForMultipleObjects failed(5). dwWait=-1"});
}

int WSAAPI SendFails(SOCKET, const char*, int, int) {
    WSASetLastError(WSAECONNABORTED);
    return SOCKET_ERROR;
}

TEST_F(SslSignInListenerTest, AnAnswerThatCannotBeSent) {
    Patch("send", &SendFails);
    browser_ = [this] { page_ = RequestOnce(ssoPort_, kRequest); };
    ExpectFailed(1, {kEstablished, kDummy},
                 {kReads, "error: Cant send response to browser properly. LastError=10053"});
}

int WSAAPI ReceiveFails(SOCKET socket, char* buffer, int size, int flags) {
    if (size != 1024) { // what is thrown away at the end
        return recv(socket, buffer, size, flags);
    }
    WSASetLastError(WSAECONNRESET);
    return SOCKET_ERROR;
}

TEST_F(SslSignInListenerTest, ARequestThatCannotBeRead) {
    Patch("recv", &ReceiveFails);
    browser_ = [this] { page_ = RequestOnce(ssoPort_, kRequest); };
    ExpectFailed(1, {kEstablished, kDummy},
                 {kReads, "warning: Could not read from socket(#). recv() returns -1. errocode=10054"});
}

} // namespace
} // namespace zelto::test
