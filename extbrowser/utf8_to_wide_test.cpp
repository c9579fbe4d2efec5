#include "extbrowser/utf8_to_wide.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <new>

// How many more allocations with new succeed; negative: all.
static thread_local int allocationsLeft = -1;

void* operator new(std::size_t size) {
    if (allocationsLeft == 0) {
        throw std::bad_alloc();
    }
    allocationsLeft -= allocationsLeft > 0 ? 1 : 0;
    if (void* memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace zelto {
namespace {

TEST(Utf8ToWideTest, Ascii) {
    EXPECT_EQ(Utf8ToWide("abc"), L"abc");
}

TEST(Utf8ToWideTest, AnEmptyText) {
    EXPECT_EQ(Utf8ToWide(""), L"");
}

TEST(Utf8ToWideTest, TwoThreeAndFourBytes) {
    EXPECT_EQ(Utf8ToWide("\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"), L"\u00E4\u20AC\U0001F600");
}

TEST(Utf8ToWideTest, BytesThatAreNoUtf8BecomeReplacementCharacters) {
    EXPECT_EQ(Utf8ToWide("a\xFFz"), L"a\uFFFDz");
}

TEST(Utf8ToWideTest, TheTextEndsAtItsFirstZero) {
    EXPECT_EQ(Utf8ToWide(std::string("ab\0cd", 5)), L"ab");
}

TEST(Utf8ToWideTest, ALongText) {
    EXPECT_EQ(Utf8ToWide(std::string(100'000, 'x')), std::wstring(100'000, L'x'));
}

TEST(Utf8ToWideTest, WithoutMemoryTheResultIsEmpty) {
    const std::string text(1000, 'x');
    allocationsLeft = 0;
    const std::wstring wide = Utf8ToWide(text);
    allocationsLeft = -1;
    EXPECT_EQ(wide, L"");
}

} // namespace
} // namespace zelto
