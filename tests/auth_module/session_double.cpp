// A double of the session utility library that holds a launch up: makes the file "choosing" in the folder named by
// ZELTO_AUTH_MODULE_DOUBLE and waits there for the file "go on". Every program is started by the library itself.

#include "session/session_library.h"

#include <string>

namespace {

std::wstring FilePath(const wchar_t* name) {
    wchar_t folder[MAX_PATH] = {};
    GetEnvironmentVariableW(L"ZELTO_AUTH_MODULE_DOUBLE", folder, MAX_PATH);
    return std::wstring(folder) + L"\\" + name;
}

bool Exists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

} // namespace

DWORD SelectCurrentActiveTSSession(void) {
    CloseHandle(
        CreateFileW(FilePath(L"choosing").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    while (!Exists(FilePath(L"go on"))) {
        Sleep(20); // the test is no program of Windows
    }
    DWORD own = 0;
    ProcessIdToSessionId(GetCurrentProcessId(), &own);
    return own;
}

int CreateProcessInSessionEx(DWORD, const wchar_t*, wchar_t*, int, DWORD, const wchar_t*, DWORD*, HANDLE*) {
    return ZELTO_SESSION_E_ARGUMENT;
}
