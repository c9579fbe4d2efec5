#include "tests/ipsec_signin/ipsec_sign_in_test.h"

#include "tests/support/leftover_search.h"

namespace zelto::test {
namespace {

// The values are in the caller's buffers, and no copy of them in memory that the library has given back.
class IpsecSignInWipingTest : public IpsecSignInTest {
protected:
    IpsecSignInWipingTest() {
        BeginLeftoverSearch();
        Patch("_beginthreadex", &BeginAndKeepThread);
        Patch("free", &SearchAndFree);
    }

    void SignInWith(const std::string& token, const std::string& userName, std::uint32_t result = 0) {
        BrowserRequests("GET /?tokenid=" + token + "&username=" + userName + " HTTP/1.1");
        std::uint32_t got = 1;
        CallFurtherDown([&] {
            got = library_.GetIpsecSamlDataExternalBrowser(
                L"127.0.0.1", GatewayPort(), userId_.c_str(), timeoutMs_, tokenBuffer_.data(),
                tokenBufferSize_, userNameBuffer_.data(), userNameBufferSize_, exitEvent_);
        });
        leftOnStack_ = StackHoldsSecret(); // before anybody else writes there
        JoinBrowser();
        EXPECT_EQ(got, result);
        EXPECT_TRUE(WaitForBegunThreads());
        EXPECT_GT(freedWithout, 5);
    }

    bool leftOnStack_ = false;
};

TEST_F(IpsecSignInWipingTest, NoBlockIsFreedWithALongToken) {
    SeekSecret("BeginOfTheToken");
    SignInWith("BeginOfTheToken" + std::string(200, 't'), "bob");
    EXPECT_EQ(freedWithSecret, 0);
}

TEST_F(IpsecSignInWipingTest, NoBlockIsFreedWithALongUserName) {
    SeekSecret("BeginOfTheName");
    SignInWith("abc", "BeginOfTheNam%65" + std::string(200, 'n'));
    EXPECT_EQ(freedWithSecret, 0);
}

TEST_F(IpsecSignInWipingTest, NoBlockIsFreedWithValuesThatAreNotDelivered) {
    SeekSecret("BeginOfTheToken");
    SeekSecret("BeginOfTheName");
    userNameBufferSize_ = 10;
    SignInWith("BeginOfTheToken" + std::string(200, 't'), "BeginOfTheName" + std::string(200, 'n'),
               0xA7000002);
    EXPECT_EQ(freedWithSecret, 0);
}

// Short enough to lie inside a string, narrow or wide; one that was moved from has only lost its first character.
TEST_F(IpsecSignInWipingTest, NoShortValueStaysOnTheCallersStack) {
    SeekSecret("0kenId");
    SeekSecret("serN4m");
    SignInWith("T0kenId", "UserN4m");
    EXPECT_FALSE(leftOnStack_);
    EXPECT_EQ(Token(), L"T0kenId");
    EXPECT_EQ(UserName(), L"UserN4m");
}

TEST_F(IpsecSignInWipingTest, NoBlockIsFreedWithTheStartPage) {
    SeekSecret("start?request=Secret");
    SetLoginFault("status",
                  R"("status":200,"body":"window.location=\"https://gw/start?request=Secret0123456789\"")");
    SignInWith("abc", "bob");
    EXPECT_EQ(browserCalls_.at(0).url, L"https://gw/start?request=Secret0123456789");
    EXPECT_EQ(freedWithSecret, 0);
}

} // namespace
} // namespace zelto::test
