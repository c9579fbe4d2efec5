#include "tests/ipsec_signin/ipsec_sign_in_test.h"

#include "auth/kernel_handle.h"
#include "tests/support/guard_holder.h"

#include <future>

namespace zelto::test {
namespace {

constexpr std::uint32_t kFailed = 0xA7000000;
constexpr std::uint32_t kBusy = 0xA7000005;

constexpr char kStarts[] = "debug: GetIpsecSamlDataExternalBrowser() starts.";
constexpr char kCreateFailed[] = "error: GetIpsecSamlDataExternalBrowser() CreateMutex() failed.";
constexpr char kRepeat[] = "error: External browser repeat auth";

class IpsecSignInGuardTest : public IpsecSignInTest {
protected:
    // Before there is a listener, a request or a browser.
    void ExpectTurnedAway(std::uint32_t result, const std::string& message) {
        EXPECT_EQ(SignIn(), result);
        EXPECT_EQ(GatewayLog(), "");
        EXPECT_TRUE(browserCalls_.empty());
        EXPECT_FALSE(ExitEventIsSignalled());
        ExpectNothingWritten();
        EXPECT_EQ(Log(), (std::vector<std::string>{kStarts, message, kUndetermined1, kCouldNotGet}));
    }
};

// The one argument list that the guard shall be made with.
HANDLE WINAPI CreateAsExpected(LPSECURITY_ATTRIBUTES security, BOOL owner, LPCWSTR name) {
    EXPECT_EQ(security, nullptr);
    EXPECT_FALSE(owner);
    EXPECT_STREQ(name, kGuardName);
    return CreateMutexW(security, owner, name);
}

HANDLE WINAPI CreateFails(LPSECURITY_ATTRIBUTES, BOOL, LPCWSTR) {
    SetLastError(ERROR_ACCESS_DENIED);
    return nullptr;
}

TEST_F(IpsecSignInGuardTest, TheMutexIsNotOwned) {
    Patch("CreateMutexW", &CreateAsExpected);
    BrowserRequests("GET /?tokenid=abc&username=bob HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
}

TEST_F(IpsecSignInGuardTest, TheMutexCannotBeCreated) {
    Patch("CreateMutexW", &CreateFails);
    ExpectTurnedAway(kFailed, kCreateFailed);
}

TEST_F(IpsecSignInGuardTest, TheNameBelongsToAnObjectOfAnotherKind) {
    const KernelHandle event(CreateEventW(nullptr, FALSE, FALSE, kGuardName));
    ExpectTurnedAway(kFailed, kCreateFailed);
}

TEST_F(IpsecSignInGuardTest, AnotherProcessHoldsTheGuard) {
    GuardHolder other(kGuardName);
    ExpectTurnedAway(kBusy, kRepeat);
}

TEST_F(IpsecSignInGuardTest, SecondCallerIsTurnedAway) {
    const KernelHandle opened(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const KernelHandle goOn(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    browser_ = [&] {
        SetEvent(opened.get());
        WaitForSingleObject(goOn.get(), INFINITE);
        RequestOnce(ListenerPort(), "GET /?tokenid=abc&username=bob HTTP/1.1\r\n\r\n");
    };
    auto first = std::async(std::launch::async, [&] { return SignIn(); });
    ASSERT_EQ(WaitForSingleObject(opened.get(), 60'000), WAIT_OBJECT_0);

    wchar_t second[16] = L"second";
    EXPECT_EQ(library_.GetIpsecSamlDataExternalBrowser(L"127.0.0.1", GatewayPort(), L"id", 1000, second, 16,
                                                       second, 16, exitEvent_),
              kBusy);
    EXPECT_STREQ(second, L"second");
    EXPECT_EQ(first.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    SetEvent(goOn.get());

    EXPECT_EQ(first.get(), 0u);
    EXPECT_EQ(Token(), L"abc");
    EXPECT_EQ(browserCalls_.size(), 1u);
    EXPECT_EQ(Errors(), (std::vector<std::string>{kRepeat, kUndetermined1, kCouldNotGet}));
}

// The two kinds of sign-in do not stand in each other's way.
TEST_F(IpsecSignInGuardTest, AnSslVpnSignInDoesNotHoldThisGuard) {
    GuardHolder other(L"GetSslSamlDataExternalBrowser");
    BrowserRequests("GET /?tokenid=abc&username=bob HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
}

} // namespace
} // namespace zelto::test
