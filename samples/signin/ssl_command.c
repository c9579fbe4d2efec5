#include "ssl_command.h"

#include "console.h"
#include "library.h"
#include "result_text.h"

#include <windows.h>

// The library reads at most this much of the browser's request, so every id fits.
enum { kMaxId = 1024 };

static void PrintResult(uint32_t result, const char* id) {
    const ResultText* const text = DescribeResult(result);
    Print(stdout, L"Result    0x%08X %ls\n          %ls\n", (unsigned)result, text->name, text->meaning);
    if (result == ZELTO_AUTH_S_OK) {
        Print(stdout, L"Id        %hs\n", id);
    } else {
        Print(stdout, L"To do     %ls\n", text->advice);
    }
}

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
    PrintResult(result, id);
    SecureZeroMemory(id, sizeof id); // whoever has it is signed in
    UnloadLibrary(&library);
    return result == ZELTO_AUTH_S_OK ? kExitSignedIn : kExitNotSignedIn;
}
