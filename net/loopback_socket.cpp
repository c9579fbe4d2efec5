#include "net/loopback_socket.h"

#include <windows.h>

namespace zelto {

SocketHandle OpenTcpSocket() noexcept {
    SocketHandle fresh(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    if (fresh) {
        KeepFromChildren(fresh);
    }
    return fresh;
}

void KeepFromChildren(const SocketHandle& socket) noexcept {
    SetHandleInformation(reinterpret_cast<HANDLE>(socket.get()), HANDLE_FLAG_INHERIT, 0);
}

bool BindToLoopback(const SocketHandle& socket, std::uint32_t port) noexcept {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

std::uint32_t BoundPort(const SocketHandle& socket) noexcept {
    sockaddr_in address = {};
    int length = sizeof(address);
    if (getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        return 0;
    }
    return ntohs(address.sin_port);
}

} // namespace zelto
