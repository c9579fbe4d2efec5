#include "tests/session_browser/session_sign_in_test.h"

#include "tests/support/leftover_search.h"

namespace zelto::test {
namespace {

constexpr char kSecret[] = "BeginOfTheSecretId";

// The id is in the caller's buffer and in the log, and in no block that the library has freed.
class SessionSignInWipingTest : public SessionSignInTest {
protected:
    SessionSignInWipingTest() {
        BeginLeftoverSearch();
        SeekSecret(kSecret);
        Patch("_beginthreadex", &BeginAndKeepThread);
        Patch("free", &SearchAndFree);
    }

    void ExpectNothingLeft() {
        EXPECT_EQ(SignIn(), 0u);
        EXPECT_TRUE(WaitForBegunThreads());
        EXPECT_EQ(freedWithSecret, 0);
        EXPECT_GT(freedWithout, 5);
    }
};

TEST_F(SessionSignInWipingTest, NoBlockIsFreedWithTheId) {
    const std::string id = kSecret + std::string(300, 'i');
    BrowserRequests("GET /?id=" + id + " HTTP/1.1");
    ExpectNothingLeft();
    EXPECT_EQ(Response(), id);
}

// What stands in a buffer without a terminator may be an id that was delivered earlier.
TEST_F(SessionSignInWipingTest, NoBlockIsFreedWithWhatStoodInTheBuffer) {
    const std::string old = kSecret + std::string(30, 'o');
    std::ranges::copy(old, buffer_.begin());
    bufferSize_ = static_cast<std::uint32_t>(old.size());
    BrowserRequests("GET / HTTP/1.1");
    ExpectNothingLeft();
}

} // namespace
} // namespace zelto::test
