#include "tests/ipsec_signin/ipsec_sign_in_test.h"

#include "tests/support/shortage.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <system_error>

namespace zelto::test {
namespace {

constexpr std::uint32_t kFailed = 0xA7000000;
constexpr std::uint32_t kTimeout = 0xA7000003;
constexpr std::uint32_t kCancelled = 0xA7000007;

using testing::AnyOf;

class IpsecSignInThreadTest : public IpsecSignInTest {
protected:
    void AllowThreads(int count) {
        threadsLeft = count;
        Patch("_beginthreadex", &BeginUntilNoneIsLeft);
    }
};

TEST_F(IpsecSignInThreadTest, AListenerThatCannotBeStartedRaisesTheSystemError) {
    AllowThreads(0);
    try {
        SignIn();
        FAIL() << "nothing was raised";
    } catch (const std::system_error& error) {
        // Compared by value and name: the library's category is another object than this program's.
        EXPECT_EQ(error.code().value(), static_cast<int>(std::errc::resource_unavailable_try_again));
        EXPECT_STREQ(error.code().category().name(), "generic");
    }
    EXPECT_TRUE(GuardIsFree(kGuardName));
    EXPECT_TRUE(browserCalls_.empty());
    EXPECT_EQ(GatewayLog(), "");
    ExpectNothingWritten();

    threadsLeft = 2;
    BrowserRequests("GET /?tokenid=abc&username=bob HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
}

TEST_F(IpsecSignInThreadTest, AReaderThatCannotBeStartedCountsAsFailed) {
    AllowThreads(1);
    BrowserRequests("GET /?tokenid=abc&username=bob HTTP/1.1");
    EXPECT_EQ(SignIn(), kFailed);
    EXPECT_EQ(page_, ""); // the browser was not kept waiting
    EXPECT_EQ(Errors(), (std::vector<std::string>{kUndetermined1, kCouldNotGet}));
}

// Wherever the memory runs out on the calling thread, also behind the start of the listener: that one then
// ends by itself, although nobody signals the exit event. (The test's end waits for it.)
TEST_F(IpsecSignInTest, NoMemoryIsAFailureAndNoException) {
    timeoutMs_ = 600'000;
    SetEvent(exitEvent_);
    SignIn(); // what is allocated once is allocated now
    Patch("malloc", &AllocateUntilShortage);
    int failures = 0;
    std::ptrdiff_t exceptions = 0;
    for (int number = 1; number < 200; ++number) {
        ResetEvent(exitEvent_);
        browser_ = [this] { SetEvent(exitEvent_); };
        shortage = {GetCurrentThreadId(), number, false};
        std::uint32_t result = 0;
        ASSERT_NO_THROW(result = SignIn()) << "allocation " << number;
        shortage.thread = 0;
        EXPECT_TRUE(GuardIsFree(kGuardName)) << "allocation " << number;
        ExpectNothingWritten();
        if (!shortage.struck) {
            EXPECT_EQ(result, kCancelled);
            break;
        }
        // A start page that there is no memory for counts as an empty one; a record of the log is left out.
        EXPECT_THAT(result, AnyOf(kFailed, kTimeout, kCancelled)) << "allocation " << number;
        failures += result == kCancelled ? 0 : 1;
        exceptions += result == kFailed ? 1 : 0;
    }
    EXPECT_GT(failures, 3);
    EXPECT_GT(exceptions, 1);
    EXPECT_EQ(std::ranges::count(Errors(), "error: GetIpsecSamlDataExternalBrowser() out of memory."),
              exceptions);
}

// The same for a sign-in that the browser completes: what is written is written whole, and a failure writes nothing.
TEST_F(IpsecSignInTest, NoMemoryLeavesNoHalfOfASuccess) {
    const std::string token(40, 't'); // too long to lie inside a string
    const std::string userName(40, 'u');
    BrowserRequests("GET /?tokenid=" + token + "&username=" + userName + " HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u); // what is allocated once is allocated now
    EXPECT_EQ(Token(), std::wstring(40, L't'));
    Patch("malloc", &AllocateUntilShortage);
    int failuresOnceTheBrowserHasCome = 0;
    for (int number = 1; number < 200; ++number) {
        ResetEvent(exitEvent_);
        page_.clear();
        std::ranges::copy(L"old", tokenBuffer_.begin());
        std::ranges::copy(L"old", userNameBuffer_.begin());
        shortage = {GetCurrentThreadId(), number, false};
        std::uint32_t result = 0;
        ASSERT_NO_THROW(result = SignIn()) << "allocation " << number;
        shortage.thread = 0;
        EXPECT_TRUE(GuardIsFree(kGuardName)) << "allocation " << number;
        if (result == 0) {
            EXPECT_EQ(Token(), std::wstring(40, L't')) << "allocation " << number;
            EXPECT_EQ(UserName(), std::wstring(40, L'u')) << "allocation " << number;
        } else {
            ExpectNothingWritten();
            failuresOnceTheBrowserHasCome += page_.empty() ? 0 : 1;
        }
        if (!shortage.struck) {
            EXPECT_EQ(result, 0u);
            break;
        }
    }
    EXPECT_GE(failuresOnceTheBrowserHasCome, 3); // the request, the token id, the user name
}

} // namespace
} // namespace zelto::test
