#pragma once

#include <cstdint>

namespace zelto {

// True when a TCP socket can be bound to 127.0.0.1 and `port` (its low 16 bits) right now. The port is not
// kept: the listener binds it again afterwards. A failure is logged here.
bool IsPortUsable(std::uint32_t port) noexcept;

// A TCP port on 127.0.0.1 that the system has chosen as free, or 0 on any failure, which the caller logs. The
// port is not kept: another program may take it before it is bound again.
std::uint32_t AllocateDynamicPort() noexcept;

} // namespace zelto
