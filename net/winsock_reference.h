#pragma once

#include <utility>
#include <winsock2.h>

namespace zelto {

// One reference on Winsock 2.2. Winsock counts its users in the process, so each holder is independent of the
// others.
class WinsockReference {
public:
    WinsockReference() = default;
    WinsockReference(WinsockReference&& other) noexcept : held_(std::exchange(other.held_, false)) {}
    WinsockReference& operator=(WinsockReference&&) = delete;
    ~WinsockReference() {
        if (held_) {
            WSACleanup();
        }
    }

    // Takes the reference. Returns 0 or the error of WSAStartup, in which case none is held.
    int Start() noexcept {
        WSADATA data;
        const int error = WSAStartup(MAKEWORD(2, 2), &data);
        held_ = error == 0;
        return error;
    }

private:
    bool held_ = false;
};

} // namespace zelto
