#include "answer_text.h"

#include <gtest/gtest.h>

namespace authmodule {
namespace {

TEST(AnswerText, BasicIsThreeLinesWithoutAFinalLineFeed) {
    EXPECT_EQ(BasicAnswer("alice", "secret", "CAFE"), "alice\nsecret\nCAFE");
}

TEST(AnswerText, BasicKeepsItsThreeLinesWhenPartsAreEmpty) {
    EXPECT_EQ(BasicAnswer("alice", "secret", ""), "alice\nsecret\n");
    EXPECT_EQ(BasicAnswer("", "", "CAFE"), "\n\nCAFE");
}

TEST(AnswerText, SamlResponseComesFirst) {
    EXPECT_EQ(SamlAnswer("PHNhbWw+", "10.0.0.1"), "PHNhbWw+\nServerIp:10.0.0.1");
}

TEST(AnswerText, SamlWithoutAnAddressIsOneLine) {
    EXPECT_EQ(SamlAnswer("PHNhbWw+", ""), "PHNhbWw+");
}

} // namespace
} // namespace authmodule
