#pragma once

#include "zelto_auth.h"

#include <filesystem>
#include <windows.h>

namespace zelto::test {

// The real DLL, loaded from ../bin beside the folder of the test program, or a copy of it elsewhere, with its exports by type. Each
// export is looked up when the library is loaded; a missing one throws std::runtime_error.
class LibraryUnderTest {
public:
    explicit LibraryUnderTest(const std::filesystem::path& library = LibraryPath());
    LibraryUnderTest(const LibraryUnderTest&) = delete;
    LibraryUnderTest& operator=(const LibraryUnderTest&) = delete;
    ~LibraryUnderTest();

    // Unloads the library: afterwards the trace log is complete on disk. Further calls do nothing.
    void Unload();

    HMODULE Module() const { return module_; }

    // Where the library of this process writes its main trace log and the error copy.
    static std::filesystem::path TraceLogPath();
    static std::filesystem::path ErrorCopyPath();

    // The built DLL's own path.
    static std::filesystem::path LibraryPath();

    decltype(&::BasicAuthGetResponse) BasicAuthGetResponse;
    decltype(&::GetIpsecSamlDataExternalBrowser) GetIpsecSamlDataExternalBrowser;
    decltype(&::GetSslSamlDataExternalBrowser) GetSslSamlDataExternalBrowser;
    decltype(&::ClearCookies) ClearCookies;
    decltype(&::SamlAuthClearCookies) SamlAuthClearCookies;
    decltype(&::SamlAuthGetAzureToken) SamlAuthGetAzureToken;
    decltype(&::SamlAuthGetResponseUsingElectron) SamlAuthGetResponseUsingElectron;
    decltype(&::SamlAuthGetResponseUsingExternalBrowser) SamlAuthGetResponseUsingExternalBrowser;
    decltype(&::SamlAuthGetResponseUsingWebBrowser) SamlAuthGetResponseUsingWebBrowser;
    decltype(&::SamlAuthGetResponseUsingWebView2) SamlAuthGetResponseUsingWebView2;
    decltype(&::SamlGetResponseUsingExternalAuthProvider) SamlGetResponseUsingExternalAuthProvider;
    decltype(&::StopRunningZeltoAuth) StopRunningZeltoAuth;
    decltype(&::TwoFactorAuthGetResponse) TwoFactorAuthGetResponse;

private:
    HMODULE module_;
};

// Removes what earlier tests of this program have logged; to be declared before the library. (Once it is loaded, its own
// thread may open the log at any time.)
struct EmptyLog {
    EmptyLog();
};

// Loads a built DLL by its full path, and what it imports from its own folder. Null on failure.
HMODULE LoadBuiltLibrary(const std::filesystem::path& library);

// True while a module named ZeltoAuth.dll is mapped in this process.
bool LibraryIsLoaded();

} // namespace zelto::test
