#include "ipsec_command.h"

#include "console.h"
#include "host_and_port.h"
#include "library.h"
#include "result_print.h"

#include <windows.h>

// The library reads at most this much of the browser's request, so every value fits.
enum { kMaxValue = 1024 };

int RunIpsecCommand(const Options* options) {
    wchar_t host[kMaxHost];
    uint32_t port;
    if (!ReadHostAndPort(options->gateway, host, &port)) {
        return kExitNotTried;
    }
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
    Print(stdout, L"Gateway   %ls, port %u\n", host, port != 0 ? (unsigned)port : 443u);
    Print(stdout, L"User id   %ls\n", options->userId);
    Print(stdout, L"Waiting   for the sign-in in your browser, %u s at most (Ctrl+C cancels)\n",
          (unsigned)options->timeoutSeconds);

    wchar_t token[kMaxValue] = L"";
    wchar_t userName[kMaxValue] = L"";
    const uint32_t result = library.ipsecSignIn(host, port, options->userId, options->timeoutSeconds * 1000,
                                                token, kMaxValue, userName, kMaxValue, cancel);
    const int exitCode = PrintResult(result);
    if (exitCode == kExitSignedIn) {
        Print(stdout, L"Id        %ls\nUser      %ls\n", token, userName);
    }
    SecureZeroMemory(token, sizeof token); // whoever has it is signed in
    SecureZeroMemory(userName, sizeof userName);
    UnloadLibrary(&library);
    return exitCode;
}
