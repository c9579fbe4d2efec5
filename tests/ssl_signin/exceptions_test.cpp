#include "tests/ssl_signin/sign_in_test.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <process.h>
#include <system_error>

namespace zelto::test {
namespace {

constexpr std::uint32_t kFailed = 0xA7000000;

std::atomic<int> threadsLeft; // how many threads the library may still start

std::uintptr_t __cdecl BeginUntilNoneIsLeft(void* security, unsigned stack, _beginthreadex_proc_type start,
                                            void* argument, unsigned flags, unsigned* id) {
    if (threadsLeft-- <= 0) {
        errno = EAGAIN;
        return 0;
    }
    return _beginthreadex(security, stack, start, argument, flags, id);
}

class SslSignInThreadTest : public SignInTest {
protected:
    void AllowThreads(int count) {
        threadsLeft = count;
        Patch("_beginthreadex", &BeginUntilNoneIsLeft);
    }
};

TEST_F(SslSignInThreadTest, AListenerThatCannotBeStartedRaisesTheSystemError) {
    AllowThreads(0);
    try {
        SignIn();
        FAIL() << "nothing was raised";
    } catch (const std::system_error& error) {
        // Compared by value and name: the library's category is another object than this program's.
        EXPECT_EQ(error.code().value(), static_cast<int>(std::errc::resource_unavailable_try_again));
        EXPECT_STREQ(error.code().category().name(), "generic");
    }
    EXPECT_TRUE(GuardIsFree());
    EXPECT_TRUE(browserCalls_.empty());
    EXPECT_EQ(Id(), "old");

    threadsLeft = 2;
    BrowserRequests("GET /?id=XYZ HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
}

TEST_F(SslSignInThreadTest, AReaderThatCannotBeStartedCountsAsFailed) {
    AllowThreads(1);
    BrowserRequests("GET /?id=XYZ HTTP/1.1");
    EXPECT_EQ(SignIn(), kFailed);
    EXPECT_EQ(page_, ""); // the browser was not kept waiting
    EXPECT_EQ(Errors(), (std::vector<std::string>{"error: Could not determine error code 1."}));
}

// Which allocation of the calling thread fails; the library's other threads have all the memory they want.
struct Shortage {
    DWORD thread = 0;
    int countdown = 0; // the allocation that brings it to 0 fails
    bool struck = false;
} shortage;

void* __cdecl AllocateUntilShortage(std::size_t size) {
    if (GetCurrentThreadId() == shortage.thread && --shortage.countdown == 0) {
        shortage.struck = true;
        return nullptr;
    }
    return std::malloc(size);
}

class SslSignInMemoryTest : public SignInTest {
protected:
    // A sign-in in which the library's `number`th allocation on the calling thread fails. A listener that has
    // been started ends by the exit event.
    std::uint32_t SignInWithFailing(int number) {
        shortage = {GetCurrentThreadId(), number, false};
        const std::uint32_t result = SignIn();
        shortage.thread = 0;
        return result;
    }
};

TEST_F(SslSignInMemoryTest, NoMemoryIsAFailureAndNoException) {
    SetEvent(exitEvent_);
    SignIn(); // what is allocated once is allocated now
    Patch("malloc", &AllocateUntilShortage);
    int failures = 0;
    for (int number = 1; number < 200; ++number) {
        std::uint32_t result = 0;
        ASSERT_NO_THROW(result = SignInWithFailing(number)) << "allocation " << number;
        EXPECT_TRUE(GuardIsFree()) << "allocation " << number;
        EXPECT_EQ(Id(), "old");
        if (!shortage.struck) {
            EXPECT_EQ(result, 0xA7000007u);
            break;
        }
        EXPECT_EQ(result, kFailed) << "allocation " << number;
        ++failures;
    }
    EXPECT_GT(failures, 3);
    EXPECT_EQ(Errors(), std::vector<std::string>(static_cast<std::size_t>(failures),
                                                 "error: GetSslSamlDataExternalBrowser() out of memory."));
}

} // namespace
} // namespace zelto::test
