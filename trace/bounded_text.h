#pragma once

#include "trace/number_text.h"
#include "trace/short_text.h"

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

    void Append(char character) noexcept {
        if (length_ < capacity_) {
            memory_[length_++] = character;
        } else {
            cut_ = true;
        }
    }

    void Append(std::string_view text) noexcept {
        if (text.size() <= capacity_ - length_) {
            CopyText(memory_ + length_, text);
            length_ += text.size();
        } else {
            AppendFitting(text);
        }
    }

    void Fill(char character, std::size_t count) noexcept;

    // Appends `count` characters that the caller writes, all of them. Null, with nothing appended or dropped, when
    // they do not fit.
    char* Claim(std::size_t count) noexcept {
        if (count > capacity_ - length_) {
            return nullptr;
        }
        length_ += count;
        return memory_ + length_ - count;
    }

    // Decimal digits, filled with zeros on the left to at least `minimumDigits`.
    void AppendDecimal(std::uint64_t value, std::size_t minimumDigits = 1) noexcept;

    void AppendHex(std::uint64_t value, HexTable table) noexcept;

    // When something was dropped, the last three characters become "...".
    void MarkCut() noexcept {
        if (cut_) {
            PutCutMark();
        }
    }

    // For a writer that keeps its place in a register: where the text ends, how much more fits, and where it ends
    // after having been written on.
    char* End() const noexcept { return memory_ + length_; }
    std::size_t Room() const noexcept { return capacity_ - length_; }
    void SetEnd(const char* end) noexcept { length_ = static_cast<std::size_t>(end - memory_); }

    std::size_t Length() const noexcept { return length_; }
    std::string_view View() const noexcept { return {memory_, length_}; }

private:
    void AppendFitting(std::string_view text) noexcept;
    void PutCutMark() noexcept;

    char* memory_;
    std::size_t capacity_;
    std::size_t length_ = 0;
    bool cut_ = false;
};

// The digits of a number, for text that is measured before it is written.
class Digits {
public:
    explicit Digits(std::uint64_t value) noexcept; // in decimal
    Digits(std::uint64_t value, HexTable table) noexcept;
    std::string_view View() const noexcept { return {digits_, length_}; }

private:
    char digits_[20];
    std::size_t length_;
};

} // namespace zelto
