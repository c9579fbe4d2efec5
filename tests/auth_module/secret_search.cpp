#include "tests/auth_module/secret_search.h"

#include <array>
#include <windows.h>

namespace zelto::test {
namespace {

constexpr std::size_t kWindow = 16;
constexpr std::size_t kStep = 8; // from one window to the next

// Read anew for each character, so that the compiler keeps no unmasked text.
volatile unsigned char mask = 0xA5;

bool IsReadable(const MEMORY_BASIC_INFORMATION& region) {
    constexpr DWORD kReadable = PAGE_READONLY | PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READ |
                                PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
    return region.State == MEM_COMMIT && (region.Protect & kReadable) != 0 &&
           (region.Protect & PAGE_GUARD) == 0;
}

bool IsIn(std::span<const Region> regions, const unsigned char* byte) {
    for (const Region& region : regions) {
        const auto* begin = static_cast<const unsigned char*>(region.begin);
        if (byte >= begin && byte < begin + region.size) {
            return true;
        }
    }
    return false;
}

} // namespace

MaskedSecret::MaskedSecret(unsigned seed) {
    unsigned state = seed * 2654435761u + 12345;
    for (std::size_t i = 0; i < kSize; ++i) {
        state = state * 1664525u + 1013904223u;
        masked_[i] =
            static_cast<unsigned char>(('!' + (state >> 16) % 90) ^ mask); // neither blank nor line feed
        masked_[i] = At(i) == ':' ? static_cast<unsigned char>('_' ^ mask) : masked_[i];
    }
    for (std::size_t begin = 0; begin + kWindow <= kSize; begin += kStep) {
        begins_[At(begin)] = true;
    }
}

unsigned char MaskedSecret::At(std::size_t index) const {
    return static_cast<unsigned char>(masked_[index] ^ mask);
}

std::string MaskedSecret::Hex() const {
    std::string hex;
    for (std::size_t i = 0; i < kSize; ++i) {
        hex += "0123456789abcdef"[At(i) >> 4];
        hex += "0123456789abcdef"[At(i) & 15];
    }
    return hex;
}

bool MaskedSecret::Is(const char* bytes) const {
    for (std::size_t i = 0; i < kSize; ++i) {
        if (static_cast<unsigned char>(bytes[i]) != At(i)) {
            return false;
        }
    }
    return true;
}

bool MaskedSecret::HasWindowAt(const unsigned char* bytes) const {
    for (std::size_t begin = 0; begin + kWindow <= kSize; begin += kStep) {
        std::size_t same = 0;
        while (same < kWindow && bytes[same] == At(begin + same)) {
            ++same;
        }
        if (same == kWindow) {
            return true;
        }
    }
    return false;
}

std::span<const Region> FindCopies(const MaskedSecret& secret, std::span<const Region> exceptions) {
    static std::array<Region, 1000> copies;
    std::size_t count = 0;
    MEMORY_BASIC_INFORMATION region = {};
    const unsigned char* address = nullptr;
    while (VirtualQuery(address, &region, sizeof(region)) != 0) {
        address = static_cast<const unsigned char*>(region.BaseAddress);
        const unsigned char* const end = address + region.RegionSize;
        for (; IsReadable(region) && address + kWindow <= end; ++address) {
            if (secret.MayBeginWith(*address) && secret.HasWindowAt(address) && !IsIn(exceptions, address) &&
                count < copies.size()) {
                copies[count++] = {address, kWindow};
            }
        }
        address = end;
    }
    return {copies.data(), count};
}

} // namespace zelto::test
