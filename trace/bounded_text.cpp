#include "trace/bounded_text.h"

#include <algorithm>
#include <cstring>

namespace zelto {
namespace {

constexpr std::string_view kCutMark = "...";

} // namespace

void BoundedText::Append(char character) noexcept {
    Fill(character, 1);
}

void BoundedText::Append(std::string_view text) noexcept {
    const std::size_t count = std::min(text.size(), capacity_ - length_);
    if (count != 0) {
        std::memcpy(memory_ + length_, text.data(), count);
    }
    length_ += count;
    cut_ = cut_ || count != text.size();
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
    const Digits digits(value, 10, kLowercaseDigits);
    const std::size_t count = digits.View().size();
    Fill('0', minimumDigits > count ? minimumDigits - count : 0);
    Append(digits.View());
}

void BoundedText::AppendField(std::string_view text, std::size_t limit) noexcept {
    if (text.size() <= limit) {
        Append(text);
        return;
    }
    Append(text.substr(0, limit - kCutMark.size()));
    Append(kCutMark);
}

void BoundedText::MarkCut() noexcept {
    if (cut_ && length_ >= kCutMark.size()) {
        std::memcpy(memory_ + length_ - kCutMark.size(), kCutMark.data(), kCutMark.size());
    }
}

Digits::Digits(std::uint64_t value, unsigned base, std::string_view table) noexcept {
    do {
        digits_[--first_] = table[static_cast<std::size_t>(value % base)];
        value /= base;
    } while (value != 0);
}

} // namespace zelto
