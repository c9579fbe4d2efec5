#include "tests/ssl_signin/sign_in_test.h"

#include "tests/support/shortage.h"

#include <chrono>
#include <stdexcept>
#include <system_error>

namespace zelto::test {
namespace {

constexpr std::uint32_t kFailed = 0xA7000000;

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
    EXPECT_TRUE(GuardIsFree(kGuardName));
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

class SslSignInMemoryTest : public SignInTest {
protected:
    // A sign-in in which the library's `number`th allocation on the calling thread fails. Who opens the browser
    // cancels.
    std::uint32_t SignInWithFailing(int number) {
        ResetEvent(exitEvent_);
        browser_ = [this] { SetEvent(exitEvent_); };
        shortage = {GetCurrentThreadId(), number, false};
        const std::uint32_t result = SignIn();
        shortage.thread = 0;
        return result;
    }

    // Sign-ins in which each allocation in turn fails on the library's thread with this number: 1 for the listener, 2
    // for the reader.
    void SignInWithShortThread(int thread, const std::vector<std::string>& errorsOfEach) {
        const std::string request = "GET /?id=" + std::string(40, 'i') + " HTTP/1.1\r\n\r\n";
        browser_ = [this, request, thread] {
            const HANDLE listener = thread == 1 ? shortOfMemory.get() : nullptr;
            try {
                ScriptedConnection connection(ssoPort_, std::chrono::seconds(30), listener);
                connection.Send(request);
                connection.ReceiveAll();
            } catch (const std::runtime_error&) {
                // the listener has gone already
            }
        };
        shortOfMemory.reset();
        SignIn(); // what is allocated once is allocated now
        Patch("malloc", &AllocateUntilShortage);
        Patch("_beginthreadex", &BeginInShortage);
        std::vector<std::string> errors;
        for (int number = 1; number < 50; ++number) {
            UsePort();
            shortThread = thread;
            failingAllocation = number;
            const std::uint32_t result = SignIn();
            shortage.thread = 0;
            if (!shortage.struck) {
                EXPECT_EQ(result, 0u);
                break;
            }
            EXPECT_EQ(result, kFailed) << "allocation " << number;
            errors.insert(errors.end(), errorsOfEach.begin(), errorsOfEach.end());
        }
        EXPECT_GE(errors.size(), 3 * errorsOfEach.size());
        EXPECT_EQ(Errors(), errors);
    }
};

TEST_F(SslSignInMemoryTest, AListenerWithoutMemoryHasFailed) {
    SignInWithShortThread(1, {"error: Could not determine error code 1."});
}

TEST_F(SslSignInMemoryTest, AReaderWithoutMemoryCountsAsABrowserThatSendsNothing) {
    SignInWithShortThread(2, {"error: RecvReqDataFromExtBrow() A dummy connection was made.",
                              "error: Could not determine error code 1."});
}

// Nobody waits for a browser that was not opened: the time-out is longer than the test may take.
TEST_F(SslSignInMemoryTest, NoMemoryIsAFailureAndNoException) {
    SetGateway(R"({"remoteauthtimeout":600})");
    maximumTimeout_ = 600;
    SetEvent(exitEvent_);
    SignIn(); // what is allocated once is allocated now
    Patch("malloc", &AllocateUntilShortage);
    int failures = 0;
    for (int number = 1; number < 200; ++number) {
        std::uint32_t result = 0;
        ASSERT_NO_THROW(result = SignInWithFailing(number)) << "allocation " << number;
        EXPECT_TRUE(GuardIsFree(kGuardName)) << "allocation " << number;
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
