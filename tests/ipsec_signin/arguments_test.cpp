#include "tests/ipsec_signin/ipsec_sign_in_test.h"

namespace zelto::test {
namespace {

// What the export gives for these arguments, without a message, a request or a browser.
class IpsecSignInArgumentsTest : public IpsecSignInTest {
protected:
    void ExpectInvalid(const wchar_t* host, const wchar_t* userId, wchar_t* token, wchar_t* userName,
                       HANDLE exitEvent) {
        EXPECT_EQ(library_.GetIpsecSamlDataExternalBrowser(host, GatewayPort(), userId, timeoutMs_, token,
                                                           tokenBufferSize_, userName, userNameBufferSize_,
                                                           exitEvent),
                  0xA7000002u);
        EXPECT_EQ(GatewayLog(), "");
        EXPECT_TRUE(browserCalls_.empty());
        ExpectNothingWritten();
        EXPECT_EQ(Log(), std::vector<std::string>{});
    }

    wchar_t* token_ = tokenBuffer_.data();
    wchar_t* userName_ = userNameBuffer_.data();
};

TEST_F(IpsecSignInArgumentsTest, NullGatewayHost) {
    ExpectInvalid(nullptr, L"id", token_, userName_, exitEvent_);
}

TEST_F(IpsecSignInArgumentsTest, NullUserId) {
    ExpectInvalid(L"127.0.0.1", nullptr, token_, userName_, exitEvent_);
}

TEST_F(IpsecSignInArgumentsTest, NullTokenBuffer) {
    ExpectInvalid(L"127.0.0.1", L"id", nullptr, userName_, exitEvent_);
}

TEST_F(IpsecSignInArgumentsTest, NullUserNameBuffer) {
    ExpectInvalid(L"127.0.0.1", L"id", token_, nullptr, exitEvent_);
}

TEST_F(IpsecSignInArgumentsTest, NullExitEvent) {
    ExpectInvalid(L"127.0.0.1", L"id", token_, userName_, nullptr);
}

} // namespace
} // namespace zelto::test
