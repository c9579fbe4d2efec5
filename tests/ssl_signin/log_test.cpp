#include "tests/ssl_signin/sign_in_test.h"

namespace zelto::test {
namespace {

class SslSignInLogTest : public SignInTest {
protected:
    SslSignInLogTest() {
        SetGateway(R"({"fault":"status","status":200,"body":")" + Answer() +
                   R"("})"); // one line, for the log
    }

    std::string Answer() const {
        return "<signin sso_port='" + std::to_string(ssoPort_) + "' remoteauthtimeout='60'/>";
    }

    std::string HttpAnswered() const { return "info: GetHttpResponse() response=" + Answer(); }

    std::string ListenerCalled(const std::string& milliseconds) const {
        return "info: called. dwPort=" + std::to_string(ssoPort_) + ", dwTimeout=" + milliseconds +
               ", hEvtExit=" + Hexadecimal(exitEvent_);
    }

    std::string BrowserOpens() const {
        return "info: Browser opens url https://127.0.0.1:" + std::to_string(GatewayPort()) +
               "/remote/saml/start?redirect=1";
    }
};

TEST_F(SslSignInLogTest, AWholeSignIn) {
    BrowserRequests("GET /?id=XYZ HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
    ExpectLogOfThreads(
        {
            HttpAnswered(),
            "info: Timeout for external browser auth: 60",
            BrowserOpens(),
            "info: GetSslSamlDataExternalBrowser() Get auth id from external browser successfully.",
        },
        {
            {
                ListenerCalled("60000"),
                "info: Client socket(#) established.",
                "info: RecvReqDataFromExtBrow() Got auth id from external browser successfully.",
            },
            {
                "debug: RecvFromSocket() Read event on the socket.",
                "info: Get authId successfully!",
            },
        });
}

TEST_F(SslSignInLogTest, ACancelledSignIn) {
    SetEvent(exitEvent_);
    EXPECT_EQ(SignIn(), 0xA7000007u);
    ExpectLogOfThreads(
        {
            HttpAnswered(),
            "info: Timeout for external browser auth: 60",
            BrowserOpens(),
        },
        {
            {
                ListenerCalled("60000"),
                "warning: RecvReqDataFromExtBrow() Connection request was cancelled either by user or internal.",
            },
        });
}

TEST_F(SslSignInLogTest, TheIdIsNotLogged) {
    BrowserRequests("GET /?id=TheSecretIdOfThisSignIn HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
    Records();
    EXPECT_EQ(ReadBytes(LibraryUnderTest::TraceLogPath()).find("TheSecretIdOfThisSignIn"), std::string::npos);
}

TEST_F(SslSignInLogTest, ErrorsAlsoGoToTheErrorCopy) {
    bufferSize_ = 1;
    BrowserRequests("GET /?id=XYZ HTTP/1.1");
    EXPECT_EQ(SignIn(), 0xA7000000u);
    Records();
    EXPECT_EQ(Messages(ReadTraceLines(LibraryUnderTest::ErrorCopyPath())),
              (std::vector<std::string>{"error: GetSslSamlDataExternalBrowser() buffer too small."}));
}

} // namespace
} // namespace zelto::test
