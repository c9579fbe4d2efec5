#include "tests/support/library_under_test.h"

#include <shlobj.h>
#include <stdexcept>
#include <string>

namespace zelto::test {
namespace {

std::filesystem::path ProgramPath() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return path;
}

std::filesystem::path TraceFolder() {
    wchar_t folder[MAX_PATH] = {};
    SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, 0, folder);
    return std::filesystem::path(folder) / L"ZeltoClient" / L"logs" / L"trace";
}

template <class Function>
Function Export(HMODULE module, const char* name) {
    const FARPROC address = GetProcAddress(module, name);
    if (address == nullptr) {
        throw std::runtime_error(std::string("ZeltoAuth.dll does not export ") + name);
    }
    return reinterpret_cast<Function>(reinterpret_cast<void*>(address));
}

} // namespace

EmptyLog::EmptyLog() {
    std::error_code ignored; // where the module of an earlier test still lives
    std::filesystem::remove(LibraryUnderTest::TraceLogPath(), ignored);
    std::filesystem::remove(LibraryUnderTest::ErrorCopyPath(), ignored);
}

HMODULE LoadBuiltLibrary(const std::filesystem::path& library) {
    return LoadLibraryExW(library.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

LibraryUnderTest::LibraryUnderTest(const std::filesystem::path& library)
    : module_(LoadBuiltLibrary(library)) {
    if (module_ == nullptr) {
        throw std::runtime_error("cannot load " + library.string() + ", error " +
                                 std::to_string(GetLastError()));
    }
#define ZELTO_FIND_EXPORT(name) name = Export<decltype(name)>(module_, #name)
    ZELTO_FIND_EXPORT(BasicAuthGetResponse);
    ZELTO_FIND_EXPORT(ClearCookies);
    ZELTO_FIND_EXPORT(GetIpsecSamlDataExternalBrowser);
    ZELTO_FIND_EXPORT(GetSslSamlDataExternalBrowser);
    ZELTO_FIND_EXPORT(SamlAuthClearCookies);
    ZELTO_FIND_EXPORT(SamlAuthGetAzureToken);
    ZELTO_FIND_EXPORT(SamlAuthGetResponseUsingElectron);
    ZELTO_FIND_EXPORT(SamlAuthGetResponseUsingExternalBrowser);
    ZELTO_FIND_EXPORT(SamlAuthGetResponseUsingWebBrowser);
    ZELTO_FIND_EXPORT(SamlAuthGetResponseUsingWebView2);
    ZELTO_FIND_EXPORT(SamlGetResponseUsingExternalAuthProvider);
    ZELTO_FIND_EXPORT(StopRunningZeltoAuth);
    ZELTO_FIND_EXPORT(TwoFactorAuthGetResponse);
#undef ZELTO_FIND_EXPORT
}

LibraryUnderTest::~LibraryUnderTest() {
    Unload();
}

void LibraryUnderTest::Unload() {
    if (module_ != nullptr) {
        FreeLibrary(module_);
        module_ = nullptr;
    }
}

std::filesystem::path LibraryUnderTest::LibraryPath() {
    return (ProgramPath().parent_path().parent_path() / L"bin" / L"ZeltoAuth.dll").make_preferred();
}

std::filesystem::path LibraryUnderTest::TraceLogPath() {
    return TraceFolder() / (ProgramPath().filename().wstring() + L"_ZeltoAuth.log");
}

std::filesystem::path LibraryUnderTest::ErrorCopyPath() {
    return TraceFolder() / (ProgramPath().filename().wstring() + L"_ZeltoAuth_error.log");
}

bool LibraryIsLoaded() {
    return GetModuleHandleW(L"ZeltoAuth.dll") != nullptr;
}

} // namespace zelto::test
