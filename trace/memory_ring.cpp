#include "trace/memory_ring.h"

#include <algorithm>
#include <cstring>

namespace zelto {
namespace {

constexpr char kRingName[16] = "TraceMemLogHead";

} // namespace

void ClearRing(MemoryRing& ring) noexcept {
    std::memcpy(ring.name, kRingName, sizeof(ring.name));
    ring.counter = 0;
    std::memset(ring.slots, 0, sizeof(ring.slots));
}

void PutInRing(MemoryRing& ring, std::string_view record) noexcept {
    char* slot = ring.slots[ring.counter % kRingSlots];
    ++ring.counter;
    const std::size_t length = std::min(record.size(), kRingSlotSize - 1);
    std::memcpy(slot, record.data(), length);
    slot[length] = '\0';
}

} // namespace zelto
