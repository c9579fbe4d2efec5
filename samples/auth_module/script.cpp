#include "script.h"

#include <charconv>
#include <optional>

namespace authmodule {
namespace {

int HexDigit(char character) {
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    if (character >= 'a' && character <= 'f') {
        return character - 'a' + 10;
    }
    return character >= 'A' && character <= 'F' ? character - 'A' + 10 : -1;
}

// The character that the escape at the front of `text` stands for: \n, \r, \\ or \xHH. The escape is removed.
std::optional<char> TakeEscape(std::string_view& text) {
    const char kind = text.size() > 1 ? text[1] : '\0';
    if (kind == 'x' && text.size() > 3 && HexDigit(text[2]) >= 0 && HexDigit(text[3]) >= 0) {
        const int value = HexDigit(text[2]) * 16 + HexDigit(text[3]);
        text.remove_prefix(4);
        return static_cast<char>(value);
    }
    text.remove_prefix(text.size() > 1 ? 2 : 1);
    switch (kind) {
    case 'n':
        return '\n';
    case 'r':
        return '\r';
    case '\\':
        return '\\';
    default:
        return std::nullopt;
    }
}

std::optional<std::string> Unescape(std::string_view text) {
    std::string bytes;
    while (!text.empty()) {
        if (text.front() != '\\') {
            bytes.push_back(text.front());
            text.remove_prefix(1);
            continue;
        }
        const std::optional<char> escaped = TakeEscape(text);
        if (!escaped) {
            return std::nullopt;
        }
        bytes.push_back(*escaped);
    }
    return bytes;
}

// Decimal, or hexadecimal behind "0x".
std::optional<std::uint32_t> Number(std::string_view text) {
    const bool hexadecimal = text.starts_with("0x");
    if (hexadecimal) {
        text.remove_prefix(2);
    }
    std::uint32_t value = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, value, hexadecimal ? 16 : 10);
    if (result.ec != std::errc() || result.ptr != end) {
        return std::nullopt;
    }
    return value;
}

std::optional<Step> ReadStep(std::string_view line) {
    const std::size_t blank = line.find(' ');
    const std::string_view word = line.substr(0, blank);
    const std::string_view rest =
        blank == std::string_view::npos ? std::string_view() : line.substr(blank + 1);
    if (word == "answer" || word == "block") {
        const std::optional<std::string> bytes = Unescape(rest);
        if (!bytes) {
            return std::nullopt;
        }
        return word == "answer" ? Step(Answer{*bytes}) : Step(RawBlock{*bytes});
    }
    if (word == "delay" || word == "exit") {
        const std::optional<std::uint32_t> number = Number(rest);
        if (!number) {
            return std::nullopt;
        }
        return word == "delay" ? Step(Delay{*number}) : Step(Exit{*number});
    }
    if (line == "crash") {
        return Crash{};
    }
    return std::nullopt;
}

} // namespace

Script ReadScript(std::string_view text) {
    Script script;
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const std::optional<Step> step = ReadStep(line);
        if (!step) {
            script.badLine = number;
            return script;
        }
        script.steps.push_back(*step);
    }
    return script;
}

} // namespace authmodule
