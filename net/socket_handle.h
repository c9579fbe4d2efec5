#pragma once

#include <utility>
#include <winsock2.h>

namespace zelto {

// Owns one socket; INVALID_SOCKET is none.
class SocketHandle {
public:
    SocketHandle() = default;
    explicit SocketHandle(SOCKET socket) noexcept : socket_(socket) {}
    SocketHandle(SocketHandle&& other) noexcept : socket_(other.release()) {}
    SocketHandle& operator=(SocketHandle&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~SocketHandle() { reset(); }

    SOCKET get() const noexcept { return socket_; }
    explicit operator bool() const noexcept { return socket_ != INVALID_SOCKET; }

    // Gives the socket up without closing it.
    SOCKET release() noexcept { return std::exchange(socket_, INVALID_SOCKET); }

    // Closes the socket, if there is one, and owns `socket` from now on.
    void reset(SOCKET socket = INVALID_SOCKET) noexcept {
        const SOCKET old = std::exchange(socket_, socket);
        if (old != INVALID_SOCKET) {
            closesocket(old);
        }
    }

private:
    SOCKET socket_ = INVALID_SOCKET;
};

} // namespace zelto
