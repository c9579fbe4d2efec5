#include "module_command.h"

#include "console.h"
#include "library.h"
#include "result_print.h"

#include <windows.h>

#include <string.h>

enum { kMaxResponse = 65536, kMaxText = 256 };

// A call into the library that starts the auth module. It prints what a successful one gave.
typedef uint32_t (*ModuleCall)(const Library* library, const Options* options);

// What Ctrl+C is to stop, and the event that it signals.
typedef struct {
    const Library* library;
    HANDLE cancel;
} Cancelling;

// Each time that the user presses Ctrl+C: one that comes before the module is started is forgotten, and only a later
// one then ends it. On the thread of the system's pool that waits for the event, which is reset first: so this runs
// once for each signal, and none is missed.
static VOID CALLBACK StopModule(PVOID context, BOOLEAN timedOut) {
    const Cancelling* const cancelling = context;
    (void)timedOut;
    ResetEvent(cancelling->cancel);
    cancelling->library->stopRunning();
    Print(stdout, L"Stopping  the auth module\n");
}

static int RunModuleCommand(const Options* options, ModuleCall call) {
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
    Print(stdout, L"Waiting   for the auth module's window, %u s at most (Ctrl+C cancels)\n",
          (unsigned)options->timeoutSeconds);
    HANDLE wait = NULL;
    Cancelling cancelling = {&library, cancel};
    RegisterWaitForSingleObject(&wait, cancel, StopModule, &cancelling, INFINITE, WT_EXECUTEINWAITTHREAD);
    const uint32_t result = call(&library, options);
    if (wait != NULL) {
        UnregisterWaitEx(wait, INVALID_HANDLE_VALUE);
    }
    const int exitCode = PrintResult(result);
    UnloadLibrary(&library);
    return exitCode;
}

static uint32_t CallSaml(SamlSignIn signIn, const Options* options) {
    static char response[kMaxResponse];
    char serverIp[kMaxText] = "";
    const uint32_t result =
        signIn(options->gateway, L"Sign in", L"vpn", L"ZeltoSignIn", 1, options->timeoutSeconds * 1000, 0,
               response, sizeof response, serverIp, sizeof serverIp, 0);
    if (result == ZELTO_AUTH_S_OK) {
        Print(stdout, L"Response  ");
        fputs(response, stdout); // in whole, whatever its length
        Print(stdout, L"\nServer    %hs\n", serverIp);
    }
    SecureZeroMemory(response, sizeof response); // whoever has it is signed in
    return result;
}

static uint32_t CallElectron(const Library* library, const Options* options) {
    return CallSaml(library->samlElectron, options);
}

static uint32_t CallWebBrowser(const Library* library, const Options* options) {
    return CallSaml(library->samlWebBrowser, options);
}

static uint32_t CallWebView2(const Library* library, const Options* options) {
    return CallSaml(library->samlWebView2, options);
}

static uint32_t CallPassword(const Library* library, const Options* options) {
    char userName[kMaxText] = "";
    char password[kMaxText] = "";
    const uint32_t result = library->basicSignIn(userName, sizeof userName, password, sizeof password, NULL,
                                                 0, options->gateway, options->timeoutSeconds * 1000);
    if (result == ZELTO_AUTH_S_OK) {
        Print(stdout, L"User      %hs\nPassword  %u characters\n", userName, (unsigned)strlen(password));
    }
    SecureZeroMemory(password, sizeof password);
    return result;
}

static uint32_t CallToken(const Library* library, const Options* options) {
    char description[kMaxText] = "";
    char token[kMaxText] = "";
    WideCharToMultiByte(CP_ACP, 0, options->gateway, -1, description, kMaxText - 1, NULL, NULL);
    const uint32_t result = library->twoFactorSignIn(description, token, sizeof token,
                                                     options->timeoutSeconds * 1000, NULL, NULL);
    if (result == ZELTO_AUTH_S_OK) {
        Print(stdout, L"Token     %hs\n", token);
    }
    SecureZeroMemory(token, sizeof token);
    return result;
}

int RunElectronCommand(const Options* options) {
    return RunModuleCommand(options, CallElectron);
}

int RunWebBrowserCommand(const Options* options) {
    return RunModuleCommand(options, CallWebBrowser);
}

int RunWebView2Command(const Options* options) {
    return RunModuleCommand(options, CallWebView2);
}

int RunPasswordCommand(const Options* options) {
    return RunModuleCommand(options, CallPassword);
}

int RunTokenCommand(const Options* options) {
    return RunModuleCommand(options, CallToken);
}
