#include "trace/bounded_text.h"

#include <algorithm>
#include <cstring>

namespace zelto {
namespace {

constexpr std::string_view kCutMark = "...";

} // namespace

void BoundedText::AppendFitting(std::string_view text) noexcept {
    const std::size_t fitting = capacity_ - length_;
    if (fitting != 0) {
        std::memcpy(memory_ + length_, text.data(), fitting);
    }
    length_ = capacity_;
    cut_ = true;
}

void BoundedText::Fill(char character, std::size_t count) noexcept {
    const std::size_t fitting = std::min(count, capacity_ - length_);
    if (fitting != 0) {
        std::memset(memory_ + length_, character, fitting);
    }
    length_ += fitting;
    cut_ = cut_ || fitting != count;
}

void BoundedText::AppendDecimal(std::uint64_t value, std::size_t minimumDigits) noexcept {
    const std::size_t count = std::max(DecimalLength(value), minimumDigits);
    if (char* text = Claim(count)) {
        PutDecimal(text, value, count);
        return;
    }
    const Digits digits(value);
    Fill('0', count - digits.View().size());
    Append(digits.View());
}

void BoundedText::AppendHex(std::uint64_t value, HexTable table) noexcept {
    const std::size_t count = HexLength(value);
    if (char* text = Claim(count)) {
        PutHex(text, value, count, table);
        return;
    }
    Append(Digits(value, table).View());
}

void BoundedText::PutCutMark() noexcept {
    if (length_ >= kCutMark.size()) {
        std::memcpy(memory_ + length_ - kCutMark.size(), kCutMark.data(), kCutMark.size());
    }
}

Digits::Digits(std::uint64_t value) noexcept : length_(DecimalLength(value)) {
    PutDecimal(digits_, value, length_);
}

Digits::Digits(std::uint64_t value, HexTable table) noexcept : length_(HexLength(value)) {
    PutHex(digits_, value, length_, table);
}

} // namespace zelto
