#include "auth/bounded_copy.h"

#include <gtest/gtest.h>
#include <string>

namespace zelto {
namespace {

// A buffer of `size` characters with a guard behind it; the guard must survive every copy.
std::string CopyInto(std::size_t size, std::string_view text) {
    std::string memory(size + 4, '#');
    CopyTruncating(memory.data(), size, text);
    EXPECT_EQ(memory.substr(size), "####");
    return memory.substr(0, size);
}

TEST(CopyTruncatingTest, SizeZeroLeavesTheBufferAlone) {
    EXPECT_EQ(CopyInto(0, "abc"), "");
}

TEST(CopyTruncatingTest, SizeOneHoldsOnlyTheTerminator) {
    EXPECT_EQ(CopyInto(1, "abc"), std::string(1, '\0'));
}

TEST(CopyTruncatingTest, ExactSizeCutsTheLastCharacter) {
    EXPECT_EQ(CopyInto(3, "abc"), std::string("ab\0", 3));
}

TEST(CopyTruncatingTest, OneMoreThanTheTextHoldsItWhole) {
    EXPECT_EQ(CopyInto(4, "abc"), std::string("abc\0", 4));
}

TEST(CopyTruncatingTest, WhatLiesBehindTheTerminatorIsNotTouched) {
    EXPECT_EQ(CopyInto(8, "abc"), std::string("abc\0####", 8));
}

TEST(CopyTruncatingTest, AnEmptyTextTerminatesTheBuffer) {
    EXPECT_EQ(CopyInto(4, {}), std::string("\0###", 4));
}

TEST(CopyTruncatingTest, ANullBufferIsLeftAlone) {
    CopyTruncating(nullptr, 5, "abc");
}

TEST(CopyTruncatingTest, WideTextIsCountedInCharacters) {
    for (const std::size_t size : {0u, 1u, 3u, 4u, 5u}) {
        std::wstring memory(8, L'#');
        CopyTruncating(memory.data(), size, L"a\x6771z");
        std::wstring expected = size == 0 ? L"" : std::wstring(L"a\x6771z").substr(0, size - 1) + L'\0';
        expected.resize(8, L'#');
        EXPECT_EQ(memory, expected) << size;
    }
}

TEST(FitsBufferTest, NeedsRoomForTheTerminator) {
    EXPECT_FALSE(FitsBuffer(0, ""));
    EXPECT_TRUE(FitsBuffer(1, ""));
    EXPECT_FALSE(FitsBuffer(3, "abc"));
    EXPECT_TRUE(FitsBuffer(4, "abc"));
    EXPECT_FALSE(FitsBuffer(3, L"abc"));
    EXPECT_TRUE(FitsBuffer(4, L"abc"));
}

} // namespace
} // namespace zelto
