#include "trace/bounded_text.h"

#include <gtest/gtest.h>

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

TEST(BoundedTextTest, FieldIsCutToItsLimit) {
    char memory[64];
    BoundedText text(memory, sizeof(memory));
    text.AppendField("12345678", 8);
    text.Append(' ');
    text.AppendField("123456789", 8);
    EXPECT_EQ(text.View(), "12345678 12345...");
}

} // namespace
} // namespace zelto
