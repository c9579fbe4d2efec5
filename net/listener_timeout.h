#pragma once

#include <cstdint>

namespace zelto {

// The whole seconds of a time-out; what is left of the last second is dropped.
std::uint32_t WholeSeconds(std::uint32_t milliseconds) noexcept;

// Due time of a waitable timer that many seconds from now: negative (relative), in units of 100 ns.
std::int64_t RelativeDueTime(std::uint32_t seconds) noexcept;

} // namespace zelto
