#pragma once

#include "tests/support/import_patch.h"
#include "tests/support/library_under_test.h"
#include "tests/support/temp_folder.h"

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace zelto::test {

// SamlAuthClearCookies through the real DLL. "%localappdata%" is a folder of the test's own; the pauses
// between the attempts are recorded and take no time.
class ClearingTest : public ::testing::Test {
protected:
    ClearingTest();
    ~ClearingTest() override;

    // Replaces one import of the library until the test ends.
    template <class Function>
    void Patch(const char* function, Function* replacement) {
        patches_.push_back(std::make_unique<ImportPatch>(library_.Module(), function, replacement));
    }

    // Sets "%localappdata%" of this process.
    static void SetLocalAppData(const std::filesystem::path& folder);

    // Runs the export and expects what it always returns.
    void Clear();

    // Takes the replacements away and unloads the library, so that its log is complete.
    void Unload();

    // The folder as the library names it, without the backslash at its end.
    std::filesystem::path Folder() const;
    // The one beside this program, where a service has it.
    static std::filesystem::path ServicesFolder();

    // Makes the process run in session 0, as far as the library can see.
    void RunInSessionZero();

    TempFolder localAppData_;
    EmptyLog emptyLog_;
    LibraryUnderTest library_;
    std::vector<DWORD> pauses_;            // milliseconds each
    std::function<void(int)> duringPause_; // called with the pause's number, from 1 on

private:
    static void WINAPI RecordPause(DWORD milliseconds);

    static ClearingTest* current_;
    const DWORD caller_ = GetCurrentThreadId();
    std::wstring formerLocalAppData_;
    std::vector<std::unique_ptr<ImportPatch>> patches_;
};

// Makes the file with all folders above it.
void MakeFile(const std::filesystem::path& file);

// The pauses of a call that made all of its 15 attempts.
std::vector<DWORD> AllPauses();

} // namespace zelto::test
