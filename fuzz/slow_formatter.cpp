#include "fuzz/slow_formatter.h"

#include "trace/formatter.h"

#include <algorithm>

namespace zelto::fuzz {
namespace {

struct Conversion {
    char fill = ' ';
    bool onTheRight = false;
    bool is64 = false;
    std::uint64_t width = 0;
};

std::string InBase(std::uint64_t value, unsigned base, const char* digits) {
    std::string text;
    do {
        text.insert(text.begin(), digits[value % base]);
        value /= base;
    } while (value != 0);
    return text;
}

std::string Number(const Conversion& how, const std::string& sign, bool signCounts,
                   const std::string& digits) {
    const std::uint64_t used = digits.size() + (signCounts ? sign.size() : 0);
    const std::string filling(how.width > used ? how.width - used : 0, how.onTheRight ? ' ' : how.fill);
    if (how.onTheRight) {
        return sign + digits + filling;
    }
    return how.fill == '0' ? sign + filling + digits : filling + sign + digits;
}

std::string OnTheLeft(const Conversion& how, const std::string& text) {
    return std::string(how.width > text.size() ? how.width - text.size() : 0, ' ') + text;
}

std::string Signed(const Conversion& how, std::uint64_t slot) {
    std::int64_t value = static_cast<std::int64_t>(slot);
    if (!how.is64) {
        value = static_cast<std::int32_t>(static_cast<std::uint32_t>(slot));
    }
    const std::string digits =
        InBase(value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value), 10,
               "0123456789");
    return Number(how, value < 0 ? "-" : "", true, digits);
}

std::string Unsigned(const Conversion& how, std::uint64_t slot, const char* prefix, unsigned base,
                     const char* digits) {
    return Number(how, prefix, false,
                  InBase(how.is64 ? slot : static_cast<std::uint32_t>(slot), base, digits));
}

std::string Utf8(std::uint32_t point) {
    const auto byte = [](std::uint32_t value) { return static_cast<char>(value); };
    if (point <= 0x7F) {
        return {byte(point)};
    }
    const char last = byte(128 + point % 64);
    if (point <= 0x7FF) {
        return {byte(192 + point / 64), last};
    }
    const char third = byte(128 + point / 64 % 64);
    if (point <= 0xFFFF) {
        return {byte(224 + point / 4096), third, last};
    }
    return {byte(240 + point / 262'144), byte(128 + point / 4096 % 64), third, last};
}

// A pair of surrogates is one code point, any other surrogate and what is no code point U+FFFD.
std::string WideText(const Conversion& how, std::uint64_t slot) {
    const auto* text = reinterpret_cast<const wchar_t*>(slot);
    if (text == nullptr) {
        return "";
    }
    std::string bytes;
    for (; *text != 0; ++text) {
        const auto unit = static_cast<std::uint32_t>(text[0]);
        const auto next = static_cast<std::uint32_t>(text[1]);
        if (unit >= 0xD800 && unit <= 0xDBFF && next >= 0xDC00 && next <= 0xDFFF) {
            bytes += Utf8(0x10000 + (unit - 0xD800) * 1024 + (next - 0xDC00));
            ++text;
        } else if ((unit >= 0xD800 && unit <= 0xDFFF) || unit > 0x10FFFF) {
            bytes += "\xEF\xBF\xBD";
        } else {
            bytes += Utf8(unit);
        }
    }
    return OnTheLeft(how, bytes);
}

std::string Converted(char letter, const Conversion& how, const NextArgument& next) {
    switch (letter) {
    case 'd':
    case 'i':
        return Signed(how, next(Wanted::Integer));
    case 'u':
        return Unsigned(how, next(Wanted::Integer), "", 10, "0123456789");
    case 'x':
        return Unsigned(how, next(Wanted::Integer), "0x", 16, "0123456789abcdef");
    case 'X':
        return Unsigned(how, next(Wanted::Integer), "0x", 16, "0123456789ABCDEF");
    case 'p':
        return Unsigned({'0', false, true, 16}, next(Wanted::Integer), "0x", 16, "0123456789ABCDEF");
    case 's': {
        const auto* text = reinterpret_cast<const char*>(next(Wanted::Narrow));
        return text == nullptr ? "" : OnTheLeft(how, text);
    }
    case 'S':
        return WideText(how, next(Wanted::Wide));
    case 'c':
        return OnTheLeft(how, std::string(1, static_cast<char>(next(Wanted::Integer))));
    case '%':
        return "%";
    default:
        return "";
    }
}

} // namespace

std::string SlowMessage(const std::string& format, const NextArgument& next, std::size_t area) {
    std::string message;
    std::size_t at = 0;
    const auto character = [&] { return at < format.size() ? format[at] : '\0'; };
    while (at < format.size()) {
        if (format[at] != '%') {
            message += format[at++];
            continue;
        }
        ++at;
        Conversion how;
        if (character() == '0' || character() == ' ') {
            how.fill = format[at++];
        }
        if (character() == '*') {
            ++at;
            const auto width =
                std::int64_t{static_cast<std::int32_t>(static_cast<std::uint32_t>(next(Wanted::Integer)))};
            how.onTheRight = width < 0;
            how.width = static_cast<std::uint64_t>(width < 0 ? -width : width);
        } else {
            if (character() == '-') {
                how.onTheRight = true;
                ++at;
            }
            while (character() >= '0' && character() <= '9') {
                how.width = std::min<std::uint64_t>(
                    how.width * 10 + static_cast<unsigned>(format[at++] - '0'), 99'999);
            }
        }
        how.width = std::min<std::uint64_t>(how.width, kMessageArea); // no message is longer
        if (character() == 'l') {
            ++at;
            if (character() == 'l') {
                ++at;
                how.is64 = true;
            }
        }
        if (character() == 'w' && at + 1 < format.size() && format[at + 1] == 's') {
            ++at;
            message += Converted('S', how, next);
        } else {
            message += Converted(character(), how, next);
        }
        ++at;
    }
    if (message.size() > area) {
        message.resize(area);
        if (area >= 3) {
            message.replace(area - 3, 3, "...");
        }
    }
    return message;
}

} // namespace zelto::fuzz
