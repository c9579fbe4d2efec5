#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zelto {

// Appends text to memory that the caller owns. What does not fit is dropped and remembered, never written.
// There is no terminating zero: the text is View(). Allocates nothing.
class BoundedText {
public:
    // `capacity` in bytes; `memory` outlives this object.
    BoundedText(char* memory, std::size_t capacity) noexcept : memory_(memory), capacity_(capacity) {}

    void Append(char character) noexcept;
    void Append(std::string_view text) noexcept;
    void Fill(char character, std::size_t count) noexcept;

    // Decimal digits, filled with zeros on the left to at least `minimumDigits`.
    void AppendDecimal(std::uint64_t value, std::size_t minimumDigits = 1) noexcept;

    // `text`, or, when it is longer than `limit` (at least 3), its beginning and "..." with `limit`
    // characters in all.
    void AppendField(std::string_view text, std::size_t limit) noexcept;

    // When something was dropped, the last three characters become "...".
    void MarkCut() noexcept;

    // Takes back the last character; there must be one.
    void RemoveLast() noexcept { --length_; }

    std::size_t Length() const noexcept { return length_; }
    std::string_view View() const noexcept { return {memory_, length_}; }

private:
    char* memory_;
    std::size_t capacity_;
    std::size_t length_ = 0;
    bool cut_ = false;
};

// The digits of a number, for text that is measured before it is written.
class Digits {
public:
    // Base 2 to 16; `table` holds the characters of the digits.
    Digits(std::uint64_t value, unsigned base, std::string_view table) noexcept;
    std::string_view View() const noexcept { return {digits_ + first_, sizeof(digits_) - first_}; }

private:
    char digits_[64];
    std::size_t first_ = sizeof(digits_);
};

inline constexpr std::string_view kLowercaseDigits = "0123456789abcdef";
inline constexpr std::string_view kUppercaseDigits = "0123456789ABCDEF";

} // namespace zelto
