#include "tests/ipsec_signin/ipsec_sign_in_test.h"

#include "auth/kernel_handle.h"

#include <algorithm>
#include <process.h>
#include <winhttp.h>

namespace zelto::test {
namespace {

constexpr std::uint32_t kFailed = 0xA7000000;
constexpr std::uint32_t kTimeout = 0xA7000003;
constexpr std::uint32_t kCancelled = 0xA7000007;

constexpr char kTimePassed[] =
    "error: RecvReqDataFromExtBrow() After waiting for 1 seconds, there is still no "
    "response from external browser.";

// How the listener's outcome becomes a result.
class IpsecSignInOutcomeTest : public IpsecSignInTest {
protected:
    void ExpectResult(std::uint32_t result, const std::vector<std::string>& errors) {
        EXPECT_EQ(SignIn(), result);
        ExpectNothingWritten();
        EXPECT_EQ(Errors(), errors);
    }
};

TEST_F(IpsecSignInOutcomeTest, TheBrowserDoesNotComeBackInTime) {
    timeoutMs_ = 1999; // the milliseconds behind the whole seconds are dropped
    ExpectResult(kTimeout, {kTimePassed, kCouldNotGet});
    EXPECT_EQ(browserCalls_.size(), 1u);
    EXPECT_FALSE(ExitEventIsSignalled());
}

TEST_F(IpsecSignInOutcomeTest, TheGatewayIsSlowerThanTheTimeOut) {
    timeoutMs_ = 1000;
    SetLoginFault("slow", R"("delay_ms":1500)");
    ExpectResult(kTimeout, {kTimePassed, kCouldNotGet});
    EXPECT_EQ(browserCalls_.size(), 1u); // it is opened all the same
}

TEST_F(IpsecSignInOutcomeTest, CancelledWhileTheBrowserIsOpen) {
    browser_ = [this] {
        ScriptedConnection connection(ListenerPort());
        SetEvent(exitEvent_);
        page_ = connection.ReceiveAll();
    };
    ExpectResult(kCancelled, {kCouldNotGet});
    EXPECT_EQ(page_, "");
    EXPECT_TRUE(ExitEventIsSignalled()); // it belongs to the caller, who alone resets it
}

TEST_F(IpsecSignInOutcomeTest, CancelledBeforeTheSignIn) {
    SetEvent(exitEvent_);
    ExpectResult(kCancelled, {kCouldNotGet});
    EXPECT_EQ(browserCalls_.size(), 1u);
}

TEST_F(IpsecSignInOutcomeTest, ABrowserThatSendsNothing) {
    browser_ = [] { ScriptedConnection(ListenerPort()).Close(); };
    ExpectResult(kFailed, {"error: RecvReqDataFromExtBrow() A dummy connection was made.", kUndetermined1,
                           kCouldNotGet});
}

TEST_F(IpsecSignInOutcomeTest, AnExitEventThatIsNoHandle) {
    const HANDLE event = exitEvent_;
    exitEvent_ = reinterpret_cast<HANDLE>(std::intptr_t{0x7FFFFFF0});
    EXPECT_EQ(SignIn(), kFailed);
    exitEvent_ = event;
    const std::vector<std::string> errors = Errors();
    ASSERT_GE(errors.size(), 2u);
    EXPECT_EQ((std::vector<std::string>{errors.end() - 2, errors.end()}),
              (std::vector<std::string>{kUndetermined1, kCouldNotGet}));
}

// The listener never tells a port: nothing is asked and nothing opened.
class IpsecSignInListenerTest : public IpsecSignInTest {
protected:
    void ExpectListenerFailed(const std::vector<std::string>& errors) {
        EXPECT_EQ(SignIn(), kFailed);
        EXPECT_EQ(GatewayLog(), "");
        EXPECT_TRUE(browserCalls_.empty());
        EXPECT_FALSE(ExitEventIsSignalled());
        ExpectNothingWritten();
        EXPECT_EQ(Errors(), errors);
    }
};

int WSAAPI ListenFails(SOCKET, int) {
    return SOCKET_ERROR;
}

TEST_F(IpsecSignInListenerTest, TheListenerCannotListen) {
    Patch("listen", &ListenFails);
    ExpectListenerFailed({"error: Could not determine error code 5.", kCouldNotGet});
}

int WSAAPI StartupFails(WORD, LPWSADATA) {
    return WSAVERNOTSUPPORTED;
}

TEST_F(IpsecSignInListenerTest, WinsockCannotBeStarted) {
    Patch("WSAStartup", &StartupFails);
    ExpectListenerFailed({kUndetermined1, kCouldNotGet});
}

int WSAAPI NameIsUnknown(SOCKET, sockaddr*, int*) {
    return SOCKET_ERROR;
}

TEST_F(IpsecSignInListenerTest, APortThatTheSystemDoesNotTellIsZero) {
    Patch("getsockname", &NameIsUnknown);
    EXPECT_EQ(SignIn(), kTimeout); // the gateway refuses that port
    EXPECT_NE(GatewayLog().find("REDIRECT_PORT=0\""), std::string::npos);
    EXPECT_EQ(Errors().front(), "error: Failed to get assigned port.");
}

// The gateway's answer does not come; before that, the listener has ended by what the test does.
class IpsecSignInFinishedListenerTest : public IpsecSignInTest {
protected:
    static constexpr char kUserCancelled[] =
        "warning: GetIpsecSamlDataExternalBrowser() User cancelled the connection.";

