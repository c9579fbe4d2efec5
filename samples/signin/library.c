#include "library.h"

#include "console.h"

#include <windows.h>

#include <string.h>

enum { kMaxPath = 1024 };

static const wchar_t kLibraryName[] = L"ZeltoAuth.dll";

// Writes the full path of the DLL to load; returns 0 when it does not fit.
static int LibraryPath(const wchar_t* given, wchar_t path[kMaxPath]) {
    if (given != NULL) {
        const DWORD length = GetFullPathNameW(given, kMaxPath, path, NULL);
        return length > 0 && length < kMaxPath;
    }
    const DWORD length = GetModuleFileNameW(NULL, path, kMaxPath);
    wchar_t* const slash = length > 0 && length < kMaxPath ? wcsrchr(path, L'\\') : NULL;
    if (slash == NULL || (size_t)(slash + 1 - path) + sizeof kLibraryName / sizeof *kLibraryName > kMaxPath) {
        return 0;
    }
    memcpy(slash + 1, kLibraryName, sizeof kLibraryName);
    return 1;
}

// A function pointer of no particular type may be cast to the one that the header declares.
typedef void (*AnyFunction)(void);

static AnyFunction FindFunction(HMODULE module, const char* name) {
    const AnyFunction function = (AnyFunction)GetProcAddress(module, name);
    if (function == NULL) {
        const DWORD error = GetLastError();
        PrintError(error, L"the library has no function %hs", name);
    }
    return function;
}

// Those that start the auth module, and the one that ends it. Returns 0 when one is missing.
static int FindModuleFunctions(Library* library) {
    HMODULE const module = library->module;
    library->samlElectron = (SamlSignIn)FindFunction(module, "SamlAuthGetResponseUsingElectron");
    library->samlWebBrowser = (SamlSignIn)FindFunction(module, "SamlAuthGetResponseUsingWebBrowser");
    library->samlWebView2 = (SamlSignIn)FindFunction(module, "SamlAuthGetResponseUsingWebView2");
    library->basicSignIn = (BasicSignIn)FindFunction(module, "BasicAuthGetResponse");
    library->twoFactorSignIn = (TwoFactorSignIn)FindFunction(module, "TwoFactorAuthGetResponse");
    library->stopRunning = (StopRunning)FindFunction(module, "StopRunningZeltoAuth");
    return library->samlElectron != NULL && library->samlWebBrowser != NULL &&
           library->samlWebView2 != NULL && library->basicSignIn != NULL &&
           library->twoFactorSignIn != NULL && library->stopRunning != NULL;
}

int LoadLibraryAndFunctions(const wchar_t* path, Library* library) {
    wchar_t fullPath[kMaxPath];
    if (!LibraryPath(path, fullPath)) {
        PrintError(0, L"the library's path is too long");
        return 0;
    }
    // By its full path, and its own imports from its folder and the system's only: never from the current
    // folder.
    library->module =
        LoadLibraryExW(fullPath, NULL, LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32);
    if (library->module == NULL) {
        const DWORD error = GetLastError();
        PrintError(error, L"cannot load %ls", fullPath);
        return 0;
    }
    library->sslSignIn = (SslSignIn)FindFunction(library->module, "GetSslSamlDataExternalBrowser");
    library->ipsecSignIn = (IpsecSignIn)FindFunction(library->module, "GetIpsecSamlDataExternalBrowser");
    library->sessionSignIn =
        (SessionSignIn)FindFunction(library->module, "SamlAuthGetResponseUsingExternalBrowser");
    library->clearCookies = (ClearFunction)FindFunction(library->module, "ClearCookies");
    library->clearBrowserData = (ClearFunction)FindFunction(library->module, "SamlAuthClearCookies");
    library->getAzureToken = (GetAzureToken)FindFunction(library->module, "SamlAuthGetAzureToken");
    if (library->sslSignIn == NULL || library->ipsecSignIn == NULL || library->sessionSignIn == NULL ||
        library->clearCookies == NULL || library->clearBrowserData == NULL ||
        library->getAzureToken == NULL || !FindModuleFunctions(library)) {
        UnloadLibrary(library);
        return 0;
    }
    Print(stdout, L"Library   %ls\n", fullPath);
    return 1;
}

void UnloadLibrary(Library* library) {
    FreeLibrary(library->module);
    library->module = NULL;
}
