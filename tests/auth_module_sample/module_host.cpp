// What the library does around an auth module, without the library:
//
//   module_host.exe MODULE COMMAND_LINE_FILE BLOCK_FILE
//
// makes the block, starts MODULE with the command line in the file (UTF-8; @RECEIVER@ in it stands for the
// value of the block's handle), waits for its end, puts the block's bytes into BLOCK_FILE and prints two
// lines, "receiver" and "exit" with a number each.
//
//   module_host.exe --add-certificate FILE
//
// puts a certificate (DER) into the user's personal store.
//
// Exit code: 0 done, 1 something failed.

#include <cstdio>
#include <string>
#include <windows.h>

#include <shellapi.h>
#include <wincrypt.h>

namespace {

constexpr std::size_t kBlockSize = 65536;

bool ReadWhole(const wchar_t* path, std::string& bytes) {
    std::FILE* const file = _wfopen(path, L"rb");
    if (file == nullptr) {
        return false;
    }
    char buffer[4096];
    std::size_t read = 0;
    while ((read = std::fread(buffer, 1, sizeof(buffer), file)) > 0) {
        bytes.append(buffer, read);
    }
    std::fclose(file);
    return true;
}

bool WriteWhole(const wchar_t* path, const void* bytes, std::size_t size) {
    std::FILE* const file = _wfopen(path, L"wb");
    if (file == nullptr) {
        return false;
    }
    const bool written = std::fwrite(bytes, 1, size, file) == size;
    return std::fclose(file) == 0 && written;
}

std::wstring Widen(const std::string& utf8) {
    const int size = static_cast<int>(utf8.size());
    std::wstring text(
        static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0)), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, text.data(), static_cast<int>(text.size()));
    return text;
}

bool RunModule(const wchar_t* module, std::wstring commandLine, DWORD& exitCode) {
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(module, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                        &process)) {
        return false;
    }
    WaitForSingleObject(process.hProcess, INFINITE);
    GetExitCodeProcess(process.hProcess, &exitCode);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return true;
}

int HostModule(const wchar_t* module, const wchar_t* commandLineFile, const wchar_t* blockFile) {
    SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
    const HANDLE block =
        CreateFileMappingW(INVALID_HANDLE_VALUE, &inheritable, PAGE_READWRITE, 0, kBlockSize, nullptr);
    const void* const view =
        block == nullptr ? nullptr : MapViewOfFile(block, FILE_MAP_READ, 0, 0, kBlockSize);
    std::string text;
    if (view == nullptr || !ReadWhole(commandLineFile, text)) {
        return 1;
    }
    std::wstring commandLine = Widen(text);
    const std::wstring mark = L"@RECEIVER@";
    const auto receiver = static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(block));
    if (const std::size_t at = commandLine.find(mark); at != std::wstring::npos) {
        commandLine.replace(at, mark.size(), std::to_wstring(receiver));
    }
    DWORD exitCode = 0;
    if (!RunModule(module, commandLine, exitCode) || !WriteWhole(blockFile, view, kBlockSize)) {
        return 1;
    }
    std::printf("receiver %llu\nexit %lu\n", receiver, exitCode);
    return 0;
}

int AddCertificate(const wchar_t* path) {
    std::string der;
    const HCERTSTORE store = CertOpenSystemStoreW(0, L"MY");
    const bool added = store != nullptr && ReadWhole(path, der) &&
                       CertAddEncodedCertificateToStore(
                           store, X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(der.data()),
                           static_cast<DWORD>(der.size()), CERT_STORE_ADD_REPLACE_EXISTING, nullptr);
    return added && CertCloseStore(store, 0) ? 0 : 1;
}

} // namespace

int main() {
    int count = 0;
    wchar_t** const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    if (count == 3 && std::wstring(arguments[1]) == L"--add-certificate") {
        return AddCertificate(arguments[2]);
    }
    return count == 4 ? HostModule(arguments[1], arguments[2], arguments[3]) : 1;
}
