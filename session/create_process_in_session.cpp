#include "auth/kernel_handle.h"
#include "session/session_library.h"

#include <userenv.h>
#include <wtsapi32.h>

namespace zelto {
namespace {

// A user's environment block; freed with the thread's last error kept.
class Environment {
public:
    explicit Environment(HANDLE token) noexcept {
        if (!CreateEnvironmentBlock(&block_, token, FALSE)) {
            block_ = nullptr;
        }
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;
    ~Environment() {
        if (block_ != nullptr) {
            const DWORD lastError = GetLastError();
            DestroyEnvironmentBlock(block_);
            SetLastError(lastError);
        }
    }

    void* Get() const noexcept { return block_; }

private:
    void* block_ = nullptr;
};

// What the caller asks to have started.
struct Start {
    const wchar_t* application;
    wchar_t* commandLine;
    BOOL inheritHandles;
    DWORD flags;
    const wchar_t* currentDirectory;
};

int StartAsCaller(const Start& start, PROCESS_INFORMATION& started) noexcept {
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    return CreateProcessW(start.application, start.commandLine, nullptr, nullptr, start.inheritHandles,
                          start.flags, nullptr, start.currentDirectory, &startup, &started)
               ? 0
               : ZELTO_SESSION_E_PROCESS;
}

bool StartWith(HANDLE token, const Environment& environment, const Start& start,
               PROCESS_INFORMATION& started) noexcept {
    wchar_t desktop[] = L"winsta0\\default";
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.lpDesktop = desktop;
    return CreateProcessAsUserW(token, start.application, start.commandLine, nullptr, nullptr,
                                start.inheritHandles, start.flags | CREATE_UNICODE_ENVIRONMENT,
                                environment.Get(), start.currentDirectory, &startup, &started) != FALSE;
}

int StartAsUser(DWORD sessionId, const Start& start, PROCESS_INFORMATION& started) noexcept {
    HANDLE opened = nullptr;
    if (!WTSQueryUserToken(sessionId, &opened)) {
        return ZELTO_SESSION_E_NO_USER;
    }
    const KernelHandle token(opened);
    const Environment environment(token.get());
    if (environment.Get() == nullptr) {
        return ZELTO_SESSION_E_ENVIRONMENT;
    }
    if (StartWith(token.get(), environment, start, started)) {
        return 0;
    }
    // CreateProcessAsUser's documentation asks for the caller's own session when handles are inherited.
    Start withoutHandles = start;
    withoutHandles.inheritHandles = FALSE;
    return start.inheritHandles && StartWith(token.get(), environment, withoutHandles, started)
               ? 0
               : ZELTO_SESSION_E_PROCESS;
}

bool IsOwnSession(DWORD sessionId) noexcept {
    DWORD own = 0;
    return ProcessIdToSessionId(GetCurrentProcessId(), &own) && own == sessionId;
}

// Gives out what the caller wants to have, and closes the rest.
void HandOver(const PROCESS_INFORMATION& started, DWORD* processId, HANDLE* process) noexcept {
    KernelHandle owned(started.hProcess);
    CloseHandle(started.hThread);
    if (processId != nullptr) {
        *processId = started.dwProcessId;
    }
    if (process != nullptr) {
        *process = owned.release();
    }
}

} // namespace
} // namespace zelto

int CreateProcessInSessionEx(DWORD sessionId, const wchar_t* application, wchar_t* commandLine,
                             int inheritHandles, DWORD creationFlags, const wchar_t* currentDirectory,
                             DWORD* processId, HANDLE* process) {
    if (process != nullptr) {
        *process = nullptr;
    }
    if ((application == nullptr && commandLine == nullptr) || sessionId == ZELTO_NO_SESSION) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return ZELTO_SESSION_E_ARGUMENT;
    }
    const zelto::Start start = {application, commandLine, inheritHandles != 0 ? TRUE : FALSE, creationFlags,
                                currentDirectory};
    PROCESS_INFORMATION started = {};
    const int result = zelto::IsOwnSession(sessionId) ? zelto::StartAsCaller(start, started)
                                                      : zelto::StartAsUser(sessionId, start, started);
    if (result == 0) {
        zelto::HandOver(started, processId, process);
    }
    return result;
}
