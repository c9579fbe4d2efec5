#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zelto {

// Wide text put together in a buffer of a fixed size: what does not fit is cut off, in the middle of a
// surrogate pair if need be, and nothing that follows is taken.
class TruncatedText {
public:
    // `size` in characters, the terminating zero included; at least 1. Throws std::bad_alloc.
    explicit TruncatedText(std::size_t size) : limit_(size - 1) { text_.reserve(limit_); }

    TruncatedText& Append(std::wstring_view text);
    TruncatedText& AppendNumber(std::uint64_t number); // in decimal

    const std::wstring& Text() const noexcept { return text_; }

private:
    std::size_t limit_;
    std::wstring text_;
};

// A number in decimal digits.
std::wstring DecimalText(std::uint64_t number);

} // namespace zelto
