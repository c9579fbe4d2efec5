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

} // namespace zelto::test
