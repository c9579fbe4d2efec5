#pragma once

#include <cstdint>
#include <winsock2.h>

namespace zelto {

// Sockets and handles as the trace formatter reads them.

// For %p, which reads 64 bits.
inline std::uint64_t TraceValue(SOCKET socket) noexcept {
    return socket;
}

// For %x, which reads 32 bits; handle values have no more.
inline std::uint32_t TraceValue(HANDLE handle) noexcept {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(handle));
}

} // namespace zelto
