#include "auth/truncated_text.h"

#include "trace/bounded_text.h"

#include <algorithm>

namespace zelto {

TruncatedText& TruncatedText::Append(std::wstring_view text) {
    text_.append(text.substr(0, std::min(text.size(), limit_ - text_.size())));
    return *this;
}

TruncatedText& TruncatedText::AppendNumber(std::uint64_t number) {
    return Append(DecimalText(number));
}

std::wstring DecimalText(std::uint64_t number) {
    const Digits digits(number);
    return std::wstring(digits.View().begin(), digits.View().end());
}

} // namespace zelto
