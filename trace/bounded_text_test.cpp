#include "trace/bounded_text.h"

#include <gtest/gtest.h>
#include <string>

namespace zelto {
namespace {

TEST(BoundedTextTest, WhatDoesNotFitIsDropped) {
    char memory[6] = "#####";
    BoundedText text(memory, 3);
    text.Append("ab");
    text.Append("cd");
    text.Append('e');
    text.Fill('f', 7);
    EXPECT_EQ(text.View(), "abc");
    EXPECT_STREQ(memory, "abc##");
}

TEST(BoundedTextTest, OnlyDroppedTextIsMarked) {
    char memory[4];
    BoundedText full(memory, 4);
    full.Append("abcd");
    full.Append("");
    full.Fill(' ', 0);
    full.MarkCut();
    EXPECT_EQ(full.View(), "abcd");
    full.Append('e');
    full.MarkCut();
    EXPECT_EQ(full.View(), "a...");
}

TEST(BoundedTextTest, DecimalIsFilledWithZeros) {
    char memory[64];
    BoundedText text(memory, sizeof(memory));
    text.AppendDecimal(0);
    text.Append(' ');
    text.AppendDecimal(7, 3);
    text.Append(' ');
    text.AppendDecimal(1234, 3);
    text.Append(' ');
    text.AppendDecimal(18446744073709551615u);
    EXPECT_EQ(text.View(), "0 007 1234 18446744073709551615");
}

TEST(BoundedTextTest, WriterMayKeepThePlace) {
    char memory[8];
    BoundedText text(memory, sizeof(memory));
    text.Append("ab");
    EXPECT_EQ(text.Room(), 6u);
    char* end = text.End();
    *end++ = 'c';
    text.SetEnd(end);
    text.Append('d');
    EXPECT_EQ(text.View(), "abcd");
}

TEST(BoundedTextTest, ClaimedCharactersFitOrAreNone) {
    char memory[4] = {};
    BoundedText text(memory, sizeof(memory));
    ASSERT_NE(text.Claim(3), nullptr);
    EXPECT_EQ(text.Claim(2), nullptr);
    EXPECT_EQ(text.Length(), 3u);
    EXPECT_NE(text.Claim(1), nullptr);
    text.MarkCut();
    EXPECT_EQ(text.View(), std::string_view("\0\0\0\0", 4)); // nothing was dropped
}

// Every length takes another way through the copy.
TEST(BoundedTextTest, EveryLengthIsCopiedWhole) {
    std::string text;
    for (std::size_t length = 0; length <= 700; ++length) {
        std::string memory(length + 2, '#');
        BoundedText out(memory.data() + 1, length);
        out.Append(text);
        EXPECT_EQ(memory, "#" + text + "#");
        text.push_back(static_cast<char>('a' + length % 23));
    }
}

TEST(BoundedTextTest, DecimalOfEveryLength) {
    std::uint64_t value = 1;
    for (int length = 1; length <= 20; ++length) {
        for (const std::uint64_t number : {value - 1, value, value + 1}) {
            char memory[24];
            BoundedText out(memory, sizeof(memory));
            out.AppendDecimal(number);
            EXPECT_EQ(out.View(), std::to_string(number));
            BoundedText exact(memory, out.Length());
            exact.AppendDecimal(number);
            EXPECT_EQ(exact.View(), std::to_string(number));
        }
        value *= 10;
    }
}

TEST(BoundedTextTest, DigitsThatDoNotFitAreDropped) {
    char memory[3];
    BoundedText decimal(memory, sizeof(memory));
    decimal.AppendDecimal(12345);
    EXPECT_EQ(decimal.View(), "123");
    BoundedText hex(memory, sizeof(memory));
    hex.AppendHex(0xABCDE, kUppercaseDigits);
    EXPECT_EQ(hex.View(), "ABC");
}

TEST(BoundedTextTest, ZerosInFrontTakeTheRoomFirst) {
    char memory[4];
    BoundedText zeros(memory, sizeof(memory));
    zeros.AppendDecimal(5, 9);
    EXPECT_EQ(zeros.View(), "0000");
    BoundedText digits(memory, sizeof(memory));
    digits.AppendDecimal(12345, 7);
    EXPECT_EQ(digits.View(), "0012");
}

TEST(NumberTextTest, ShorterNumberThanTheValueIsItsLastDigits) {
    char text[] = "#######";
    PutDecimal(text + 1, 1234567, 5);
    EXPECT_STREQ(text, "#34567#");
    PutDecimal(text + 1, 1234567, 1);
    EXPECT_STREQ(text, "#74567#");
}

} // namespace
} // namespace zelto
