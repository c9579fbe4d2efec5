// A host process that loads the library and then ends in the way that its second argument names:
//   trace_host LIBRARY return       main returns
//   trace_host LIBRARY exit         ExitProcess on another thread than main's
//   trace_host LIBRARY unload       FreeLibrary, then main returns
//   trace_host LIBRARY logging      main returns while eight threads are writing records
//   trace_host LIBRARY holding      main returns while a thread that holds the trace lock is writing to a
//   file
// The exit code is 7 when everything went as it should.

#include "tests/support/import_patch.h"
#include "zelto_auth.h"

#include <cstdio>
#include <cstring>
#include <thread>
#include <windows.h>

namespace {

constexpr int kExitCode = 7;
constexpr int kLoggers = 8;

using SignIn = decltype(&GetSslSamlDataExternalBrowser);

// One error record: the sign-in is turned away at once, as this process holds its mutex.
void LogRecord(SignIn signIn, HANDLE event) {
    char answer[16];
    signIn(L"gateway.invalid", 1, answer, sizeof(answer), event);
}

void EndWhileLogging(SignIn signIn, HANDLE event) {
    const HANDLE logging = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    for (int i = 0; i < kLoggers; ++i) {
        std::thread([=] {
            for (;;) {
                LogRecord(signIn, event);
                SetEvent(logging);
            }
        }).detach();
    }
    WaitForSingleObject(logging, INFINITE);
}

// A write to disk that never ends.
HANDLE writing;
int WriteForEver(std::FILE*) {
    SetEvent(writing);
    Sleep(INFINITE);
    return 0;
}

void EndWhileHoldingTheLock(HMODULE library, SignIn signIn, HANDLE event) {
    writing = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    static const zelto::test::ImportPatch patch(library, "fflush", &WriteForEver);
    std::thread(LogRecord, signIn, event).detach();
    WaitForSingleObject(writing, INFINITE);
}

void EndOnAnotherThread() {
    std::thread([] { ExitProcess(kExitCode); }).detach();
    Sleep(INFINITE);
}

} // namespace

int main(int count, char** arguments) {
    if (count != 3) {
        return 1;
    }
    const HMODULE library = LoadLibraryExA(arguments[1], nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (library == nullptr) {
        return 2;
    }
    const auto signIn = reinterpret_cast<SignIn>(
        reinterpret_cast<void*>(GetProcAddress(library, "GetSslSamlDataExternalBrowser")));
    const HANDLE mutex = CreateMutexW(nullptr, FALSE, L"GetSslSamlDataExternalBrowser");
    const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (signIn == nullptr || mutex == nullptr || event == nullptr) {
        return 3;
    }
    LogRecord(signIn, event);

    const char* way = arguments[2];
    if (std::strcmp(way, "exit") == 0) {
        EndOnAnotherThread();
    } else if (std::strcmp(way, "unload") == 0) {
        FreeLibrary(library);
    } else if (std::strcmp(way, "logging") == 0) {
        EndWhileLogging(signIn, event);
    } else if (std::strcmp(way, "holding") == 0) {
        EndWhileHoldingTheLock(library, signIn, event);
    }
    return kExitCode;
}
