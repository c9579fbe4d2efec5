#include "extbrowser/gateway_address.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

struct GatewayCase {
    const wchar_t* gateway;
    const wchar_t* host;
    const wchar_t* realm;
    std::uint32_t port;
};

void ExpectParts(const GatewayCase& expected) {
    std::wstring host;
    std::wstring realm;
    std::uint32_t port = 0;
    ParseRemoteGateway(expected.gateway, host, realm, port);
    EXPECT_EQ(host, expected.host) << expected.gateway;
    EXPECT_EQ(realm, expected.realm) << expected.gateway;
    EXPECT_EQ(port, expected.port) << expected.gateway;
}

TEST(ParseRemoteGatewayTest, SplitsHostPortAndRealm) {
    ExpectParts({L"https://gw:10443/sales", L"gw", L"sales", 10443});
}

TEST(ParseRemoteGatewayTest, HostAlone) {
    ExpectParts({L"gw", L"gw", L"", 0});
    ExpectParts({L"https://gw", L"gw", L"", 0});
}

TEST(ParseRemoteGatewayTest, HostAndPortWithoutScheme) {
    ExpectParts({L"gw:8443", L"gw", L"", 8443});
}

TEST(ParseRemoteGatewayTest, HostAndRealmWithoutPort) {
    ExpectParts({L"https://gw/abc", L"gw", L"abc", 0});
}

TEST(ParseRemoteGatewayTest, AColonInsideThePathCounts) {
    ExpectParts({L"https://gw/abc:1", L"gw/abc", L"abc:1", 1});
    ExpectParts({L"https://gw/abc:1/x", L"gw/abc", L"abc:1/x", 1});
}

TEST(ParseRemoteGatewayTest, TheFirstColonCounts) {
    ExpectParts({L"gw:1:2/x", L"gw", L"x", 1});
}

TEST(ParseRemoteGatewayTest, APortThatIsNoNumberIsZero) {
    ExpectParts({L"https://gw:abc/x", L"gw", L"x", 0});
    ExpectParts({L"https://gw:/x", L"gw", L"x", 0});
    ExpectParts({L"gw:", L"gw", L"", 0});
}

TEST(ParseRemoteGatewayTest, AnyPortRangeIsTaken) {
    ExpectParts({L"gw:65536", L"gw", L"", 65536});
    ExpectParts({L"gw:4294967296", L"gw", L"", 4294967295});
    ExpectParts({L"gw: 443x/y", L"gw", L"y", 443});
}

TEST(ParseRemoteGatewayTest, TheRealmIsKeptAsItIs) {
    ExpectParts({L"https://gw/a/b?c=1&d=2/", L"gw", L"a/b?c=1&d=2/", 0});
    ExpectParts({L"https://gw//a", L"gw", L"/a", 0});
    ExpectParts({L"https://gw/", L"gw", L"", 0});
}

TEST(ParseRemoteGatewayTest, AnySchemeIsTaken) {
    ExpectParts({L"ftp://gw:1/x", L"gw", L"x", 1});
    ExpectParts({L"://gw:1/x", L"gw", L"x", 1});
    ExpectParts({L"https:///x", L"", L"x", 0});
    ExpectParts({L"a/b://gw", L"gw", L"", 0});
}

TEST(ParseRemoteGatewayTest, NoSchemeWithoutAllThreeCharacters) {
    ExpectParts({L"https:/gw", L"https", L"gw", 0});
    ExpectParts({L"https//gw", L"https", L"/gw", 0});
}

TEST(ParseRemoteGatewayTest, AnEmptyTextHasEmptyParts) {
    ExpectParts({L"", L"", L"", 0});
    ExpectParts({L"https://", L"", L"", 0});
}

TEST(ParseRemoteGatewayTest, PartsThatAreNotNamedStayAsTheyWere) {
    std::wstring host = L"old host";
    std::wstring realm = L"old realm";
    std::uint32_t port = 7;
    ParseRemoteGateway(L"gw", host, realm, port);
    EXPECT_EQ(host, L"gw");
    EXPECT_EQ(realm, L"old realm");
    EXPECT_EQ(port, 7u);
}

TEST(ParseRemoteGatewayTest, AnEmptyRealmReplacesTheOldOne) {
    std::wstring host;
    std::wstring realm = L"old realm";
    std::uint32_t port = 7;
    ParseRemoteGateway(L"gw:x/", host, realm, port);
    EXPECT_EQ(realm, L"");
    EXPECT_EQ(port, 0u);
}

TEST(GatewayOriginTest, APortOfZeroIsLeftOut) {
    EXPECT_EQ(GatewayOrigin(L"gw", 0), L"https://gw");
    EXPECT_EQ(GatewayOrigin(L"gw", 1), L"https://gw:1");
    EXPECT_EQ(GatewayOrigin(L"gw", 8443), L"https://gw:8443");
}

} // namespace
} // namespace zelto