    IpsecSignInFinishedListenerTest() {
        current_ = this;
        Patch("_beginthreadex", &BeginAndKeep);
        Patch("WinHttpReceiveResponse", &DoAndFail);
    }

    // Keeps the listener, which is the first thread.
    static std::uintptr_t __cdecl BeginAndKeep(void* security, unsigned stack, _beginthreadex_proc_type start,
                                               void* argument, unsigned flags, unsigned* id) {
        const std::uintptr_t thread = _beginthreadex(security, stack, start, argument, flags, id);
        if (!current_->listener_) {
            current_->listener_ = DuplicateKernelHandle(reinterpret_cast<HANDLE>(thread));
        }
        return thread;
    }

    static BOOL WINAPI DoAndFail(HINTERNET request, LPVOID) {
        WinHttpReceiveResponse(request, nullptr); // the gateway has the request, and its log has it
        current_->meanwhile_();
        EXPECT_EQ(WaitForSingleObject(current_->listener_.get(), 60'000), WAIT_OBJECT_0);
        SetLastError(ERROR_WINHTTP_TIMEOUT);
        return FALSE;
    }

    // The lines of the calling thread behind the HTTP client's.
    void ExpectOwnLines(const std::vector<std::string>& expected) {
        const DWORD self = GetCurrentThreadId();
        std::vector<TraceLine> own;
        for (const TraceLine& record : Records()) {
            if (record.tid == self && record.text.find("GetHttpResponse()") == std::string::npos) {
                own.push_back(record);
            }
        }
        std::vector<std::string> lines = Messages(own);
        lines.erase(lines.begin(), lines.begin() + std::min<std::ptrdiff_t>(2, std::ssize(lines)));
        EXPECT_EQ(lines, expected); // behind "starts" and "listen on port"
        EXPECT_TRUE(browserCalls_.empty());
    }

    std::function<void()> meanwhile_;

private:
    static inline IpsecSignInFinishedListenerTest* current_;
    KernelHandle listener_;
};

// The browser may have come by itself, from an earlier sign-in: deliberately a success.
TEST_F(IpsecSignInFinishedListenerTest, WithTheBrowsersRequest) {
    meanwhile_ = [] { RequestOnce(ListenerPort(), "GET /?tokenid=abc&username=bob HTTP/1.1\r\n\r\n"); };
    EXPECT_EQ(SignIn(), 0u);
    EXPECT_EQ(Token(), L"abc");
    EXPECT_EQ(UserName(), L"bob");
    EXPECT_FALSE(ExitEventIsSignalled());
    ExpectOwnLines({kNoStartUrl, kUserCancelled});
}

TEST_F(IpsecSignInFinishedListenerTest, ByTheExitEvent) {
    meanwhile_ = [this] { SetEvent(exitEvent_); };
    EXPECT_EQ(SignIn(), kCancelled);
    ExpectNothingWritten();
    ExpectOwnLines({kNoStartUrl, kUserCancelled, kCouldNotGet});
}

TEST_F(IpsecSignInFinishedListenerTest, ByTheTimeOut) {
    timeoutMs_ = 1000;
    meanwhile_ = [] {};
    EXPECT_EQ(SignIn(), kTimeout);
    EXPECT_FALSE(ExitEventIsSignalled());
    ExpectOwnLines({kNoStartUrl, kUserCancelled, kCouldNotGet});
}

TEST_F(IpsecSignInFinishedListenerTest, WithoutAnOutcome) {
    meanwhile_ = [] { ScriptedConnection(ListenerPort()).Close(); };
    EXPECT_EQ(SignIn(), kFailed);
    ExpectNothingWritten();
    EXPECT_FALSE(ExitEventIsSignalled());
    ExpectOwnLines({kNoStartUrl, kUserCancelled, kUndetermined1, kCouldNotGet});
}

} // namespace
} // namespace zelto::test
