#include "tests/session_browser/session_sign_in_test.h"

#include "auth/kernel_handle.h"
#include "tests/support/guard_holder.h"
#include "tests/support/process_counts.h"
#include "tests/support/shortage.h"

#include <algorithm>
#include <chrono>
#include <future>
#include <stdexcept>
#include <system_error>

namespace zelto::test {
namespace {

constexpr std::uint32_t kNoLocalPort = 1;
constexpr std::uint32_t kFailed = 0xA7000000;
constexpr std::uint32_t kInvalid = 0xA7000002;
constexpr std::uint32_t kBusy = 0xA7000005;

// Sign-ins that end before there is a listener.
class SessionSignInRefusalTest : public SessionSignInTest {
protected:
    void ExpectRefused(const std::string& message) {
        EXPECT_TRUE(sessionCalls_.empty());
        EXPECT_EQ(Response(), "old");
        EXPECT_EQ(Log(), (std::vector<std::string>{kCalled, message}));
    }
};

TEST_F(SessionSignInRefusalTest, NullGatewayUrl) {
    EXPECT_EQ(library_.SamlAuthGetResponseUsingExternalBrowser(nullptr, 0, buffer_.data(), bufferSize_),
              kInvalid);
    ExpectRefused("error: Invalid parameter");
}

TEST_F(SessionSignInRefusalTest, NullResponseBuffer) {
    EXPECT_EQ(library_.SamlAuthGetResponseUsingExternalBrowser(L"gw", 0, nullptr, bufferSize_), kInvalid);
    ExpectRefused("error: Invalid parameter");
}

TEST_F(SessionSignInRefusalTest, AnotherProcessHoldsTheGuard) {
    GuardHolder other(kGuardName);
    EXPECT_EQ(SignIn(), kBusy);
    ExpectRefused("error: Repeat auth");
}

SOCKET WSAAPI NoSocket(int, int, int) {
    return INVALID_SOCKET;
}

TEST_F(SessionSignInRefusalTest, NoLocalPort) {
    Patch("socket", &NoSocket);
    EXPECT_EQ(SignIn(), kNoLocalPort);
    ExpectRefused("error: AllocateDynamicPort Failed");
}

TEST_F(SessionSignInRefusalTest, AListenerThatCannotBeStartedRaisesTheSystemError) {
    threadsLeft = 0;
    Patch("_beginthreadex", &BeginUntilNoneIsLeft);
    try {
        SignIn();
        FAIL() << "nothing was raised";
    } catch (const std::system_error& error) {
        // Compared by value and name: the library's category is another object than this program's.
        EXPECT_EQ(error.code().value(), static_cast<int>(std::errc::resource_unavailable_try_again));
        EXPECT_STREQ(error.code().category().name(), "generic");
    }
    EXPECT_TRUE(GuardIsFree(kGuardName));
    EXPECT_TRUE(sessionCalls_.empty());
}

class SessionSignInGuardTest : public SessionSignInTest {};

// The one argument list that the guard shall be made with.
HANDLE WINAPI CreateAsExpected(LPSECURITY_ATTRIBUTES security, BOOL owner, LPCSTR name) {
    EXPECT_EQ(security, nullptr);
    EXPECT_FALSE(owner);
    EXPECT_STREQ(name, "SamlAuthGetResponseUsingExternalBrowser");
    return CreateMutexA(security, owner, name);
}

TEST_F(SessionSignInGuardTest, TheMutexIsNotOwned) {
    Patch("CreateMutexA", &CreateAsExpected);
    EXPECT_EQ(SignIn(), 0u);
}

HANDLE WINAPI CreateFails(LPSECURITY_ATTRIBUTES, BOOL, LPCSTR) {
    SetLastError(ERROR_ACCESS_DENIED);
    return nullptr;
}

TEST_F(SessionSignInGuardTest, WithoutAMutexTheSignInGoesOn) {
    Patch("CreateMutexA", &CreateFails);
    EXPECT_EQ(SignIn(), 0u);
    EXPECT_EQ(Response(), "XYZ");
    EXPECT_EQ(Errors(), std::vector<std::string>{});
}

TEST_F(SessionSignInGuardTest, ANameThatBelongsToAnObjectOfAnotherKindIsNoGuard) {
    const KernelHandle event(CreateEventW(nullptr, FALSE, FALSE, kGuardName));
    EXPECT_EQ(SignIn(), 0u);
    EXPECT_EQ(Response(), "XYZ");
}

TEST_F(SessionSignInGuardTest, SecondCallerIsTurnedAwayBeforeAListenerExists) {
    const KernelHandle opened(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const KernelHandle goOn(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    browser_ = [&] {
        SetEvent(opened.get());
        WaitForSingleObject(goOn.get(), INFINITE);
        RequestPage(RedirectPort(), "GET /?id=XYZ HTTP/1.1\r\n\r\n");
    };
    auto first = std::async(std::launch::async, [&] { return SignIn(); });
    ASSERT_EQ(WaitForSingleObject(opened.get(), 60'000), WAIT_OBJECT_0);

    const std::size_t threads = CountThreads();
    char second[16] = "second";
    EXPECT_EQ(library_.SamlAuthGetResponseUsingExternalBrowser(L"gw", 0, second, 16), kBusy);
    EXPECT_STREQ(second, "second");
    EXPECT_LE(CountThreads(), threads); // one of the test before may have gone meanwhile
    EXPECT_EQ(first.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    SetEvent(goOn.get());

    EXPECT_EQ(first.get(), 0u);
    EXPECT_EQ(Response(), "XYZ");
    EXPECT_EQ(sessionCalls_.size(), 1u);
    const std::vector<std::string> log = Log();
    EXPECT_EQ(std::count(log.begin(), log.end(), "error: Repeat auth"), 1);
    EXPECT_EQ(std::count_if(log.begin(), log.end(),
                            [](const std::string& line) { return line.starts_with("info: called. "); }),
              1);
}

// The same on the listener's thread: the browser was sent for nothing.
TEST_F(SessionSignInGuardTest, AListenerWithoutMemoryGivesNoId) {
    const std::string id(40, 'i');
    browser_ = [this, id] {
        try {
            ScriptedConnection connection(RedirectPort(), std::chrono::seconds(30), shortOfMemory.get());
            connection.Send("GET /?id=" + id + " HTTP/1.1\r\n\r\n");
            connection.ReceiveAll(std::chrono::milliseconds(500));
        } catch (const std::runtime_error&) {
            // the listener has gone already
        }
    };
    shortOfMemory.reset();
    SignIn(); // what is allocated once is allocated now
    Patch("malloc", &AllocateUntilShortage);
    Patch("_beginthreadex", &BeginInShortage);
    int failures = 0;
    for (int number = 1; number < 50; ++number) {
        sessionCalls_.clear();
        std::ranges::copy(std::string_view("old\0", 4), buffer_.begin());
        shortThread = 1;
        failingAllocation = number;
        EXPECT_EQ(SignIn(), 0u) << "allocation " << number;
        shortage.thread = 0;
        if (!shortage.struck) {
            EXPECT_EQ(Response(), id);
            break;
        }
        EXPECT_EQ(Response(), "old") << "allocation " << number;
        ++failures;
    }
    EXPECT_GE(failures, 3);
}

// Wherever the memory runs out on the calling thread, nobody is left behind that would end the process.
TEST_F(SessionSignInGuardTest, NoMemoryIsAFailureAndNoException) {
    const std::string id(40, 'i'); // too long to lie inside a string
    BrowserRequests("GET /?id=" + id + " HTTP/1.1");
    SignIn(); // what is allocated once is allocated now
    Patch("malloc", &AllocateUntilShortage);
    int failures = 0;
    for (int number = 1; number < 200; ++number) {
        sessionCalls_.clear();
        std::ranges::copy("old", buffer_.begin());
        shortage = {GetCurrentThreadId(), number, false};
        std::uint32_t result = 0;
        ASSERT_NO_THROW(result = SignIn()) << "allocation " << number;
        shortage.thread = 0;
        EXPECT_TRUE(GuardIsFree(kGuardName)) << "allocation " << number;
        if (!shortage.struck) {
            EXPECT_EQ(result, 0u);
            break;
        }
        EXPECT_TRUE(result == kFailed || result == 0) << "allocation " << number; // a record may be left out
        // What is delivered is no failure.
        EXPECT_EQ(Response(), result == 0 ? id : "old") << "allocation " << number;
        failures += result == kFailed ? 1 : 0;
    }
    EXPECT_GT(failures, 3);
    EXPECT_EQ(Errors(),
              std::vector<std::string>(static_cast<std::size_t>(failures),
                                       "error: SamlAuthGetResponseUsingExternalBrowser() out of memory."));
}

} // namespace
} // namespace zelto::test
