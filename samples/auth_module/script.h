#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace authmodule {

// A script answers for the user. One step a line, done in order; empty lines and those that begin with "#"
// count for nothing. The program ends with exit code 0 behind the last step.
struct Delay {
    std::uint32_t milliseconds = 0;
};
struct Answer {
    std::string text; // to be encrypted and written as the contract says
};
struct RawBlock {
    std::string bytes; // to be written to the start of the block as they are
};
struct Crash {};
struct Exit {
    std::uint32_t code = 0;
};
using Step = std::variant<Delay, Answer, RawBlock, Crash, Exit>;

// The steps, or in `badLine` (from 1) the number of the first line that makes no sense; 0 when all do.
struct Script {
    std::vector<Step> steps;
    std::size_t badLine = 0;
};
Script ReadScript(std::string_view text);

} // namespace authmodule
