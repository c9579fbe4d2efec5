#pragma once

#include "net/socket_handle.h"

#include <cstdint>

namespace zelto {

// A new TCP socket (IPv4); empty when there is none to be had, and WSAGetLastError tells why. A process that
// the host starts with inherited handles, the browser itself for example, does not get it: it would keep the
// port taken.
SocketHandle OpenTcpSocket() noexcept;

// Keeps a socket from processes that the host starts. Sockets are born inheritable, accepted ones too.
void KeepFromChildren(const SocketHandle& socket) noexcept;

// Binds to 127.0.0.1 and `port`, of which the low 16 bits count; 0 lets the system choose one. No address
// reuse is asked for: a port that is taken shall be seen as taken.
bool BindToLoopback(const SocketHandle& socket, std::uint32_t port) noexcept;

// The port that the socket is bound to, or 0 when the system does not tell.
std::uint32_t BoundPort(const SocketHandle& socket) noexcept;

} // namespace zelto
