#include "extbrowser/extract_between.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

TEST(ExtractBetweenTest, TakesTheIdFromARequestLine) {
    EXPECT_EQ(ExtractBetween("GET /?id=123 HTTP/1.1", "?id=", " "), "123");
}

TEST(ExtractBetweenTest, MissingEndMarkerGivesNothing) {
    EXPECT_EQ(ExtractBetween("GET /?id=123", "?id=", " "), "");
}

TEST(ExtractBetweenTest, MissingStartMarkerGivesNothing) {
    EXPECT_EQ(ExtractBetween("GET /?x=123 HTTP/1.1", "?id=", " "), "");
}

TEST(ExtractBetweenTest, AnEndMarkerBeforeTheStartMarkerDoesNotCount) {
    EXPECT_EQ(ExtractBetween("a'b sso_port='1", "sso_port='", "'"), "");
    EXPECT_EQ(ExtractBetween("a'b sso_port='1'", "sso_port='", "'"), "1");
}

TEST(ExtractBetweenTest, TheFirstStartMarkerCounts) {
    EXPECT_EQ(ExtractBetween("?id=1 ?id=2 ", "?id=", " "), "1");
    EXPECT_EQ(ExtractBetween("?id=1?id=2 ", "?id=", " "), "1?id=2");
}

TEST(ExtractBetweenTest, MarkersNextToEachOtherGiveNothing) {
    EXPECT_EQ(ExtractBetween("sso_port=''", "sso_port='", "'"), "");
}

TEST(ExtractBetweenTest, EmptyStartMarkerMatchesAtTheBeginning) {
    EXPECT_EQ(ExtractBetween("abc def", "", " "), "abc");
}

TEST(ExtractBetweenTest, EmptyEndMarkerGivesNothing) {
    EXPECT_EQ(ExtractBetween("abc def", "a", ""), "");
    EXPECT_EQ(ExtractBetween("abc", "abc", ""), "");
}

TEST(ExtractBetweenTest, CaseMatters) {
    EXPECT_EQ(ExtractBetween("SSO_PORT='1'", "sso_port='", "'"), "");
}

TEST(ExtractBetweenTest, AnEmptyTextHasNothing) {
    EXPECT_EQ(ExtractBetween("", "a", "b"), "");
    EXPECT_EQ(ExtractBetween("", "", ""), "");
}

TEST(ExtractBetweenTest, BytesAreTakenAsTheyAre) {
    const std::string text("x=\0\xFF\x80;", 6);
    EXPECT_EQ(ExtractBetween(text, "x=", ";"), std::string("\0\xFF\x80", 3));
}

} // namespace
} // namespace zelto
