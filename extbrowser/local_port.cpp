#include "extbrowser/local_port.h"

#include "net/loopback_socket.h"
#include "net/winsock_reference.h"
#include "trace/trace.h"

namespace zelto {
namespace {

constexpr char kTag[] = "IsPortUsable";

} // namespace

// In both functions the socket is declared behind the Winsock reference: it is closed before WSACleanup.

bool IsPortUsable(std::uint32_t port) noexcept {
    WinsockReference winsock;
    if (winsock.Start() != 0) {
        TRACE_ERROR("%s() WSAStartup failed.", kTag);
        return false;
    }
    const SocketHandle socket = OpenTcpSocket();
    if (!socket) {
        TRACE_ERROR("%s() could not create listener socket.", kTag);
        return false;
    }
    if (!BindToLoopback(socket, port)) {
        TRACE_ERROR("%s() local port %d could not be bound.", kTag, port);
        return false;
    }
    return true;
}

std::uint32_t AllocateDynamicPort() noexcept {
    WinsockReference winsock;
    if (winsock.Start() != 0) {
        return 0;
    }
    const SocketHandle socket = OpenTcpSocket();
    if (!socket || !BindToLoopback(socket, 0)) {
        return 0;
    }
    return BoundPort(socket);
}

} // namespace zelto
