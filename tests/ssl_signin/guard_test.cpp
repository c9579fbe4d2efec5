#include "tests/ssl_signin/sign_in_test.h"

#include "auth/kernel_handle.h"
#include "tests/support/guard_holder.h"

#include <future>

namespace zelto::test {
namespace {

constexpr std::uint32_t kFailed = 0xA7000000;
constexpr std::uint32_t kBusy = 0xA7000005;
constexpr char kRepeat[] = "error: External browser repeat auth";

using SslSignInGuardTest = SignInTest;

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

TEST_F(SslSignInGuardTest, TheMutexIsNotOwned) {
    Patch("CreateMutexW", &CreateAsExpected);
    BrowserRequests("GET /?id=XYZ HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
}

TEST_F(SslSignInGuardTest, TheMutexCannotBeCreated) {
    Patch("CreateMutexW", &CreateFails);
    EXPECT_EQ(SignIn(), kFailed);
    EXPECT_EQ(GatewayLog(), "");
    EXPECT_EQ(Id(), "old");
    EXPECT_EQ(Log(), (std::vector<std::string>{"error: CreateMutex() failed."}));
}

TEST_F(SslSignInGuardTest, TheNameBelongsToAnObjectOfAnotherKind) {
    const KernelHandle event(CreateEventW(nullptr, FALSE, FALSE, kGuardName));
    EXPECT_EQ(SignIn(), kFailed);
    EXPECT_EQ(Log(), (std::vector<std::string>{"error: CreateMutex() failed."}));
}

TEST_F(SslSignInGuardTest, SecondCallerIsTurnedAway) {
    const KernelHandle opened(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const KernelHandle goOn(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    browser_ = [&] {
        SetEvent(opened.get());
        WaitForSingleObject(goOn.get(), INFINITE);
        RequestOnce(ssoPort_, "GET /?id=XYZ HTTP/1.1\r\n\r\n");
    };
    auto first = std::async(std::launch::async, [&] { return SignIn(); });
    ASSERT_EQ(WaitForSingleObject(opened.get(), 60'000), WAIT_OBJECT_0);

    char buffer[16] = "second";
    EXPECT_EQ(library_.GetSslSamlDataExternalBrowser(GatewayAddress().c_str(), 60, buffer, sizeof(buffer),
                                                     exitEvent_),
              kBusy);
    EXPECT_STREQ(buffer, "second");
    EXPECT_EQ(first.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    SetEvent(goOn.get());

    EXPECT_EQ(first.get(), 0u);
    EXPECT_EQ(Id(), "XYZ");
    EXPECT_EQ(browserCalls_.size(), 1u);
    EXPECT_EQ(Errors(), (std::vector<std::string>{kRepeat}));
}

TEST_F(SslSignInGuardTest, AnotherProcessHoldsTheGuard) {
    GuardHolder other(kGuardName);
    EXPECT_EQ(SignIn(), kBusy);
    EXPECT_EQ(GatewayLog(), "");
    other.End();

    BrowserRequests("GET /?id=XYZ HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
    EXPECT_EQ(Errors(), (std::vector<std::string>{kRepeat}));
}

} // namespace
} // namespace zelto::test
