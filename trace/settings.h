#pragma once

#include <cstdint>

namespace zelto {

// What the registry may change while the trace runs.
struct TraceSettings {
    std::uint64_t flags = 0;          // value "flag", REG_DWORD; 0 when it cannot be read
    std::uint64_t sizeLimitMiB = 512; // value "size", REG_DWORD; 512 when it cannot be read
};

// Reads both values of the key below HKEY_LOCAL_MACHINE. Failures are never logged.
TraceSettings ReadTraceSettings(const char* keyPath) noexcept;

// The flags that the key gives, or `current` when they cannot be read.
std::uint64_t ReadFlagsOr(const char* keyPath, std::uint64_t current) noexcept;

// Puts settings into force when they differ from the current ones: writes out and closes the files, deletes
// them all when file output is switched off, matches memory ring and crash handler to the flags, rebuilds the
// names for a new size limit, and logs the change. Called with the trace lock held.
void ApplyTraceSettings(const TraceSettings& settings) noexcept;

// Allocates the memory ring when `flags` ask for it and there is none, frees it when they do not. Called with
// the trace lock held.
void MatchRingTo(std::uint64_t flags) noexcept;

} // namespace zelto
