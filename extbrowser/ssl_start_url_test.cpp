#include "extbrowser/ssl_start_url.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

TEST(BuildSslStartUrlTest, HostAlone) {
    EXPECT_EQ(BuildSslStartUrl(L"gw", 0, L""), L"https://gw/remote/saml/start?redirect=1");
}

TEST(BuildSslStartUrlTest, WithPort) {
    EXPECT_EQ(BuildSslStartUrl(L"gw", 4433, L""), L"https://gw:4433/remote/saml/start?redirect=1");
    EXPECT_EQ(BuildSslStartUrl(L"gw", 4294967295, L""),
              L"https://gw:4294967295/remote/saml/start?redirect=1");
}

TEST(BuildSslStartUrlTest, WithRealm) {
    EXPECT_EQ(BuildSslStartUrl(L"gw", 0, L"abc"), L"https://gw/remote/saml/start?redirect=1&realm=abc");
}

TEST(BuildSslStartUrlTest, WithPortAndRealm) {
    EXPECT_EQ(BuildSslStartUrl(L"gw", 4433, L"abc"),
              L"https://gw:4433/remote/saml/start?redirect=1&realm=abc");
}

TEST(BuildSslStartUrlTest, TheRealmIsNotEncoded) {
    EXPECT_EQ(BuildSslStartUrl(L"gw", 0, L"a b/c?d=\u00E4&e"),
              L"https://gw/remote/saml/start?redirect=1&realm=a b/c?d=\u00E4&e");
}

} // namespace
} // namespace zelto
