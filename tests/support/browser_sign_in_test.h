#pragma once

#include "tests/support/gateway_control.h"
#include "tests/support/import_patch.h"
#include "tests/support/library_under_test.h"
#include "tests/support/scripted_browser.h"
#include "tests/support/trace_lines.h"

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace zelto::test {

// What ShellExecuteW was given.
struct BrowserCall {
    HWND window;
    std::wstring verb;
    std::wstring url;
    bool hasParameters;
    bool hasDirectory;
    int show;
};

// What the tests of every sign-in in the browser share: the real DLL, the simulated gateway at its defaults, a
// scripted browser in place of the default one, and the trace log. After each test it checks that the guard of the
// export is free again.
class BrowserSignInTest : public ::testing::Test {
protected:
    explicit BrowserSignInTest(std::wstring guardName);
    ~BrowserSignInTest() override;

    // Replaces one import of the library until it is unloaded.
    template <class Function>
    void Patch(const char* function, Function* replacement) {
        patches_.push_back(std::make_unique<ImportPatch>(library_.Module(), function, replacement));
    }

    // Takes all replacements away, ShellExecuteW's too.
    void TakePatchesAway() { patches_.clear(); }

    // Unloads the library and waits until its last thread has left it.
    void UnloadAndWait();

    // Takes the replacements away and unloads the library, so that its log is complete, and gives its
    // records.
    std::vector<TraceLine> Records();

    // "level: text" of the same, in order.
    std::vector<std::string> Log();

    // The same, of records at level error only.
    std::vector<std::string> Errors();

    // Checks the whole log: the lines of the calling thread and those of all other threads, a thread's own in
    // order. (The threads write at the same time: only the order within each of them is certain.)
    void ExpectLogOfThreads(const std::vector<std::string>& caller,
                            std::vector<std::vector<std::string>> others);

    // What the browser does, on a thread of its own, as soon as somebody opens it.
    void StartBrowser();
    void JoinBrowser();

    EmptyLog emptyLog_;
    LibraryUnderTest library_;
    HANDLE exitEvent_; // manual-reset, not signalled

    std::function<void()> browser_;         // null: nothing
    std::vector<BrowserCall> browserCalls_; // what the export asked for
    HINSTANCE shellResult_;                 // what ShellExecuteW answers
    std::string page_;                      // what the browser was answered

private:
    static HINSTANCE WINAPI OpenInstead(HWND window, LPCWSTR verb, LPCWSTR url, LPCWSTR parameters,
                                        LPCWSTR directory, INT show);

    static BrowserSignInTest* current_;
    const std::wstring guardName_;
    std::thread browserThread_;
    std::vector<std::unique_ptr<ImportPatch>> patches_;
};

// True when no sign-in holds the guard of that name.
bool GuardIsFree(const std::wstring& name);

// `lines` with the value in each "socket(0x…)" replaced by "#", because no test can know it.
std::vector<std::string> WithoutSocketValues(std::vector<std::string> lines);

// As %x of the library's trace writes a handle.
std::string Hexadecimal(HANDLE handle);

} // namespace zelto::test
