#include "tests/ipsec_signin/ipsec_sign_in_test.h"

namespace zelto::test {
namespace {

constexpr char kAnswer[] = "window.location=\"https://gw/start\"";

class IpsecSignInLogTest : public IpsecSignInTest {
protected:
    IpsecSignInLogTest() {
        SetLoginFault(
            "status",
            R"("status":200,"body":"window.location=\"https://gw/start\"")"); // one line, for the log
    }

    // What the calling thread says, whatever comes of it.
    std::vector<std::string> CallersLines(const std::vector<std::string>& furtherLines) {
        std::vector<std::string> lines = {
            "debug: GetIpsecSamlDataExternalBrowser() starts.",
            "debug: GetIpsecSamlDataExternalBrowser() listen on port " + std::to_string(ListenerPort()) +
                " for external browser request.",
            std::string("info: GetHttpResponse() response=") + kAnswer,
            "info: Browser opens url https://gw/start",
        };
        lines.insert(lines.end(), furtherLines.begin(), furtherLines.end());
        return lines;
    }

    std::string ListenerCalled() const {
        return "info: called. dwPort=0, dwTimeout=60000, hEvtExit=" + Hexadecimal(exitEvent_);
    }
};

TEST_F(IpsecSignInLogTest, AWholeSignIn) {
    BrowserRequests("GET /?tokenid=abc&username=bob HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
    ExpectLogOfThreads(
        CallersLines({}),
        {
            {
                ListenerCalled(),
                "info: Client socket(#) established.",
                "info: RecvReqDataFromExtBrow() Got auth id from external browser successfully.",
            },
            {
                "debug: RecvFromSocket() Read event on the socket.",
                "info: Get authId successfully!",
            },
        });
}

TEST_F(IpsecSignInLogTest, ACancelledSignIn) {
    SetEvent(exitEvent_);
    EXPECT_EQ(SignIn(), 0xA7000007u);
    ExpectLogOfThreads(
        CallersLines({kCouldNotGet}),
        {
            {
                ListenerCalled(),
                "warning: RecvReqDataFromExtBrow() Connection request was cancelled either by user or "
                "internal.",
            },
        });
}

// The listener that is given up says the same as one that the user cancels.
TEST_F(IpsecSignInLogTest, ASignInWithoutAStartPage) {
    SetLoginFault("status", R"("status":200,"body":"closed")");
    EXPECT_EQ(SignIn(), 0xA7000003u);
    ExpectLogOfThreads(
        {
            "debug: GetIpsecSamlDataExternalBrowser() starts.",
            "debug: GetIpsecSamlDataExternalBrowser() listen on port " + std::to_string(ListenerPort()) +
                " for external browser request.",
            "info: GetHttpResponse() response=closed",
            "error: QueryIpsecExtBrowserSamlStartUrl() could not extract the start url in response.(closed)",
            kNoStartUrl,
            kUndetermined1,
            kCouldNotGet,
        },
        {
            {
                ListenerCalled(),
                "warning: RecvReqDataFromExtBrow() Connection request was cancelled either by user or "
                "internal.",
            },
        });
}

TEST_F(IpsecSignInLogTest, TheValuesAreNotLogged) {
    BrowserRequests("GET /?tokenid=TheSecretToken&username=TheNameOfTheUser HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
    Records();
    const std::string log = ReadBytes(LibraryUnderTest::TraceLogPath());
    EXPECT_EQ(log.find("TheSecretToken"), std::string::npos);
    EXPECT_EQ(log.find("TheNameOfTheUser"), std::string::npos);
}

} // namespace
} // namespace zelto::test
