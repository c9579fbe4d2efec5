#include "tests/ssl_signin/sign_in_test.h"

namespace zelto::test {
namespace {

using SslSignInLogTest = LoggedSignInTest;

TEST_F(SslSignInLogTest, AWholeSignIn) {
    BrowserRequests("GET /?id=XYZ HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
    ExpectLogOfThreads(CallersLines({kGotId}), OthersLines());
}

TEST_F(SslSignInLogTest, ACancelledSignIn) {
    SetEvent(exitEvent_);
    EXPECT_EQ(SignIn(), 0xA7000007u);
    const std::string cancelled =
        "warning: RecvReqDataFromExtBrow() Connection request was cancelled either by user or internal.";
    ExpectLogOfThreads(CallersLines(), {{ListenerCalled(), cancelled}});
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
