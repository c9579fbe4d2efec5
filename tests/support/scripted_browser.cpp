#include "tests/support/scripted_browser.h"

#include <random>
#include <stdexcept>
#include <windows.h>
#include <ws2tcpip.h>

namespace zelto::test {
namespace {

using Clock = std::chrono::steady_clock;

// Winsock is started once for the whole test program.
void StartWinsock() {
    static const int started = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data);
    }();
    if (started != 0) {
        throw std::runtime_error("WSAStartup failed");
    }
}

sockaddr_in Loopback(std::uint16_t port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

SOCKET NewSocket() {
    StartWinsock();
    const SOCKET fresh = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (fresh == INVALID_SOCKET) {
        throw std::runtime_error("socket failed");
    }
    return fresh;
}

// Ports that the system gives to nobody by itself: a program that runs beside this one and asks for any free
// port, or connects from one, never gets one that a test has just found free.
constexpr unsigned kFirstPort = 10240;
constexpr unsigned kLastPort = 32000;

std::uint16_t RandomPort() {
    static std::mt19937 random{std::random_device{}()};
    return static_cast<std::uint16_t>(std::uniform_int_distribution<unsigned>(kFirstPort, kLastPort)(random));
}

SOCKET BoundSocket(std::uint16_t& port) {
    const SOCKET fresh = NewSocket();
    for (int attempt = 0; attempt < 100; ++attempt) {
        port = RandomPort();
        const sockaddr_in address = Loopback(port);
        if (bind(fresh, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
            return fresh;
        }
    }
    throw std::runtime_error("no free port");
}

} // namespace

ScriptedConnection::ScriptedConnection(std::uint16_t port, std::chrono::milliseconds patience,
                                       HANDLE listener) {
    const auto deadline = Clock::now() + patience;
    const sockaddr_in address = Loopback(port);
    for (;;) {
        const bool ended = listener != nullptr && WaitForSingleObject(listener, 0) == WAIT_OBJECT_0;
        socket_ = NewSocket();
        if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
            return;
        }
        Close();
        if (ended || Clock::now() > deadline) {
            throw std::runtime_error("nobody listens on port " + std::to_string(port));
        }
        Sleep(5); // a refused connection gives nothing to wait for
    }
}

ScriptedConnection::~ScriptedConnection() {
    Close();
}

void ScriptedConnection::Send(const std::string& bytes) {
    if (send(socket_, bytes.data(), static_cast<int>(bytes.size()), 0) != static_cast<int>(bytes.size())) {
        throw std::runtime_error("send failed");
    }
}

std::string ScriptedConnection::ReceiveAll(std::chrono::milliseconds patience) {
    const auto milliseconds = static_cast<DWORD>(patience.count());
    setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&milliseconds),
               sizeof(milliseconds));
    std::string all;
    char buffer[4096];
    for (int got = recv(socket_, buffer, sizeof(buffer), 0); got > 0;
         got = recv(socket_, buffer, sizeof(buffer), 0)) {
        all.append(buffer, static_cast<std::size_t>(got));
    }
    return all;
}

void ScriptedConnection::Close(bool hard) {
    if (socket_ == INVALID_SOCKET) {
        return;
    }
    if (hard) {
        const linger reset = {1, 0};
        setsockopt(socket_, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&reset), sizeof(reset));
    }
    closesocket(socket_);
    socket_ = INVALID_SOCKET;
}

std::string RequestOnce(std::uint16_t port, const std::string& request) {
    ScriptedConnection connection(port);
    connection.Send(request);
    return connection.ReceiveAll();
}

std::uint16_t FreePort() {
    std::uint16_t port = 0;
    closesocket(BoundSocket(port));
    return port;
}

TakenPort::TakenPort() : socket_(BoundSocket(port_)) {}

TakenPort::~TakenPort() {
    closesocket(socket_);
}

} // namespace zelto::test
