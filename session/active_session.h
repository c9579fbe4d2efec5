#pragma once

#include <cstdint>
#include <vector>

namespace zelto {

struct Session {
    std::uint32_t id;
    bool active; // a user is signed in, and connected
};

inline constexpr std::uint32_t kNoSession = 0xFFFFFFFF;

// The active user session out of the machine's sessions, or kNoSession. `console` is the session at the
// console (kNoSession while none is attached): it comes first when it is active. Without a list (a system that
// keeps none, or keeps it from the caller) it is all there is to go by.
std::uint32_t ChooseActiveSession(const std::vector<Session>& sessions, std::uint32_t console) noexcept;

} // namespace zelto
