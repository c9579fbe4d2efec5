#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zelto {

// The two digits of every number below 100, one pair behind the other.
inline constexpr std::array<char, 200> kDigitPairs = [] {
    std::array<char, 200> pairs{};
    for (std::size_t value = 0; value < 100; ++value) {
        pairs[value * 2] = static_cast<char>('0' + value / 10);
        pairs[value * 2 + 1] = static_cast<char>('0' + value % 10);
    }
    return pairs;
}();

inline constexpr std::size_t kMaximumDecimalLength = 20; // of a 64-bit number

// How many decimal digits the value has; one for 0.
inline std::size_t DecimalLength(std::uint64_t value) noexcept {
    std::size_t length = 1;
    for (; value >= 10'000; value /= 10'000) {
        length += 4;
    }
    return length + (value >= 10 ? 1u : 0u) + (value >= 100 ? 1u : 0u) + (value >= 1000 ? 1u : 0u);
}

// Writes exactly `length` digits: with zeros in front when the value has fewer, the last ones when it has more.
inline void PutDecimal(char* text, std::uint64_t value, std::size_t length) noexcept {
    for (; length >= 2; value /= 100) {
        length -= 2;
        std::memcpy(text + length, &kDigitPairs[static_cast<std::size_t>(value % 100) * 2], 2);
    }
    if (length != 0) {
        *text = static_cast<char>('0' + value % 10);
    }
}

// Writes all digits, kMaximumDecimalLength at most, and returns where they end.
inline char* PutDecimal(char* text, std::uint64_t value) noexcept {
    const std::size_t length = DecimalLength(value);
    PutDecimal(text, value, length);
    return text + length;
}

// The characters of the hexadecimal digits.
using HexTable = const char (&)[17];
inline constexpr char kLowercaseDigits[] = "0123456789abcdef";
inline constexpr char kUppercaseDigits[] = "0123456789ABCDEF";

// How many hexadecimal digits the value has; one for 0.
inline std::size_t HexLength(std::uint64_t value) noexcept {
    return (static_cast<std::size_t>(std::bit_width(value | 1)) + 3) / 4;
}

// Writes exactly `length` hexadecimal digits.
inline void PutHex(char* text, std::uint64_t value, std::size_t length, HexTable table) noexcept {
    for (; length > 0; value >>= 4) {
        text[--length] = table[value & 0xF];
    }
}

} // namespace zelto
