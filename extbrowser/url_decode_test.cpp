#include "extbrowser/url_decode.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

struct Row {
    std::string_view text;
    std::string_view decoded;
};

TEST(UrlDecodeTest, Table) {
    using namespace std::string_view_literals;
    for (const Row& row : {
             Row{"", ""},
             {"j%2Edoe%5Fx", "j.doe_x"},
             {"plain", "plain"},
             {"%41", "A"},
             {"a%41b", "aAb"},
             {"%41%42%43", "ABC"},
             {"%2e%5f%2E%5F", "._._"},
             {"%aF%Af", "\xAF\xAF"},
             {"%00x", "\0x"sv},
             {"%ff%FF", "\xFF\xFF"},
             {"%e6%97%a5", "\xE6\x97\xA5"},
             {"a+b", "a+b"}, // no blank
             {"%2B", "+"},
             {"%", "%"},
             {"%4", "%4"},
             {"x%", "x%"},
             {"x%4", "x%4"}, // too near to the end
             {"%%", "%%"},
             {"%%41", "%A"}, // the first one names nothing
             {"%4%41", "%4A"},
             {"%4g", "%4g"},
             {"%g4", "%g4"},
             {"%:0%/0%@0%G0%`0%g0", "%:0%/0%@0%G0%`0%g0"}, // next to the digits and letters
             {"% 41", "% 41"},
             {"%+1%-1", "%+1%-1"},
             {"%0x41", "%0x41"},
             {"%u0041", "%u0041"},
             {"%2541", "%41"}, // once
             {"\xC3\xA9%C3%A9", "\xC3\xA9\xC3\xA9"},
             {"\xFF%\xFF\xFF", "\xFF%\xFF\xFF"},
             {"%\0\0"sv, "%\0\0"sv},
         }) {
        EXPECT_EQ(UrlDecode(row.text), row.decoded) << row.text;
    }
}

TEST(UrlDecodeTest, EveryByteInBothCases) {
    for (int byte = 0; byte < 256; ++byte) {
        for (const std::string_view digits : {"0123456789abcdef", "0123456789ABCDEF"}) {
            const std::string text = {'%', digits[static_cast<std::size_t>(byte / 16)],
                                      digits[static_cast<std::size_t>(byte % 16)]};
            EXPECT_EQ(UrlDecode(text), std::string(1, static_cast<char>(byte))) << text;
        }
    }
}

} // namespace
} // namespace zelto
