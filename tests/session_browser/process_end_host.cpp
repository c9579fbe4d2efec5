// A host whose sign-in ends the process: "no_session" has no active user session, "no_process" a session in
// which no program can be started. Ends with 77 when the call returns or throws after all.

#include "tests/support/import_patch.h"
#include "tests/support/library_under_test.h"

#include <cstring>

namespace {

bool activeSession;

DWORD Select() {
    return activeSession ? 7 : 0xFFFFFFFF;
}

HANDLE guard = nullptr;

HANDLE WINAPI CreateAndKeep(LPSECURITY_ATTRIBUTES security, BOOL owner, LPCSTR name) {
    guard = CreateMutexA(security, owner, name);
    return guard;
}

// Tells the test when the guard is closed before the process ends.
BOOL WINAPI CloseAndTell(HANDLE handle) {
    if (handle == guard) {
        const HANDLE closed = OpenEventW(EVENT_MODIFY_STATE, FALSE, L"zelto test guard closed");
        SetEvent(closed);
    }
    return CloseHandle(handle);
}

int CreateFails(DWORD, const wchar_t*, wchar_t*, int, DWORD, const wchar_t*, DWORD*, HANDLE*) {
    return -4;
}

} // namespace

int main(int count, char** arguments) {
    using namespace zelto::test;
    activeSession = count == 2 && std::strcmp(arguments[1], "no_process") == 0;
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    LibraryUnderTest library;
    const ImportPatch select(library.Module(), "SelectCurrentActiveTSSession", &Select);
    const ImportPatch create(library.Module(), "CreateProcessInSessionEx", &CreateFails);
    const ImportPatch mutex(library.Module(), "CreateMutexA", &CreateAndKeep);
    const ImportPatch close(library.Module(), "CloseHandle", &CloseAndTell);
    char buffer[16] = "";
    try {
        library.SamlAuthGetResponseUsingExternalBrowser(L"https://gw/start?x=y", 0, buffer, sizeof(buffer));
    } catch (...) {
    }
    TerminateProcess(GetCurrentProcess(), 77);
    return 77;
}
