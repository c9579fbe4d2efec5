#include "extbrowser/ipsec_login.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

TEST(IpsecLoginBodyTest, UserIdAndPort) {
    EXPECT_EQ(BuildIpsecLoginBody(L"0123-abcd", 51000), "UID=0123-abcd&REDIRECT_PORT=51000");
}

TEST(IpsecLoginBodyTest, NothingIsEncoded) {
    EXPECT_EQ(BuildIpsecLoginBody(L"a b&c=d%+", 1), "UID=a b&c=d%+&REDIRECT_PORT=1");
}

TEST(IpsecLoginBodyTest, TheTextIsUtf8) {
    EXPECT_EQ(BuildIpsecLoginBody(L"\u00FC\u65E5", 65535), "UID=\xC3\xBC\xE6\x97\xA5&REDIRECT_PORT=65535");
}

TEST(IpsecLoginBodyTest, AnEmptyUserIdStaysEmpty) {
    EXPECT_EQ(BuildIpsecLoginBody(L"", 0), "UID=&REDIRECT_PORT=0");
}

TEST(IpsecStartUrlTest, TextBetweenTheMarkerAndTheNextDoubleQuote) {
    EXPECT_EQ(FindIpsecStartUrl("<script>window.location=\"https://gw/a?b=c&amp;d=%41\";x=\"y\"</script>"),
              "https://gw/a?b=c&amp;d=%41");
}

TEST(IpsecStartUrlTest, TheFirstMarkerCounts) {
    EXPECT_EQ(FindIpsecStartUrl("window.location=\"one\" window.location=\"two\""), "one");
}

TEST(IpsecStartUrlTest, AnEmptyAddressIsFound) {
    EXPECT_EQ(FindIpsecStartUrl("window.location=\"\""), "");
}

TEST(IpsecStartUrlTest, WithoutTheWholeMarkerThereIsNone) {
    for (const std::string_view answer :
         {"", "window.location=", "window.location='a'", "window.location = \"a\"", "Window.location=\"a\"",
          "window.location.href=\"a\"", "location=\"a\""}) {
        EXPECT_EQ(FindIpsecStartUrl(answer), std::nullopt) << answer;
    }
}

TEST(IpsecStartUrlTest, WithoutTheClosingQuoteThereIsNone) {
    EXPECT_EQ(FindIpsecStartUrl("window.location=\"https://gw/"), std::nullopt);
    EXPECT_EQ(FindIpsecStartUrl("window.location=\""), std::nullopt);
}

} // namespace
} // namespace zelto
