#include "extbrowser/stream_number.h"

#include <gtest/gtest.h>
#include <random>
#include <sstream>
#include <string>

namespace zelto {
namespace {

// What the real streams give: they begin with 0, because a text of nothing but blanks leaves the value alone.
// The 32 bits are named, because an unsigned long has 64 on some systems.
std::uint32_t FromStream(const std::string& text) {
    std::istringstream stream(text);
    std::uint32_t value = 0;
    stream >> value;
    return value;
}

std::uint32_t FromStream(const std::wstring& text) {
    std::wistringstream stream(text);
    std::uint32_t value = 0;
    stream >> value;
    return value;
}

std::wstring Widen(const std::string& text) {
    return std::wstring(text.begin(), text.end());
}

void ExpectAsStreams(const std::string& text) {
    EXPECT_EQ(ReadStreamNumber(text), FromStream(text)) << '"' << text << '"';
    EXPECT_EQ(ReadStreamNumber(Widen(text)), FromStream(Widen(text))) << '"' << text << "\" (wide)";
}

TEST(ReadStreamNumberTest, ReadsDecimalDigits) {
    EXPECT_EQ(ReadStreamNumber("8020"), 8020u);
    EXPECT_EQ(ReadStreamNumber(L"8020"), 8020u);
    EXPECT_EQ(ReadStreamNumber("0"), 0u);
    EXPECT_EQ(ReadStreamNumber("007"), 7u);
}

TEST(ReadStreamNumberTest, NothingToReadGivesZero) {
    for (const char* text : {"", " ", "abc", "-", "+", "+-1", "--1", "- 1", "'5", ".5"}) {
        EXPECT_EQ(ReadStreamNumber(text), 0u) << text;
        EXPECT_EQ(ReadStreamNumber(Widen(text)), 0u) << text;
    }
}

TEST(ReadStreamNumberTest, StopsAtTheFirstCharacterThatIsNoDigit) {
    EXPECT_EQ(ReadStreamNumber("8020abc"), 8020u);
    EXPECT_EQ(ReadStreamNumber("8020 1"), 8020u);
    EXPECT_EQ(ReadStreamNumber("0x10"), 0u);
    EXPECT_EQ(ReadStreamNumber("1e3"), 1u);
    EXPECT_EQ(ReadStreamNumber(std::string("12\0003", 4)), 12u);
}

TEST(ReadStreamNumberTest, SkipsLeadingBlanks) {
    EXPECT_EQ(ReadStreamNumber(" \t\n\v\f\r8020"), 8020u);
    EXPECT_EQ(ReadStreamNumber(L" \t\n\v\f\r8020"), 8020u);
}

TEST(ReadStreamNumberTest, TooLargeGivesTheMaximum) {
    EXPECT_EQ(ReadStreamNumber("4294967295"), 4294967295u);
    EXPECT_EQ(ReadStreamNumber("4294967296"), 4294967295u);
    EXPECT_EQ(ReadStreamNumber("18446744073709551616"), 4294967295u);
    EXPECT_EQ(ReadStreamNumber(std::string(500, '9')), 4294967295u);
    EXPECT_EQ(ReadStreamNumber(L"99999999999"), 4294967295u);
}

TEST(ReadStreamNumberTest, ForeignDigitsAreNone) {
    EXPECT_EQ(ReadStreamNumber(L"\u0663"), 0u);
    EXPECT_EQ(ReadStreamNumber(L"1\uFF12"), 1u);
    EXPECT_EQ(ReadStreamNumber("\xB2"), 0u);
}

TEST(ReadStreamNumberTest, AgreesWithTheStreamsOnChosenTexts) {
    for (const char* text : {"",
                             " ",
                             "0",
                             "00",
                             "-0",
                             "+0",
                             "1",
                             "+5",
                             "-5",
                             "+-5",
                             "--5",
                             "- 5",
                             "5-",
                             "5+3",
                             "12abc",
                             "0x1F",
                             "0X1F",
                             "1,000",
                             "1.5",
                             "1e3",
                             " 42",
                             "\t42",
                             "\v\f\r\n42",
                             "4294967294",
                             "4294967295",
                             "4294967296",
                             "4294967297",
                             "-4294967295",
                             "-4294967296",
                             "-99999999999",
                             "99999999999",
                             "18446744073709551615",
                             "18446744073709551616",
                             "-18446744073709551616",
                             "00000000000000000000000000000000000000000000000000000000012",
                             "65536"}) {
        ExpectAsStreams(text);
    }
}

TEST(ReadStreamNumberTest, AgreesWithTheStreamsOnRandomTexts) {
    const std::string alphabet = "0123456789012345678901234567890123456789 \t+-xa.,'";
    std::mt19937 random(1); // the same texts every time
    std::uniform_int_distribution<std::size_t> character(0, alphabet.size() - 1);
    std::uniform_int_distribution<std::size_t> length(0, 14);
    for (int round = 0; round < 5000 && !HasFailure(); ++round) {
        std::string text(length(random), ' ');
        for (char& c : text) {
            c = alphabet[character(random)];
        }
        ExpectAsStreams(text);
    }
}

} // namespace
} // namespace zelto
