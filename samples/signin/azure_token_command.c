#include "azure_token_command.h"

#include "console.h"
#include "library.h"

#include <windows.h>

// Print takes no longer texts, and the longest of tokens are half of that.
enum { kMaxToken = 3900 };

static int PrintToken(uint32_t result, const char* token) {
    if (result != ZELTO_AUTH_S_OK) {
        Print(
            stdout,
            L"Result    0x%08X no token\n"
            L"To do     See that the client is installed, with its token program; the trace log says more.\n",
            (unsigned)result);
        return kExitNotSignedIn;
    }
    if (token[0] == '\0') {
        Print(stdout, L"Result    0x%08X an empty token, or one of more than %u characters\n",
              (unsigned)result, (unsigned)kMaxToken - 1);
        return kExitNotSignedIn;
    }
    Print(stdout, L"Token     %hs\n", token);
    return kExitSignedIn;
}

int RunAzureTokenCommand(const Options* options) {
    Library library;
    if (!LoadLibraryAndFunctions(options->library, &library)) {
        return kExitNotTried;
    }
    static char token[kMaxToken];
    const uint32_t result = library.getAzureToken(options->clientId, options->tenant, 0, token, sizeof token);
    const int exitCode = PrintToken(result, token);
    SecureZeroMemory(token, sizeof token); // whoever has it is signed in
    UnloadLibrary(&library);
    return exitCode;
}
