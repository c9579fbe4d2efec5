#include "tests/ssl_signin/sign_in_test.h"

namespace zelto::test {
namespace {

// What the export gives for these arguments, without a message, a request or a browser.
class SslSignInArgumentsTest : public SignInTest {
protected:
    void ExpectInvalid(const wchar_t* gateway, char* buffer, HANDLE exitEvent) {
        EXPECT_EQ(library_.GetSslSamlDataExternalBrowser(gateway, 60, buffer, bufferSize_, exitEvent),
                  0xA7000002u);
        EXPECT_EQ(GatewayLog(), "");
        EXPECT_TRUE(browserCalls_.empty());
        EXPECT_EQ(Id(), "old");
        EXPECT_EQ(Log(), std::vector<std::string>{});
    }
};

TEST_F(SslSignInArgumentsTest, NullGateway) {
    ExpectInvalid(nullptr, buffer_.data(), exitEvent_);
}

TEST_F(SslSignInArgumentsTest, NullOutputBuffer) {
    ExpectInvalid(GatewayAddress().c_str(), nullptr, exitEvent_);
}

TEST_F(SslSignInArgumentsTest, NullExitEvent) {
    ExpectInvalid(GatewayAddress().c_str(), buffer_.data(), nullptr);
}

} // namespace
} // namespace zelto::test
