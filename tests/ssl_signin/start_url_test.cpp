#include "tests/ssl_signin/sign_in_test.h"

#include <algorithm>
#include <shellapi.h>
#include <winhttp.h>

namespace zelto::test {
namespace {

// What the library asked WinHTTP to connect to. Whatever it was, the simulated gateway is connected.
std::wstring connectedHost;
INTERNET_PORT connectedPort;
HINTERNET WINAPI ConnectToSimulation(HINTERNET session, LPCWSTR host, INTERNET_PORT port, DWORD reserved) {
    connectedHost = host;
    connectedPort = port;
    return WinHttpConnect(session, L"127.0.0.1", GatewayPort(), reserved);
}

class SslSignInStartUrlTest : public SignInTest {
protected:
    SslSignInStartUrlTest() { Patch("WinHttpConnect", &ConnectToSimulation); }

    void ExpectOpened(const std::wstring& gateway, const std::wstring& url) {
        BrowserRequests("GET /?id=XYZ HTTP/1.1");
        EXPECT_EQ(SignIn(gateway), 0u);
        ASSERT_EQ(browserCalls_.size(), 1u);
        EXPECT_EQ(browserCalls_[0].url, url);
        const std::string line = "info: Browser opens url " + std::string(url.begin(), url.end());
        const std::vector<std::string> log = Log();
        EXPECT_EQ(std::count(log.begin(), log.end(), line), 1) << line;
    }
};

TEST_F(SslSignInStartUrlTest, PortAndRealm) {
    ExpectOpened(L"https://gw:4433/abc", L"https://gw:4433/remote/saml/start?redirect=1&realm=abc");
    EXPECT_EQ(connectedHost, L"gw");
    EXPECT_EQ(connectedPort, 4433);
}

TEST_F(SslSignInStartUrlTest, HostAlone) {
    ExpectOpened(L"https://gw", L"https://gw/remote/saml/start?redirect=1");
    EXPECT_EQ(connectedHost, L"gw");
    EXPECT_EQ(connectedPort, 0);
}

TEST_F(SslSignInStartUrlTest, PortWithoutScheme) {
    ExpectOpened(L"gw:8443", L"https://gw:8443/remote/saml/start?redirect=1");
}

TEST_F(SslSignInStartUrlTest, RealmWithoutPort) {
    ExpectOpened(L"gw/a b&c/d", L"https://gw/remote/saml/start?redirect=1&realm=a b&c/d");
}

// A ":" counts wherever it stands behind the scheme.
TEST_F(SslSignInStartUrlTest, AColonInTheRealm) {
    ExpectOpened(L"https://gw/abc:1", L"https://gw/abc:1/remote/saml/start?redirect=1&realm=abc:1");
    EXPECT_EQ(connectedHost, L"gw/abc");
    EXPECT_EQ(connectedPort, 1);
}

TEST_F(SslSignInStartUrlTest, APortThatIsNoNumberIsNone) {
    ExpectOpened(L"https://gw:abc/x", L"https://gw/remote/saml/start?redirect=1&realm=x");
    EXPECT_EQ(connectedHost, L"gw");
    EXPECT_EQ(connectedPort, 0);
}

TEST_F(SslSignInStartUrlTest, APortEndsAtWhatIsNoDigit) {
    ExpectOpened(L"gw: 8443x/y", L"https://gw:8443/remote/saml/start?redirect=1&realm=y");
    EXPECT_EQ(connectedPort, 8443);
}

// The whole number goes into the address, the low 16 bits to WinHTTP.
TEST_F(SslSignInStartUrlTest, ThePortsRangeIsNotChecked) {
    ExpectOpened(L"gw:70000", L"https://gw:70000/remote/saml/start?redirect=1");
    EXPECT_EQ(connectedPort, 70000 - 65536);
}

TEST_F(SslSignInStartUrlTest, ThePageIsOpenedAsTheShellOpensIt) {
    BrowserRequests("GET /?id=XYZ HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
    ASSERT_EQ(browserCalls_.size(), 1u);
    EXPECT_EQ(browserCalls_[0].window, nullptr);
    EXPECT_EQ(browserCalls_[0].verb, L"open");
    EXPECT_FALSE(browserCalls_[0].hasParameters);
    EXPECT_FALSE(browserCalls_[0].hasDirectory);
    EXPECT_EQ(browserCalls_[0].show, 1);
}

TEST_F(SslSignInStartUrlTest, ABrowserThatCannotBeOpenedIsNotNoticed) {
    shellResult_ = reinterpret_cast<HINSTANCE>(std::intptr_t{SE_ERR_NOASSOC});
    BrowserRequests("GET /?id=XYZ HTTP/1.1");
    EXPECT_EQ(SignIn(), 0u);
    EXPECT_EQ(Id(), "XYZ");
}

} // namespace
} // namespace zelto::test
