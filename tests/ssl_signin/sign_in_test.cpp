#include "tests/ssl_signin/sign_in_test.h"

namespace zelto::test {

SignInTest::SignInTest() : BrowserSignInTest(kGuardName) {
    UsePort();
}

SignInTest::~SignInTest() {
    JoinBrowser();
}

std::uint32_t SignInTest::SignIn() {
    return SignIn(GatewayAddress());
}

std::uint32_t SignInTest::SignIn(const std::wstring& gateway) {
    const std::uint32_t result = library_.GetSslSamlDataExternalBrowser(
        gateway.c_str(), maximumTimeout_, buffer_.data(), bufferSize_, exitEvent_);
    JoinBrowser();
    return result;
}

void SignInTest::UsePort(const std::string& furtherSettings) {
    ssoPort_ = FreePort();
    SetGateway(R"({"sso_port":)" + std::to_string(ssoPort_) + (furtherSettings.empty() ? "" : ",") +
               furtherSettings + "}");
}

void SignInTest::BrowserRequests(const std::string& requestLine) {
    browser_ = [this, requestLine] {
        page_ = RequestOnce(ssoPort_, requestLine + "\r\nHost: 127.0.0.1\r\n\r\n");
    };
}

LoggedSignInTest::LoggedSignInTest() {
    SetGateway(R"({"fault":"status","status":200,"body":")" + Answer() + R"("})");
}

std::string LoggedSignInTest::Answer() const {
    return "<signin sso_port='" + std::to_string(ssoPort_) + "' remoteauthtimeout='60'/>";
}

std::vector<std::string> LoggedSignInTest::CallersLines(const std::vector<std::string>& last) const {
    std::vector<std::string> lines = {
        "info: GetHttpResponse() response=" + Answer(),
        "info: Timeout for external browser auth: 60",
        "info: Browser opens url https://127.0.0.1:" + std::to_string(GatewayPort()) +
            "/remote/saml/start?redirect=1",
    };
    lines.insert(lines.end(), last.begin(), last.end());
    return lines;
}

std::string LoggedSignInTest::ListenerCalled() const {
    return "info: called. dwPort=" + std::to_string(ssoPort_) +
           ", dwTimeout=60000, hEvtExit=" + Hexadecimal(exitEvent_);
}

std::vector<std::vector<std::string>> LoggedSignInTest::OthersLines() const {
    return {
        {ListenerCalled(), "info: Client socket(#) established.", kListenerGotId},
        {"debug: RecvFromSocket() Read event on the socket.", "info: Get authId successfully!"},
    };
}

} // namespace zelto::test
