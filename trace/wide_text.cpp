#include "trace/wide_text.h"

#include <cstdint>

namespace zelto {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

constexpr bool IsHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool IsLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

// The code point at `position`, which moves behind it.
char32_t NextCodePoint(const wchar_t* text, std::size_t length, std::size_t& position) noexcept {
    const auto unit = static_cast<char32_t>(text[position++]);
    if (IsHighSurrogate(unit) && position < length) {
        const auto next = static_cast<char32_t>(text[position]);
        if (IsLowSurrogate(next)) {
            ++position;
            return 0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00);
        }
    }
    const bool alone = IsHighSurrogate(unit) || IsLowSurrogate(unit);
    return alone || unit > 0x10FFFF ? kReplacement : unit;
}

constexpr std::size_t Utf8Size(char32_t point) {
    return point < 0x80 ? 1u : point < 0x800 ? 2u : point < 0x10000 ? 3u : 4u;
}

char* PutCodePoint(char32_t point, char* bytes) noexcept {
    const std::size_t size = Utf8Size(point);
    if (size == 1) {
        *bytes = static_cast<char>(point);
        return bytes + 1;
    }
    for (std::size_t i = size - 1; i > 0; --i) {
        bytes[i] = static_cast<char>(0x80 | (point & 0x3F));
        point >>= 6;
    }
    constexpr std::uint8_t kLeadMarks[] = {0, 0, 0xC0, 0xE0, 0xF0};
    bytes[0] = static_cast<char>(kLeadMarks[size] | point);
    return bytes + size;
}

} // namespace

std::size_t WideLength(const wchar_t* text) noexcept {
    std::size_t length = 0;
    while (text[length] != 0) {
        ++length;
    }
    return length;
}

std::size_t Utf8Length(const wchar_t* text, std::size_t length) noexcept {
    std::size_t bytes = 0;
    for (std::size_t position = 0; position < length;) {
        bytes += Utf8Size(NextCodePoint(text, length, position));
    }
    return bytes;
}

void ConvertToUtf8(const wchar_t* text, std::size_t length, char* bytes) noexcept {
    for (std::size_t position = 0; position < length;) {
        bytes = PutCodePoint(NextCodePoint(text, length, position), bytes);
    }
}

} // namespace zelto
