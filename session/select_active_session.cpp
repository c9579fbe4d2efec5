#include "session/active_session.h"
#include "session/session_library.h"

#include <new>
#include <wtsapi32.h>

namespace zelto {
namespace {

std::vector<Session> ListSessions() {
    WTS_SESSION_INFOW* list = nullptr;
    DWORD count = 0;
    if (!WTSEnumerateSessionsW(WTS_CURRENT_SERVER_HANDLE, 0, 1, &list, &count)) {
        return {};
    }
    std::vector<Session> sessions;
    try {
        for (DWORD i = 0; i < count; ++i) {
            sessions.push_back({list[i].SessionId, list[i].State == WTSActive});
        }
    } catch (const std::bad_alloc&) {
        sessions.clear();
    }
    WTSFreeMemory(list);
    return sessions;
}

} // namespace
} // namespace zelto

DWORD SelectCurrentActiveTSSession(void) {
    return zelto::ChooseActiveSession(zelto::ListSessions(), WTSGetActiveConsoleSessionId());
}
