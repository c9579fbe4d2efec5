#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <winsock2.h>

namespace zelto::test {

// One TCP connection to 127.0.0.1, byte by byte under the test's control: the browser's side of the callback.
class ScriptedConnection {
public:
    // Connects within `patience`, trying again while the port refuses; throws std::runtime_error when it never
    // accepts, or refuses after the thread `listener`, if there is one, has ended.
    explicit ScriptedConnection(std::uint16_t port,
                                std::chrono::milliseconds patience = std::chrono::seconds(60),
                                HANDLE listener = nullptr);
    ScriptedConnection(const ScriptedConnection&) = delete;
    ScriptedConnection& operator=(const ScriptedConnection&) = delete;
    ~ScriptedConnection();

    void Send(const std::string& bytes);

    // Everything the other side sends until it ends the connection, for at most `patience`.
    std::string ReceiveAll(std::chrono::milliseconds patience = std::chrono::seconds(60));

    // Ends the connection now. `hard`: with a reset instead of an orderly end.
    void Close(bool hard = false);

    SOCKET Socket() const { return socket_; }

private:
    SOCKET socket_ = INVALID_SOCKET;
};

// Sends `request` to 127.0.0.1:port and returns the whole answer.
std::string RequestOnce(std::uint16_t port, const std::string& request);

// A TCP port on 127.0.0.1 that is free at the moment.
std::uint16_t FreePort();

// A socket bound to 127.0.0.1 that keeps its port taken.
class TakenPort {
public:
    TakenPort();
    TakenPort(const TakenPort&) = delete;
    TakenPort& operator=(const TakenPort&) = delete;
    ~TakenPort();
    std::uint16_t Port() const { return port_; }

private:
    std::uint16_t port_ = 0; // before the socket, whose initialisation fills it in
    SOCKET socket_;
};

} // namespace zelto::test
