#pragma once

#include <cstdint>

namespace zelto {

// Where the auth module is started, by the active user session and the caller's own: 0 stands for a plain
// start by the caller, any other value for the session to start it in. A caller in session 0 starts it in the
// active session, unless that is session 0 itself.
constexpr std::uint32_t TargetSession(std::uint32_t active, std::uint32_t own) noexcept {
    return own == active && own != 0 ? 0 : active;
}

} // namespace zelto
