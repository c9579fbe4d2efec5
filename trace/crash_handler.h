#pragma once

#include <cstdint>

namespace zelto {

// Installs the crash-dump handler as the process's unhandled-exception filter when `flags` ask for it
// (kTraceCrashDumps). When they do not, it is removed: the host's own filter, which was there before, is put
// back, and one that the host has set since then stays. Called with the trace lock held.
void MatchCrashHandlerTo(std::uint64_t flags) noexcept;

} // namespace zelto
