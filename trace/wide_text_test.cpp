#include "trace/wide_text.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>

namespace zelto {
namespace {

std::string ToUtf8(const std::wstring& text) {
    std::string bytes(Utf8Length(text.c_str(), text.size()) + 1, '#');
    ConvertToUtf8(text.c_str(), text.size(), bytes.data());
    EXPECT_EQ(bytes.back(), '#');
    bytes.pop_back();
    return bytes;
}

std::wstring Units(std::initializer_list<unsigned> units) {
    std::wstring text;
    for (const unsigned unit : units) {
        text.push_back(static_cast<wchar_t>(unit));
    }
    return text;
}

TEST(WideTextTest, LengthStopsAtTheTerminator) {
    EXPECT_EQ(WideLength(L""), 0u);
    EXPECT_EQ(WideLength(L"abc"), 3u);
}

TEST(WideTextTest, BordersOfTheByteCounts) {
    EXPECT_EQ(ToUtf8(Units({0x1, 0x7F})), "\x01\x7F");
    EXPECT_EQ(ToUtf8(Units({0x80, 0x7FF})), "\xC2\x80\xDF\xBF");
    EXPECT_EQ(ToUtf8(Units({0x800, 0xFFFF})), "\xE0\xA0\x80\xEF\xBF\xBF");
    EXPECT_EQ(ToUtf8(Units({0xD7FF, 0xE000})), "\xED\x9F\xBF\xEE\x80\x80");
}

TEST(WideTextTest, SurrogatePairIsOneCodePoint) {
    EXPECT_EQ(ToUtf8(Units({0xD800, 0xDC00})), "\xF0\x90\x80\x80");
    EXPECT_EQ(ToUtf8(Units({0xD83D, 0xDE00})), "\xF0\x9F\x98\x80");
    EXPECT_EQ(ToUtf8(Units({0xDBFF, 0xDFFF})), "\xF4\x8F\xBF\xBF");
}

TEST(WideTextTest, LoneSurrogateIsReplaced) {
    EXPECT_EQ(ToUtf8(Units({0xD800})), "\xEF\xBF\xBD");
    EXPECT_EQ(ToUtf8(Units({0xDC00, 'a'})), "\xEF\xBF\xBD"
                                            "a");
    EXPECT_EQ(ToUtf8(Units({0xD800, 'a'})), "\xEF\xBF\xBD"
                                            "a");
    EXPECT_EQ(ToUtf8(Units({'a', 0xDC00})), "a\xEF\xBF\xBD");
    EXPECT_EQ(ToUtf8(Units({0xD800, 0xD800, 0xDC00})), "\xEF\xBF\xBD\xF0\x90\x80\x80");
    EXPECT_EQ(ToUtf8(Units({0xDC00, 0xD800})), "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(WideTextTest, PairThatTheLengthCutsIsALoneSurrogate) {
    const std::wstring pair = Units({0xD83D, 0xDE00});
    ASSERT_EQ(Utf8Length(pair.c_str(), 1), 3u);
    char bytes[5] = "####";
    ConvertToUtf8(pair.c_str(), 1, bytes);
    EXPECT_STREQ(bytes, "\xEF\xBF\xBD#");
}

#if WCHAR_MAX > 0xFFFF
TEST(WideTextTest, WholeCodePointInOneCharacterIsTakenAsSuch) {
    EXPECT_EQ(ToUtf8(Units({0x10000, 0x10FFFF})), "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
    EXPECT_EQ(ToUtf8(Units({0x110000})), "\xEF\xBF\xBD");
}
#endif

} // namespace
} // namespace zelto
