#pragma once

#include "tests/support/import_patch.h"
#include "tests/support/library_under_test.h"
#include "tests/support/temp_folder.h"

#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>
#include <windows.h>

namespace zelto::test {

inline constexpr std::uint32_t kTokenFailed = 0xA7000000;
inline constexpr char kOldText[] = "old";

// The folder of the client that is installed while these tests run. Its token program is the double.
const std::filesystem::path& ClientFolder();

// For "MsiEnumRelatedProductsW": no product has the upgrade code.
inline UINT WINAPI FindNoProduct(LPCWSTR, DWORD, DWORD, LPWSTR) {
    return ERROR_NO_MORE_ITEMS;
}

// For "CreateProcessW": nothing can be started.
inline BOOL WINAPI RefuseProcess(LPCWSTR, LPWSTR, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL, DWORD,
                                 LPVOID, LPCWSTR, STARTUPINFOW*, PROCESS_INFORMATION*) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

// Removes what earlier tests of this program have logged; to be declared before the library.
struct EmptyTokenLog {
    EmptyTokenLog();
};

// SamlAuthGetAzureToken through the real DLL, with the client installed that ClientFolder names.
class TokenTest : public ::testing::Test {
protected:
    TokenTest();
    ~TokenTest() override;

    // Tells the double what to do (see token_double.cpp).
    void Behave(const wchar_t* behaviour, const std::wstring& text = L"");

    // Runs the export.
    std::uint32_t Fetch(const wchar_t* clientId = L"client", const wchar_t* tenantName = L"tenant");

    // What the caller finds in its buffer.
    std::string Token() const { return buffer_.data(); }

    // Has the double write this, and expects the token.
    void ExpectToken(const std::wstring& output, const std::string& token);

    // Expects a failure that leaves the buffer alone.
    void ExpectFailure();

    // What the double has recorded, by name.
    std::string Record(const wchar_t* name) const;
    std::wstring WideRecord(const wchar_t* name) const;

    // Replaces one import of the library until the test ends or the log is read.
    template <class Function>
    void Patch(const char* function, Function* replacement) {
        patches_.push_back(std::make_unique<ImportPatch>(library_.Module(), function, replacement));
    }
    void TakePatchesAway() { patches_.clear(); }

    // Unloads the library and gives "level: text" of its records, in order.
    std::vector<std::string> Log();

    // The record of the command line that Fetch makes the library run, as Log gives it.
    static std::string CommandRecord();

    EmptyTokenLog emptyLog_;
    TempFolder record_;
    LibraryUnderTest library_;
    std::vector<char> buffer_;
    std::uint32_t bufferSize_;

private:
    std::vector<std::unique_ptr<ImportPatch>> patches_;
};

} // namespace zelto::test
