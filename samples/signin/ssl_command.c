#include "ssl_command.h"

#include "console.h"
#include "library.h"
#include "result_print.h"

#include <windows.h>

// The library reads at most this much of the browser's request, so every id fits.
enum { kMaxId = 1024 };

int RunSslCommand(const Options* options) {
    void* const cancel = CancelEventForCtrlC();
    if (cancel == NULL) {
        const DWORD error = GetLastError();
        PrintError(error, L"cannot create an event");
        return kExitNotTried;
    }
    Library library;
    if (!LoadLibraryAndFunctions(options->library, &library)) {
        return kExitNotTried;
    }
    Print(stdout, L"Gateway   %ls\n", options->gateway);
    Print(stdout, L"Waiting   for the sign-in in your browser, %u s at most (Ctrl+C cancels)\n",
          (unsigned)options->timeoutSeconds);

    char id[kMaxId] = "";
    const uint32_t result = library.sslSignIn(options->gateway, options->timeoutSeconds, id, kMaxId, cancel);
    const int exitCode = PrintResult(result);
    if (exitCode == kExitSignedIn) {
        Print(stdout, L"Id        %hs\n", id);
    }
    SecureZeroMemory(id, sizeof id); // whoever has it is signed in
    UnloadLibrary(&library);
    return exitCode;
}
