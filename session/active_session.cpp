#include "session/active_session.h"

namespace zelto {

std::uint32_t ChooseActiveSession(const std::vector<Session>& sessions, std::uint32_t console) noexcept {
    if (sessions.empty()) {
        return console;
    }
    std::uint32_t chosen = kNoSession;
    for (const Session& session : sessions) {
        if (session.active && (chosen == kNoSession || session.id == console)) {
            chosen = session.id;
        }
    }
    return chosen;
}

} // namespace zelto
