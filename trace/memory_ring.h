#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zelto {

inline constexpr std::size_t kRingSlots = 1024;
inline constexpr std::size_t kRingSlotSize = 1024; // bytes, the terminating zero included

// The ring of recent records, as it is found in a dump of the process. Layout: docs/trace-format.md.
struct MemoryRing {
    char name[16];                         // "TraceMemLogHead" and its terminating zero
    std::uint64_t counter;                 // records ever put in; the next one goes to slot counter & 1023
    char slots[kRingSlots][kRingSlotSize]; // one record each, terminated by a zero
};
static_assert(sizeof(MemoryRing) == 1'048'600);
static_assert(offsetof(MemoryRing, counter) == 16 && offsetof(MemoryRing, slots) == 24);

// Makes the memory of a ring an empty one.
void ClearRing(MemoryRing& ring) noexcept;

// Puts a record (without its line end) in the next slot, cut to 1,023 characters. The caller holds the trace
// lock.
void PutInRing(MemoryRing& ring, std::string_view record) noexcept;

} // namespace zelto
