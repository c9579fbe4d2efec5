#include "tests/ssl_signin/sign_in_test.h"

#include "auth/kernel_handle.h"

#include <future>

namespace zelto::test {
namespace {

// A host may unload the library as soon as its sign-in has returned.
class SslSignInUnloadTest : public SignInTest {
protected:
    SslSignInUnloadTest() {
        atItsEnd = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        mayEnd = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    }
    ~SslSignInUnloadTest() override {
        SetEvent(mayEnd);
        CloseHandle(atItsEnd);
        CloseHandle(mayEnd);
    }

    // The reader's last act is to signal its data: from there on nothing waits for it.
    static BOOL WINAPI SignalAndStay(HANDLE event) {
        const BOOL result = SetEvent(event);
        SetEvent(atItsEnd);
        WaitForSingleObject(mayEnd, 60'000);
        return result;
    }

    static HANDLE atItsEnd;
    static HANDLE mayEnd;
};

HANDLE SslSignInUnloadTest::atItsEnd;
HANDLE SslSignInUnloadTest::mayEnd;

TEST_F(SslSignInUnloadTest, TheReaderIsTheLastToLeave) {
    Patch("SetEvent", &SignalAndStay);
    BrowserRequests("GET /?id=XYZ HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
    EXPECT_EQ(WaitForSingleObject(atItsEnd, 60'000), WAIT_OBJECT_0);
    TakePatchesAway();

    library_.Unload();
    EXPECT_TRUE(LibraryIsLoaded()); // the reader keeps it
    SetEvent(mayEnd);
    EXPECT_NE(Log(), std::vector<std::string>{}); // the reader has unloaded it, and this program lives
    EXPECT_FALSE(LibraryIsLoaded());
}

// Raising and catching exceptions leaves state with each thread that does so; it must not lead back into the
// library.
TEST_F(SslSignInUnloadTest, AThreadThatSignedInOutlivesTheLibrary) {
    browser_ = [this] { ScriptedConnection(ssoPort_).Close(); };
    std::promise<std::uint32_t> result;
    std::thread host([&] {
        result.set_value(SignIn());
        WaitForSingleObject(mayEnd, 60'000);
    });
    EXPECT_EQ(result.get_future().get(), 0xA7000000u);
    EXPECT_EQ(Errors().back(), "error: Could not determine error code 1.");
    EXPECT_FALSE(LibraryIsLoaded());
    SetEvent(mayEnd);
    host.join();
}

} // namespace
} // namespace zelto::test
