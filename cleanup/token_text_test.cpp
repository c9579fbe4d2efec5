#include "cleanup/token_text.h"

#include <array>
#include <gtest/gtest.h>
#include <string>

namespace zelto {
namespace {

using namespace std::string_view_literals;

TEST(FindToken, IsWhatStandsBehindTheSeparator) {
    EXPECT_EQ(FindToken("abc|xyz"), "xyz");
    EXPECT_EQ(FindToken("|xyz"), "xyz");
}

TEST(FindToken, OnlyTheFirstSeparatorSeparates) {
    EXPECT_EQ(FindToken("a|b|c"), "b|c");
    EXPECT_EQ(FindToken("||"), "|");
}

TEST(FindToken, MayBeEmpty) {
    EXPECT_EQ(FindToken("abc|"), "");
    EXPECT_EQ(FindToken("|"), "");
}

TEST(FindToken, WithoutASeparatorThereIsNone) {
    EXPECT_EQ(FindToken(""), std::nullopt);
    EXPECT_EQ(FindToken("error: no account"), std::nullopt);
}

TEST(FindToken, LineEndsAndZerosBelongToIt) {
    EXPECT_EQ(FindToken("abc|xyz\r\n"), "xyz\r\n");
    EXPECT_EQ(FindToken("a\0b|x\0y"sv), "x\0y"sv);
}

// What CopyToken leaves in a buffer of that size, with the character behind it.
class CopyTokenTest : public ::testing::Test {
protected:
    std::string Copy(std::size_t size, std::string_view token) {
        buffer_.fill('#');
        CopyToken(buffer_.data(), size, token);
        EXPECT_EQ(buffer_[size], '#');
        return buffer_.data();
    }

    std::array<char, 16> buffer_ = {};
};

TEST_F(CopyTokenTest, ATokenThatJustFits) {
    EXPECT_EQ(Copy(4, "xyz"), "xyz");
}

TEST_F(CopyTokenTest, ATokenThatDoesNotFitLeavesTheEmptyString) {
    EXPECT_EQ(Copy(3, "xyz"), "");
    EXPECT_EQ(Copy(1, "xyz"), "");
}

TEST_F(CopyTokenTest, AnEmptyToken) {
    EXPECT_EQ(Copy(1, ""), "");
}

TEST_F(CopyTokenTest, ABufferOfSizeZeroIsLeftAlone) {
    CopyToken(buffer_.data(), 0, "xyz");
    CopyToken(nullptr, 0, "xyz");
    EXPECT_EQ(buffer_[0], '\0'); // as the array began
    buffer_[0] = '#';
    CopyToken(buffer_.data(), 0, "");
    EXPECT_EQ(buffer_[0], '#');
}

TEST_F(CopyTokenTest, EndsAtTheFirstZeroByte) {
    EXPECT_EQ(Copy(8, "xy\0z"sv), "xy");
    EXPECT_EQ(Copy(3, "xy\0that would not fit"sv), "xy");
}

} // namespace
} // namespace zelto
