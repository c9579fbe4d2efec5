#include "trace/formatter.h"

#include <climits>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace zelto {
namespace {

// What the formatter makes of a format, in an area of `area` characters.
std::string FormatIn(std::size_t area, const char* format, ...) {
    std::vector<char> memory(area + 4, '#');
    BoundedText out(memory.data(), area);
    std::va_list arguments;
    va_start(arguments, format);
    AppendMessage(out, format, arguments);
    va_end(arguments);
    EXPECT_EQ(std::string(memory.data() + area, 4), "####");
    return std::string(out.View());
}

template <class... Arguments>
std::string Format(const char* format, Arguments... arguments) {
    return FormatIn(kMessageArea - 1, format, arguments...);
}

TEST(FormatterTest, LiteralTextIsCopied) {
    EXPECT_EQ(Format(""), "");
    EXPECT_EQ(Format("trace stopped"), "trace stopped");
    EXPECT_EQ(Format("100%% sure"), "100% sure");
}

TEST(FormatterTest, SignedDecimal) {
    EXPECT_EQ(Format("%d,%i", 0, 42), "0,42");
    EXPECT_EQ(Format("%d", -42), "-42");
    EXPECT_EQ(Format("%d", INT_MAX), "2147483647");
    EXPECT_EQ(Format("%d", INT_MIN), "-2147483648");
    EXPECT_EQ(Format("%lld", LLONG_MIN), "-9223372036854775808");
    EXPECT_EQ(Format("%lli", LLONG_MAX), "9223372036854775807");
}

TEST(FormatterTest, UnsignedDecimal) {
    EXPECT_EQ(Format("%u", 0u), "0");
    EXPECT_EQ(Format("%u", UINT_MAX), "4294967295");
    EXPECT_EQ(Format("%llu", ULLONG_MAX), "18446744073709551615");
    EXPECT_EQ(Format("%22llu", ULLONG_MAX), "  18446744073709551615");
}

TEST(FormatterTest, CharacterZeroIsOneCharacter) {
    EXPECT_EQ(Format("[%c]", 0), std::string("[\0]", 3));
    EXPECT_EQ(Format("[%3c]", 0), std::string("[  \0]", 5));
}

TEST(FormatterTest, WidthFillsOnTheLeft) {
    EXPECT_EQ(Format("[%5d]", 42), "[   42]");
    EXPECT_EQ(Format("[%5d]", -42), "[  -42]");
    EXPECT_EQ(Format("[%5u]", 42u), "[   42]");
    EXPECT_EQ(Format("[% 5d]", 42), "[   42]");
    EXPECT_EQ(Format("[%1d]", 42), "[42]");
    EXPECT_EQ(Format("[%5lld]", -42LL), "[  -42]");
}

TEST(FormatterTest, MinusFillsNumbersOnTheRight) {
    EXPECT_EQ(Format("[%-5d]", 42), "[42   ]");
    EXPECT_EQ(Format("[%-5d]", -42), "[-42  ]");
    EXPECT_EQ(Format("[%-5u]", 42u), "[42   ]");
    EXPECT_EQ(Format("[%-5x]", 0xabu), "[0xab   ]");
    EXPECT_EQ(Format("[%-d]", 42), "[42]");
}

TEST(FormatterTest, MinusBehindZeroFalsifiesNoNumber) {
    EXPECT_EQ(Format("[%0-5d]", 42), "[42   ]");
}

TEST(FormatterTest, ZeroPaddingCountsTheSign) {
    EXPECT_EQ(Format("%05d", -42), "-0042");
    EXPECT_EQ(Format("%05d", 42), "00042");
    EXPECT_EQ(Format("%02d:%03d", 4, 7), "04:007");
    EXPECT_EQ(Format("%05u", 42u), "00042");
    EXPECT_EQ(Format("%02d", -42), "-42");
}

TEST(FormatterTest, StarTakesTheWidthFromAnArgument) {
    EXPECT_EQ(Format("[%*d]", 5, 42), "[   42]");
    EXPECT_EQ(Format("[%0*d]", 5, 42), "[00042]");
    EXPECT_EQ(Format("[%*s]", 5, "ab"), "[   ab]");
    EXPECT_EQ(Format("[%*d]", -5, 42), "[42   ]");
    EXPECT_EQ(Format("[%*d]", 0, 42), "[42]");
}

TEST(FormatterTest, HexHasItsPrefix) {
    EXPECT_EQ(Format("%x", 255u), "0xff");
    EXPECT_EQ(Format("%X", 255u), "0xFF");
    EXPECT_EQ(Format("%x", 0u), "0x0");
    EXPECT_EQ(Format("%llx", 0x123456789ABCDEFull), "0x123456789abcdef");
    EXPECT_EQ(Format("%llX", 0x123456789ABCDEFull), "0x123456789ABCDEF");
    EXPECT_EQ(Format("0x%08x", 0xA7000005u), "0x0xa7000005");
}

TEST(FormatterTest, HexWidthCountsTheDigitsOnly) {
    EXPECT_EQ(Format("%08x", 255u), "0x000000ff");
    EXPECT_EQ(Format("%08X", 255u), "0x000000FF");
    EXPECT_EQ(Format("[%4x]", 255u), "[  0xff]");
}

TEST(FormatterTest, PointerHasSixteenUppercaseDigits) {
    EXPECT_EQ(Format("%p", static_cast<void*>(nullptr)), "0x0000000000000000");
    EXPECT_EQ(Format("%p", reinterpret_cast<void*>(std::uintptr_t{0x7FFEABCD1234})), "0x00007FFEABCD1234");
    EXPECT_EQ(Format("%20p|", reinterpret_cast<void*>(std::uintptr_t{0x1})), "0x0000000000000001|");
}

TEST(FormatterTest, SingleLHasNoEffect) {
    EXPECT_EQ(Format("%ld %lu %lx %lX", -1, 7u, 255u, 255u), "-1 7 0xff 0xFF");
    EXPECT_EQ(Format("%05ld|%s", -42, "next"), "-0042|next");
    EXPECT_EQ(Format("%ls", "narrow"), "narrow");
}

TEST(FormatterTest, ThirtyTwoBitConversionsReadNoMore) {
    EXPECT_EQ(Format("%u %x", 0xFFFFFFFFu, 0xFFFFFFFFu), "4294967295 0xffffffff");
    EXPECT_EQ(Format("%u %d", UINT_MAX, -1), "4294967295 -1");
}

TEST(FormatterTest, NarrowString) {
    EXPECT_EQ(Format("%s() called", "GetRemoteInfo"), "GetRemoteInfo() called");
    EXPECT_EQ(Format("[%s]", ""), "[]");
    EXPECT_EQ(Format("[%6s]", "abc"), "[   abc]");
    EXPECT_EQ(Format("[%2s]", "abc"), "[abc]");
}

TEST(FormatterTest, StringsAndCharactersAreAlwaysFilledOnTheLeft) {
    EXPECT_EQ(Format("[%-6s]", "abc"), "[   abc]");
    EXPECT_EQ(Format("[%-3c]", 'x'), "[  x]");
    EXPECT_EQ(Format("[%-6S]", L"abc"), "[   abc]");
    EXPECT_EQ(Format("[%06s]", "abc"), "[   abc]");
    EXPECT_EQ(Format("[%*s]", -6, "abc"), "[   abc]");
}

TEST(FormatterTest, NullStringPrintsNothing) {
    EXPECT_EQ(Format("[%s]", static_cast<const char*>(nullptr)), "[]");
    EXPECT_EQ(Format("[%8s]", static_cast<const char*>(nullptr)), "[]");
    EXPECT_EQ(Format("[%S]", static_cast<const wchar_t*>(nullptr)), "[]");
    EXPECT_EQ(Format("[%8ws]", static_cast<const wchar_t*>(nullptr)), "[]");
}

TEST(FormatterTest, WideStringBecomesUtf8) {
    EXPECT_EQ(Format("%S", L"abc"), "abc");
    EXPECT_EQ(Format("%ws", L"abc"), "abc");
    EXPECT_EQ(Format("%S", L"\u00e4\u20ac"), "\xC3\xA4\xE2\x82\xAC");
    EXPECT_EQ(Format("[%6ws]", L"\u00e4\u20ac"), "[ \xC3\xA4\xE2\x82\xAC]"); // the width counts bytes
}

TEST(FormatterTest, LongWideStringsAreWhole) {
    for (const std::size_t length : {4094u, 4095u, 4096u, 10000u}) {
        const std::wstring wide(length, L'x');
        EXPECT_EQ(Format("<%S>", wide.c_str()), "<" + std::string(length, 'x') + ">");
    }
    const std::wstring euros(1366, L'\u20ac'); // 4,098 bytes
    EXPECT_EQ(Format("%S", euros.c_str()).size(), 4098u);
}

TEST(FormatterTest, Character) {
    EXPECT_EQ(Format("%c%c", 'a', 'b'), "ab");
    EXPECT_EQ(Format("[%3c]", 'x'), "[  x]");
    EXPECT_EQ(Format("%c", '\xE9'), "\xE9");
}

TEST(FormatterTest, OtherConversionsPrintNothingAndTakeNoArgument) {
    EXPECT_EQ(Format("[%f]"), "[]");
    EXPECT_EQ(Format("[%q%d]", 7), "[7]");
    EXPECT_EQ(Format("[%5k]"), "[]");
    EXPECT_EQ(Format("%hs"), "s");
    EXPECT_EQ(Format("%.3d"), "3d");
    EXPECT_EQ(Format("%wd"), "d");
    EXPECT_EQ(Format("%-*d"), "d");
    EXPECT_EQ(Format("%00d", 7), "7");
}

TEST(FormatterTest, FormatMayEndInsideAConversion) {
    EXPECT_EQ(Format("50%"), "50");
    EXPECT_EQ(Format("x%0"), "x");
    EXPECT_EQ(Format("x%-"), "x");
    EXPECT_EQ(Format("x%08"), "x");
    EXPECT_EQ(Format("x%l"), "x");
    EXPECT_EQ(Format("x%ll"), "x");
    EXPECT_EQ(Format("x%w"), "x");
    EXPECT_EQ(Format("x%*", 3), "x");
}

TEST(FormatterTest, ArgumentsAreTakenInOrder) {
    EXPECT_EQ(Format("%s %d %llu %c %S %p %x", "a", 1, 2ull, '3', L"4", static_cast<void*>(nullptr), 5u),
              "a 1 2 3 4 0x0000000000000000 0x5");
    EXPECT_EQ(Format("%d %d %d %d %d %d %d %d %d %d %d %d", 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12),
              "1 2 3 4 5 6 7 8 9 10 11 12");
}

TEST(FormatterTest, LongestMessageIsWhole) {
    const std::string text(16383, 'a');
    EXPECT_EQ(Format("%s", text.c_str()), text);
}

TEST(FormatterTest, LongerMessageEndsInThreeDots) {
    const std::string text(20000, 'a');
    const std::string cut = std::string(16380, 'a') + "...";
    EXPECT_EQ(Format("%s", text.c_str()), cut);
    EXPECT_EQ(Format(text.c_str()), cut);
    EXPECT_EQ(Format("%s", text.substr(0, 16384).c_str()), cut);
    EXPECT_EQ(Format("%s%d", text.substr(0, 16383).c_str(), 5), cut);
    EXPECT_EQ(Format("%S", std::wstring(20000, L'a').c_str()), cut);
}

TEST(FormatterTest, HugeWidthIsBounded) {
    const std::string blanks(16380, ' ');
    EXPECT_EQ(Format("%99999999999999999999d", 1), blanks + "...");
    EXPECT_EQ(Format("%18446744073709551618d", 1), blanks + "..."); // 2 in 64 bits
    EXPECT_EQ(Format("%*d", INT_MAX, 1), blanks + "...");
    EXPECT_EQ(Format("%*s", INT_MAX, "x"), blanks + "...");
    EXPECT_EQ(Format("%*d", INT_MIN, 1), "1" + std::string(16379, ' ') + "...");
}

TEST(FormatterTest, SmallAreaIsNeverOverrun) {
    EXPECT_EQ(FormatIn(5, "%s", "abcde"), "abcde");
    EXPECT_EQ(FormatIn(5, "%s", "abcdef"), "ab...");
    EXPECT_EQ(FormatIn(2, "%s", "abc"), "ab");
    EXPECT_EQ(FormatIn(0, "%s", "abc"), "");
}

TEST(FormatterTest, EverySizeOfTheAreaCutsTheSameText) {
    const std::string whole = "folder=C:\\Users\\somebody\\Auth error=4294967295 lowest=-9223372036854775808 "
                              "flags=0xffffffffffffffff, the rest is literal text";
    for (std::size_t area = 3; area <= whole.size() + 20; ++area) {
        const std::string text =
            FormatIn(area, "folder=%s error=%lu lowest=%lld flags=%llx, the rest is literal text",
                     "C:\\Users\\somebody\\Auth", UINT_MAX, LLONG_MIN, ULLONG_MAX);
        EXPECT_EQ(text, whole.size() <= area ? whole : whole.substr(0, area - 3) + "...");
    }
}

} // namespace
} // namespace zelto
