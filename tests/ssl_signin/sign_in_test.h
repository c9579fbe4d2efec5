#pragma once

#include "tests/support/gateway_control.h"
#include "tests/support/import_patch.h"
#include "tests/support/library_under_test.h"
#include "tests/support/scripted_browser.h"
#include "tests/support/trace_lines.h"

#include <array>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace zelto::test {

inline constexpr wchar_t kGuardName[] = L"GetSslSamlDataExternalBrowser";

// What ShellExecuteW was given.
struct BrowserCall {
    HWND window;
    std::wstring verb;
    std::wstring url;
    bool hasParameters;
    bool hasDirectory;
    int show;
};

// Removes what earlier tests of this program have logged; to be declared before the library.
struct EmptyLog {
    EmptyLog();
};

// One sign-in through the export of the real DLL, at the simulated gateway, with a scripted browser in place
// of the default one. After each test it checks that the guard of the export is free again.
class SignInTest : public ::testing::Test {
protected:
    SignInTest();
    ~SignInTest() override;

    // Runs the export on the calling thread, with the gateway's own address unless told otherwise.
    std::uint32_t SignIn();
    std::uint32_t SignIn(const std::wstring& gateway);

    // Chooses a fresh local port and tells the gateway, with further settings as JSON members:
    // R"("fault":"reset")".
    void UsePort(const std::string& furtherSettings = {});

    // Makes the browser send this request line to the local port, on a thread of its own.
    void BrowserRequests(const std::string& requestLine);

    // Replaces one import of the library until it is unloaded.
    template <class Function>
    void Patch(const char* function, Function* replacement) {
        patches_.push_back(std::make_unique<ImportPatch>(library_.Module(), function, replacement));
    }

    // Takes all replacements away, ShellExecuteW's too.
    void TakePatchesAway() { patches_.clear(); }

    // Takes the replacements away and unloads the library, so that its log is complete, and gives its
    // records.
    std::vector<TraceLine> Records();

    // "level: text" of the same, in order.
    std::vector<std::string> Log();

    // The same, of records at level error only.
    std::vector<std::string> Errors();

    // What the caller reads in its buffer.
    std::string Id() const { return buffer_.data(); }

    EmptyLog emptyLog_;
    LibraryUnderTest library_;
    HANDLE exitEvent_; // manual-reset, not signalled
    std::uint32_t maximumTimeout_ = 60;
    std::array<char, 2048> buffer_ = {'o', 'l', 'd'};
    std::uint32_t bufferSize_ = static_cast<std::uint32_t>(buffer_.size());
    std::uint16_t ssoPort_ = 0;

    std::function<void()> browser_;         // what the browser does, on a thread of its own; null: nothing
    std::vector<BrowserCall> browserCalls_; // what the export asked for
    HINSTANCE shellResult_;                 // what ShellExecuteW answers
    std::string page_;                      // what BrowserRequests was answered

private:
    static HINSTANCE WINAPI OpenInstead(HWND window, LPCWSTR verb, LPCWSTR url, LPCWSTR parameters,
                                        LPCWSTR directory, INT show);
    void JoinBrowser();

    static SignInTest* current_;
    std::thread browserThread_;
    std::vector<std::unique_ptr<ImportPatch>> patches_;
};

// True when no sign-in holds the guard.
bool GuardIsFree();

// `lines` with the value in each "Client socket(0x…)" replaced by "#", because no test can know it.
std::vector<std::string> WithoutSocketValues(std::vector<std::string> lines);

} // namespace zelto::test
