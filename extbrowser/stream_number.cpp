#include "extbrowser/stream_number.h"

#include <cstddef>
#include <limits>

namespace zelto {
namespace {

constexpr std::uint32_t kLargest = std::numeric_limits<std::uint32_t>::max();

template <class Char>
bool IsBlank(Char c) {
    return c == Char(' ') || (c >= Char('\t') && c <= Char('\r'));
}

template <class Char>
bool IsDigit(Char c) {
    return c >= Char('0') && c <= Char('9');
}

// Text that begins with its first digit, if it has one.
template <class Char>
std::uint32_t ReadDigits(std::basic_string_view<Char> text, bool negative) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < text.size() && IsDigit(text[i]); ++i) {
        value = value * 10 + static_cast<std::uint64_t>(text[i] - Char('0'));
        if (value > kLargest) {
            return kLargest; // the sign does not matter any more
        }
    }
    const auto magnitude = static_cast<std::uint32_t>(value);
    return negative ? 0 - magnitude : magnitude;
}

template <class Char>
std::uint32_t Read(std::basic_string_view<Char> text) {
    std::size_t at = 0;
    while (at < text.size() && IsBlank(text[at])) {
        ++at;
    }
    const bool negative = at < text.size() && text[at] == Char('-');
    if (negative || (at < text.size() && text[at] == Char('+'))) {
        ++at;
    }
    return ReadDigits(text.substr(at), negative);
}

} // namespace

std::uint32_t ReadStreamNumber(std::string_view text) noexcept {
    return Read(text);
}

std::uint32_t ReadStreamNumber(std::wstring_view text) noexcept {
    return Read(text);
}

} // namespace zelto
