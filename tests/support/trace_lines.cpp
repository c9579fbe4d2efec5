#include "tests/support/trace_lines.h"

#include <charconv>
#include <fstream>
#include <iterator>

namespace zelto::test {
namespace {

// Takes "[…]" and the blank behind it off the front of `rest`.
bool TakeBracketed(std::string_view& rest, std::string_view& inside) {
    if (rest.empty() || rest.front() != '[') {
        return false;
    }
    const std::size_t end = rest.find("] ");
    if (end == std::string_view::npos) {
        return false;
    }
    inside = rest.substr(1, end - 1);
    rest.remove_prefix(end + 2);
    return true;
}

template <class Number>
bool ReadNumber(std::string_view text, Number& number) {
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

bool ReadIds(std::string_view ids, TraceLine& line) {
    const std::size_t colon = ids.find(':');
    return colon != std::string_view::npos && ReadNumber(ids.substr(0, colon), line.pid) &&
           ReadNumber(ids.substr(colon + 1), line.tid);
}

bool ReadLabel(std::string_view label, TraceLine& line) {
    constexpr std::string_view kModule = "ZeltoAuth  ";
    if (label.substr(0, kModule.size()) != kModule) {
        return false;
    }
    label.remove_prefix(kModule.size());
    const std::size_t blank = label.find(' ');
    if (blank == std::string_view::npos || !ReadNumber(label.substr(0, blank), line.line)) {
        return false;
    }
    const std::string_view level = label.substr(blank + 1);
    line.level = level.substr(level.find_first_not_of(' '));
    return level.size() == 7;
}

} // namespace

bool ParseTraceLine(std::string_view raw, TraceLine& line) {
    std::string_view rest = raw;
    std::string_view time;
    std::string_view ids;
    std::string_view label;
    if (!TakeBracketed(rest, time) || !TakeBracketed(rest, ids) || !TakeBracketed(rest, label)) {
        return false;
    }
    line.raw = raw;
    line.time = time;
    line.text = rest;
    return ReadIds(ids, line) && ReadLabel(label, line);
}

std::vector<TraceLine> ReadTraceLines(const std::filesystem::path& file) {
    std::vector<TraceLine> lines;
    const std::string bytes = ReadBytes(file);
    for (std::size_t start = 0; start < bytes.size();) {
        std::size_t end = bytes.find("\r\n[", start);
        end = end == std::string::npos ? bytes.find_last_not_of("\r\n") + 1 : end;
        TraceLine line;
        if (ParseTraceLine(std::string_view(bytes).substr(start, end - start), line)) {
            lines.push_back(line);
        }
        start = end + 2;
    }
    return lines;
}

std::vector<std::string> Messages(const std::vector<TraceLine>& lines) {
    std::vector<std::string> messages;
    for (const TraceLine& line : lines) {
        const bool frame = line.text == "trace stopped" || line.text.rfind("(Time Zone: ", 0) == 0;
        if (!frame) {
            messages.push_back(line.level + ": " + line.text);
        }
    }
    return messages;
}

std::string ReadBytes(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

} // namespace zelto::test
