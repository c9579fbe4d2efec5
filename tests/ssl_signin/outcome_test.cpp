#include "tests/ssl_signin/sign_in_test.h"

#include <algorithm>

namespace zelto::test {
namespace {

constexpr std::uint32_t kFailed = 0xA7000000;
constexpr std::uint32_t kCancelled = 0xA7000007;

bool IsSignalled(HANDLE event) {
    return WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
}

// How the listener's outcome becomes a result.
class SslSignInOutcomeTest : public SignInTest {
protected:
    void ExpectUndetermined(int listenerResult, const std::vector<std::string>& listenerErrors) {
        EXPECT_EQ(SignIn(), kFailed);
        EXPECT_EQ(Id(), "old");
        std::vector<std::string> errors = listenerErrors;
        errors.push_back("error: Could not determine error code " + std::to_string(listenerResult) + ".");
        EXPECT_EQ(Errors(), errors);
    }
};

TEST_F(SslSignInOutcomeTest, CancelledBeforeTheSignIn) {
    SetEvent(exitEvent_);
    EXPECT_EQ(SignIn(), kCancelled);
    EXPECT_EQ(browserCalls_.size(), 1u);
    EXPECT_TRUE(IsSignalled(exitEvent_)); // it belongs to the caller, who alone resets it
    EXPECT_EQ(Errors(), std::vector<std::string>{});
}

TEST_F(SslSignInOutcomeTest, CancelledWhileTheBrowserIsOpen) {
    browser_ = [this] {
        ScriptedConnection connection(ssoPort_); // the listener is there
        SetEvent(exitEvent_);
        page_ = connection.ReceiveAll();
    };
    EXPECT_EQ(SignIn(), kCancelled);
    EXPECT_EQ(Id(), "old");
    EXPECT_EQ(page_, "");
    const std::vector<std::string> log = Log();
    EXPECT_EQ(
        std::count(log.begin(), log.end(),
                   "warning: RecvReqDataFromExtBrow() Connection request was cancelled either by user or "
                   "internal."),
        1);
}

TEST_F(SslSignInOutcomeTest, ABrowserThatSendsNothing) {
    browser_ = [this] { ScriptedConnection(ssoPort_).Close(); };
    ExpectUndetermined(1, {"error: RecvReqDataFromExtBrow() A dummy connection was made."});
}

int WSAAPI ListenFails(SOCKET, int) {
    return SOCKET_ERROR;
}

TEST_F(SslSignInOutcomeTest, TheListenerCannotListen) {
    Patch("listen", &ListenFails);
    ExpectUndetermined(5, {});
}

// Not null, but no handle either.
TEST_F(SslSignInOutcomeTest, AnExitEventThatIsNoHandle) {
    const HANDLE event = exitEvent_;
    exitEvent_ = reinterpret_cast<HANDLE>(std::intptr_t{0x7FFFFFF0});
    EXPECT_EQ(SignIn(), kFailed);
    exitEvent_ = event;
    EXPECT_EQ(Errors().back(), "error: Could not determine error code 1.");
}

// The pseudo handles of process and thread would wait for the host itself.
TEST_F(SslSignInOutcomeTest, AnExitEventThatIsAPseudoHandle) {
    const HANDLE event = exitEvent_;
    for (const HANDLE pseudo : {GetCurrentProcess(), GetCurrentThread()}) {
        exitEvent_ = pseudo;
        EXPECT_EQ(SignIn(), kFailed);
    }
    exitEvent_ = event;
    EXPECT_EQ(Errors().back(), "error: Could not determine error code 1.");
}

} // namespace
} // namespace zelto::test
