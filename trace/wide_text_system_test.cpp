#include "trace/wide_text.h"

#include <gtest/gtest.h>
#include <string>
#include <windows.h>
#include <winsock2.h>

namespace zelto {
namespace {

std::string BySystem(const std::wstring& text) {
    std::string bytes(text.size() * 4, '\0');
    const int length = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                           bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(length));
    return bytes;
}

std::string ByUs(const std::wstring& text) {
    std::string bytes(Utf8Length(text.data(), text.size()), '\0');
    ConvertToUtf8(text.data(), text.size(), bytes.data());
    return bytes;
}

TEST(WideTextSystemTest, EveryUnitIsConvertedAsTheSystemDoes) {
    std::wstring all;
    for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
        all.push_back(static_cast<wchar_t>(unit));
        all.push_back(L' ');
    }
    EXPECT_EQ(ByUs(all), BySystem(all));
}

TEST(WideTextSystemTest, SurrogatesInEveryOrderAreConvertedAsTheSystemDoes) {
    const unsigned units[] = {L'a', 0xD7FF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE000};
    for (const unsigned first : units) {
        for (const unsigned second : units) {
            for (const unsigned third : units) {
                const std::wstring text = {static_cast<wchar_t>(first), static_cast<wchar_t>(second),
                                           static_cast<wchar_t>(third)};
                EXPECT_EQ(ByUs(text), BySystem(text)) << std::hex << first << ' ' << second << ' ' << third;
            }
        }
    }
}

} // namespace
} // namespace zelto
