#include "extbrowser/url_decode.h"

#include <cstddef>

namespace zelto {
namespace {

constexpr int kNoDigit = -1;

int DigitValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : kNoDigit;
}

// Whether an encoded byte stands at `at`.
bool IsEncoded(std::string_view text, std::size_t at) {
    return text[at] == '%' && text.size() - at > 2 && DigitValue(text[at + 1]) != kNoDigit &&
           DigitValue(text[at + 2]) != kNoDigit;
}

} // namespace

std::string UrlDecode(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size()); // storage that a growing string leaves behind would not be wiped
    for (std::size_t at = 0; at < text.size();) {
        if (IsEncoded(text, at)) {
            decoded += static_cast<char>(DigitValue(text[at + 1]) * 16 + DigitValue(text[at + 2]));
            at += 3;
        } else {
            decoded += text[at];
            ++at;
        }
    }
    return decoded;
}

} // namespace zelto
