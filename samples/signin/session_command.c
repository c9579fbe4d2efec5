#include "session_command.h"

#include "console.h"
#include "library.h"
#include "result_print.h"

#include <windows.h>

// The library reads at most this much of the browser's request, so every id fits.
enum { kMaxId = 1024 };

int RunSessionCommand(const Options* options) {
    Library library;
    if (!LoadLibraryAndFunctions(options->library, &library)) {
        return kExitNotTried;
    }
    Print(stdout, L"Page      %ls\n", options->gateway);
    Print(stdout, L"Waiting   for the sign-in in the browser of the user at the console, without end\n");

    char id[kMaxId] = "";
    const uint32_t result = library.sessionSignIn(options->gateway, 0, id, kMaxId);
    const int exitCode = PrintResult(result);
    if (exitCode == kExitSignedIn) {
        Print(stdout, L"Id        %hs\n", id);
    }
    SecureZeroMemory(id, sizeof id); // whoever has it is signed in
    UnloadLibrary(&library);
    return exitCode;
}
