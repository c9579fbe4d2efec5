#include "extbrowser/session_browser.h"

#include "extbrowser/gateway_address.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

// As the flow does it: the gateway is split and put together again.
std::wstring UrlOf(std::wstring_view gateway) {
    std::wstring szPureUrl;
    std::wstring szRealm;
    std::uint32_t dwRemotePort = 0;
    ParseRemoteGateway(gateway, szPureUrl, szRealm, dwRemotePort);
    return BuildSessionBrowserUrl(szPureUrl, dwRemotePort, szRealm, 51000);
}

TEST(SessionBrowserUrlTest, PortAndQuery) {
    EXPECT_EQ(UrlOf(L"https://gw:8443/remote/saml/start?realm=x"),
              L"https://gw:8443/remote/saml/start?realm=x&redirect=1&redirport=51000");
}

TEST(SessionBrowserUrlTest, HostAlone) {
    EXPECT_EQ(UrlOf(L"https://gw"), L"https://gw&redirect=1&redirport=51000");
}

TEST(SessionBrowserUrlTest, TheSchemeIsAlwaysTheSame) {
    EXPECT_EQ(UrlOf(L"http://gw/a"), L"https://gw/a&redirect=1&redirport=51000");
    EXPECT_EQ(UrlOf(L"gw:1"), L"https://gw:1&redirect=1&redirport=51000");
}

TEST(SessionBrowserUrlTest, NothingIsEncoded) {
    EXPECT_EQ(UrlOf(L"gw/a b/c?d=%41&e=\"\u65E5"),
              L"https://gw/a b/c?d=%41&e=\"\u65E5&redirect=1&redirport=51000");
}

TEST(SessionBrowserUrlTest, AColonInTheQueryCounts) {
    EXPECT_EQ(UrlOf(L"gw/a?b=c:7"), L"https://gw/a?b=c:7/a?b=c:7&redirect=1&redirport=51000");
}

TEST(SessionBrowserCommandTest, ByteForByte) {
    EXPECT_EQ(BuildSessionBrowserCommand(L"https://gw&redirect=1&redirport=51000"),
              L"cmd.exe /c start \"\" \"https://gw&redirect=1&redirport=51000\"");
}

} // namespace
} // namespace zelto
