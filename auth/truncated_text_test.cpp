#include "auth/truncated_text.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

TEST(TruncatedTextTest, KeepsWhatFitsBesideTheTerminator) {
    EXPECT_EQ(TruncatedText(4).Append(L"abc").Text(), L"abc");
    EXPECT_EQ(TruncatedText(4).Append(L"abcd").Text(), L"abc");
    EXPECT_EQ(TruncatedText(1).Append(L"a").Text(), L"");
}

TEST(TruncatedTextTest, TakesNothingBehindTheCut) {
    EXPECT_EQ(TruncatedText(4).Append(L"ab").Append(L"cd").Append(L"e").AppendNumber(7).Text(), L"abc");
}

TEST(TruncatedTextTest, CutsNumbersToo) {
    EXPECT_EQ(TruncatedText(4).AppendNumber(4294967295).Text(), L"429");
}

TEST(DecimalTextTest, WritesAllOfTheRange) {
    EXPECT_EQ(DecimalText(0), L"0");
    EXPECT_EQ(DecimalText(1024), L"1024");
    EXPECT_EQ(DecimalText(18446744073709551615u), L"18446744073709551615");
}

} // namespace
} // namespace zelto
