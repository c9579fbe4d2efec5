#include "tests/session_browser/session_sign_in_test.h"

namespace zelto::test {
namespace {

class SessionSignInLogTest : public SessionSignInTest {
protected:
    // What the calling thread says before it waits.
    std::vector<std::string> CallersLines(const std::vector<std::string>& furtherLines) const {
        const std::string port = std::to_string(RedirectPort());
        std::vector<std::string> lines = {
            kCalled,
            "info: ParseRemoteGateway: szPureUrl:gw szRealm:remote/saml/start?realm=x dwRemotePort:8443 "
            "redirectPort:" +
                port,
            "info: Browser opens URL https://gw:8443/remote/saml/start?realm=x&redirect=1&redirport=" + port,
        };
        lines.insert(lines.end(), furtherLines.begin(), furtherLines.end());
        return lines;
    }

    std::string ListenerCalled() const {
        return "info: called. dwPort=" + std::to_string(RedirectPort()) + ", dwTimeout=0, /*bExit=0*/";
    }

    static std::vector<std::string> ReaderLines() {
        return {"debug: RecvFromSocket() Read event on the socket.", "info: Get authId successfully!"};
    }
};

TEST_F(SessionSignInLogTest, AWholeSignIn) {
    EXPECT_EQ(SignIn(), 0u);
    ExpectLogOfThreads(
        CallersLines({
            "info: Internal Browser should grab cookie from "
            "https://gw:8443/remote/saml/start?realm=x&auth_id=XYZ",
            kFixedResult,
            "info: ResponseBuffer: XYZ",
        }),
        {{ListenerCalled(), "info: Client socket(#) established.", "info: authId: XYZ"}, ReaderLines()});
}

TEST_F(SessionSignInLogTest, ASignInWithoutAnId) {
    BrowserRequests("GET / HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
    ExpectLogOfThreads(
        CallersLines({kFixedResult, "info: ResponseBuffer: old"}),
        {{ListenerCalled(), "info: Client socket(#) established.", "info: authId: "}, ReaderLines()});
}

} // namespace
} // namespace zelto::test
