#include "clear_commands.h"

#include "console.h"
#include "library.h"

int RunClearCookiesCommand(const Options* options) {
    Library library;
    if (!LoadLibraryAndFunctions(options->library, &library)) {
        return kExitNotTried;
    }
    const uint32_t result = library.clearCookies();
    UnloadLibrary(&library);
    if (result != 0) {
        Print(stdout, L"Cookies   at least one could not be deleted\n"
                      L"To do     End the programs that use it, then try again.\n");
        return kExitNotSignedIn;
    }
    Print(stdout, L"Cookies   deleted\n");
    return kExitSignedIn;
}

int RunClearBrowserDataCommand(const Options* options) {
    Library library;
    if (!LoadLibraryAndFunctions(options->library, &library)) {
        return kExitNotTried;
    }
    Print(stdout, L"Waiting   about 15 s\n");
    library.clearBrowserData(); // answers 0 whatever happens
    UnloadLibrary(&library);
    Print(stdout, L"Data      deleted, as far as no other program uses it\n");
    return kExitSignedIn;
}
