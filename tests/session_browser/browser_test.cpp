#include "tests/session_browser/session_sign_in_test.h"

#include "tests/support/held_token_search.h"

#include <algorithm>
#include <future>

namespace zelto::test {
namespace {

// How the browser is started.
class SessionSignInBrowserTest : public SessionSignInTest {
protected:
    // The address in front of the two parameters that the library adds.
    void ExpectOpened(const std::wstring& gatewayUrl, const std::wstring& address) {
        gatewayUrl_ = gatewayUrl;
        EXPECT_EQ(SignIn(), 0u);
        ASSERT_EQ(sessionCalls_.size(), 1u);
        const std::wstring url = address + L"&redirect=1&redirport=" + std::to_wstring(RedirectPort());
        EXPECT_EQ(sessionCalls_[0].commandLine, L"cmd.exe /c start \"\" \"" + url + L"\"");
        const std::string line = "info: Browser opens URL " + std::string(url.begin(), url.end());
        const std::vector<std::string> log = Log();
        EXPECT_EQ(std::count(log.begin(), log.end(), line), 1) << line;
    }
};

TEST_F(SessionSignInBrowserTest, TheCommandIsStartedInTheActiveSession) {
    EXPECT_EQ(SignIn(), 0u);
    ASSERT_EQ(sessionCalls_.size(), 1u);
    EXPECT_EQ(sessionCalls_[0].session, 7u);
    EXPECT_EQ(sessionCalls_[0].inherit, 1);
    EXPECT_TRUE(sessionCalls_[0].othersAreZero);
}

HANDLE choosesSession; // signalled when the sign-in looks for the session, right before it starts the command

// While the library starts another program, which alone is to inherit some handles, no command is started.
TEST_F(SessionSignInBrowserTest, TheStartWaitsForAnotherProgramsStart) {
    const KernelHandle opened(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    browser_ = [&] {
        SetEvent(opened.get());
        page_ = RequestPage(RedirectPort(), "GET /?id=XYZ HTTP/1.1\r\n\r\n");
    };
    const KernelHandle chooses(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    choosesSession = chooses.get();
    const ImportPatch telling(
        library_.Module(), "SelectCurrentActiveTSSession", +[]() -> DWORD {
            SetEvent(choosesSession);
            return 7;
        });
    HeldTokenSearch search(library_, HeldTokenSearch::Then::FindsNothing);
    auto signIn = std::async(std::launch::async, [this] { return SignIn(); });
    EXPECT_EQ(WaitForSingleObject(chooses.get(), 60'000), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(opened.get(), 500), static_cast<DWORD>(WAIT_TIMEOUT));
    EXPECT_EQ(search.GoOn(), "");
    EXPECT_EQ(signIn.get(), 0u);
    EXPECT_EQ(Response(), "XYZ");
}

TEST_F(SessionSignInBrowserTest, AGatewayUrlWithPortAndQuery) {
    ExpectOpened(L"https://gw:8443/remote/saml/start?realm=x", L"https://gw:8443/remote/saml/start?realm=x");
}

TEST_F(SessionSignInBrowserTest, AGatewayUrlWithoutAQueryIsNotRepaired) {
    ExpectOpened(L"https://gw", L"https://gw");
}

TEST_F(SessionSignInBrowserTest, NothingIsEncoded) {
    ExpectOpened(L"gw/a b?c=%41&d", L"https://gw/a b?c=%41&d");
}

// The first ":" behind the scheme begins the port, wherever it stands, and ends the host.
TEST_F(SessionSignInBrowserTest, AColonInTheQueryBeginsThePort) {
    ExpectOpened(L"https://gw/start?next=a:99", L"https://gw/start?next=a:99/start?next=a:99");
}

} // namespace
} // namespace zelto::test
