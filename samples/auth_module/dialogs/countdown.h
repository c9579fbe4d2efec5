#pragma once

#include <cstdint>
#include <string>

namespace authmodule {

// Seconds until the deadline, rounded up: 0 from the deadline on. Both times are in milliseconds of the same
// clock.
std::uint64_t SecondsLeft(std::uint64_t deadlineMs, std::uint64_t nowMs);

std::wstring CountdownText(std::uint64_t secondsLeft);

} // namespace authmodule
