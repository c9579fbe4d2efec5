#include "tests/ssl_signin/sign_in_test.h"

#include "tests/support/leftover_search.h"

#include <cstring>

namespace zelto::test {
namespace {

constexpr char kSecret[] = "BeginOfTheSecretId";

// The id is in the caller's buffer, and no copy of it in memory that the library has given back.
class SslSignInWipingTest : public SignInTest {
protected:
    SslSignInWipingTest() {
        BeginLeftoverSearch();
        Patch("_beginthreadex", &BeginAndKeepThread);
    }

    void SignInWith(const std::string& id, std::uint32_t result = 0) {
        BrowserRequests("GET /?id=" + id + " HTTP/1.1");
        const std::wstring gateway = GatewayAddress();
        std::uint32_t got = 1;
        CallFurtherDown([&] {
            got = library_.GetSslSamlDataExternalBrowser(gateway.c_str(), maximumTimeout_, buffer_.data(),
                                                         bufferSize_, exitEvent_);
        });
        leftOnStack_ = StackHoldsSecret(); // before anybody else writes there
        JoinBrowser();
        EXPECT_EQ(got, result);
        EXPECT_TRUE(WaitForBegunThreads());
    }

    bool leftOnStack_ = false;
};

// The search itself.
TEST_F(SslSignInWipingTest, FindsASecretInAFreedBlock) {
    SeekSecret(kSecret);
    void* block = std::malloc(100);
    std::memset(block, 'x', 100);
    std::memcpy(static_cast<char*>(block) + 20, kSecret, std::strlen(kSecret));
    SearchAndFree(block);
    EXPECT_EQ(freedWithSecret, 1);
    EXPECT_EQ(freedWithout, 0);
}

TEST_F(SslSignInWipingTest, FindsASecretOnTheStack) {
    SeekSecret(kSecret);
    const auto leave = [](const char* text) {
        volatile char left[sizeof(kSecret)];
        std::copy_n(text, sizeof(left), left);
    };
    EXPECT_FALSE(StackHoldsSecret());
    CallFurtherDown([&] { leave(kSecret); });
    EXPECT_TRUE(StackHoldsSecret());
}

TEST_F(SslSignInWipingTest, NoBlockIsFreedWithALongId) {
    SeekSecret(kSecret);
    Patch("free", &SearchAndFree);
    const std::string id = kSecret + std::string(300, 'i');
    SignInWith(id);
    EXPECT_EQ(Id(), id);
    EXPECT_EQ(freedWithSecret, 0);
    EXPECT_GT(freedWithout, 5);
}

TEST_F(SslSignInWipingTest, NoBlockIsFreedWithAnIdThatIsNotDelivered) {
    SeekSecret(kSecret);
    Patch("free", &SearchAndFree);
    bufferSize_ = 10;
    SignInWith(kSecret + std::string(300, 'i'), 0xA7000000);
    EXPECT_EQ(freedWithSecret, 0);
}

// Short enough to lie inside a string.
TEST_F(SslSignInWipingTest, NoShortIdStaysOnTheCallersStack) {
    SeekSecret("ShortSecretId");
    SignInWith("ShortSecretId");
    EXPECT_STREQ(buffer_.data(), "ShortSecretId");
    EXPECT_FALSE(leftOnStack_);
}

TEST_F(SslSignInWipingTest, NoRequestStaysOnTheReadersStack) {
    SeekSecret(kSecret);
    Patch("GetModuleHandleA", &SearchStackAndGetModule);
    SignInWith(kSecret + std::string(600, 'i') + kSecret);
    EXPECT_EQ(pagesLookedFor, 1);
    EXPECT_FALSE(secretOnStack);
}

} // namespace
} // namespace zelto::test
