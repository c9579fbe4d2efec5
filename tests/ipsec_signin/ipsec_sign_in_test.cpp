#include "tests/ipsec_signin/ipsec_sign_in_test.h"

#include <stdexcept>

namespace zelto::test {

std::uint32_t IpsecSignInTest::SignIn() {
    return SignInAt(L"127.0.0.1", GatewayPort());
}

std::uint32_t IpsecSignInTest::SignInAt(const std::wstring& host, std::uint16_t port) {
    const std::uint32_t result = library_.GetIpsecSamlDataExternalBrowser(
        host.c_str(), port, userId_.c_str(), timeoutMs_, tokenBuffer_.data(), tokenBufferSize_,
        userNameBuffer_.data(), userNameBufferSize_, exitEvent_);
    JoinBrowser();
    return result;
}

void IpsecSignInTest::BrowserRequests(const std::string& requestLine) {
    browser_ = [this, requestLine] {
        page_ = RequestOnce(ListenerPort(), requestLine + "\r\nHost: 127.0.0.1\r\n\r\n");
    };
}

std::uint16_t IpsecSignInTest::ListenerPort() {
    const std::string log = GatewayLog();
    const std::string name = "REDIRECT_PORT=";
    const std::size_t at = log.rfind(name);
    if (at == std::string::npos) {
        throw std::runtime_error("the gateway was told no port");
    }
    return static_cast<std::uint16_t>(std::stoul(log.substr(at + name.size())));
}

void IpsecSignInTest::SetLoginFault(const std::string& fault, const std::string& furtherSettings) {
    SetGateway(R"({"fault_path":"/saml_login","fault":")" + fault + "\"" +
               (furtherSettings.empty() ? "" : ",") + furtherSettings + "}");
}

void IpsecSignInTest::ExpectNothingWritten() const {
    EXPECT_EQ(Token(), L"old");
    EXPECT_EQ(UserName(), L"old");
}

} // namespace zelto::test
