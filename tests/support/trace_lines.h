#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace zelto::test {

// One record of a trace log in its default form: "[time] [pid:tid] [ZeltoAuth  line level] text".
struct TraceLine {
    std::string time; // what stands in the first pair of brackets
    std::uint32_t pid = 0;
    std::uint32_t tid = 0;
    std::int32_t line = 0;
    std::string level; // without its padding: "info", "debug", "warning", "error"
    std::string text;  // the message
    std::string raw;   // the whole line without its end
};

// Reads one line; false when it does not have the default form.
bool ParseTraceLine(std::string_view raw, TraceLine& line);

// All records of a log file, oldest first; lines of any other form (rotation headers) are left out. An absent
// file has none.
std::vector<TraceLine> ReadTraceLines(const std::filesystem::path& file);

// "level: text" of each record, for comparing a whole sequence at once. The records that the library writes
// when it is loaded and unloaded ("(Time Zone: …", "trace stopped") are left out.
std::vector<std::string> Messages(const std::vector<TraceLine>& lines);

// A whole file as bytes; empty when it does not exist.
std::string ReadBytes(const std::filesystem::path& file);

} // namespace zelto::test
