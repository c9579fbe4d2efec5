#pragma once

#include "auth/kernel_handle.h"
#include "tests/support/import_patch.h"
#include "tests/support/library_under_test.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trace_lines.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace zelto::test {

inline constexpr std::uint32_t kOk = 0;
inline constexpr std::uint32_t kLaunchFailed = 0xA7000001;
inline constexpr std::uint32_t kInvalidParameter = 0xA7000002;
inline constexpr std::uint32_t kSharedMemory = 0xA7000004;
inline constexpr std::uint32_t kBusy = 0xA7000005;
inline constexpr std::uint32_t kCancelled = 0xA7000007;

// What the double of the auth module has written down about its last start.
struct ModuleRecord {
    std::wstring program;     // its own executable
    std::wstring commandLine; // unchanged
    std::wstring directory;   // its current directory
    std::string receiver;     // the digits of "--receiver="
    std::size_t blockSize = 0;
    bool blockIsZero = false; // all of it, when the module began
    DWORD process = 0;        // process id
};

// Calls through the exports of the real DLL, which lies in a folder with doubles of the auth module (see
// module_double.cpp).
class AuthModuleTest : public ::testing::Test {
protected:
    AuthModuleTest();
    ~AuthModuleTest() override;

    // What the module does from now on, an action a line.
    void Script(const std::vector<std::string>& actions);

    // The action that answers with `text`.
    static std::string Answer(const std::string& text);

    // Writes a file for the action "block".
    void BlockFile(const std::string& name, const std::string& bytes);

    bool ModuleWasStarted() const;
    ModuleRecord Record() const;

    // A manual-reset event for the actions "signal" and "wait".
    HANDLE NamedEvent(const std::string& name);
    bool IsSignalledSoon(HANDLE event);

    // SamlGetResponseUsingExternalAuthProvider with the working values below.
    std::uint32_t Saml(std::uint32_t kind = 2);

    // One of the three SAML exports with them.
    using SamlExport = decltype(&::SamlAuthGetResponseUsingWebView2);
    std::uint32_t Saml(SamlExport function);

    // BasicAuthGetResponse for all three buffers; TwoFactorAuthGetResponse on this thread.
    std::uint32_t Basic();
    std::uint32_t TwoFactor();

    // Makes a call whose module answers, signals that it runs and then waits for ever; acts meanwhile, and gives the
    // call's result.
    using Call = std::function<std::uint32_t()>;
    std::uint32_t WhileTheModuleWaits(const Call& call, const std::function<void()>& act,
                                      const std::string& answer = Answer("123456"));

    // The result of a call that is cancelled after its module has answered.
    std::uint32_t Cancelled(const Call& call, const std::string& answer = Answer("123456"));

    // The exit code of a process, once it has ended.
    static DWORD ExitCode(const KernelHandle& process);

    KernelHandle OpenModule() const; // the process of the last start, while it runs

    // Replaces one import of the library until it is unloaded.
    template <class Function>
    void Patch(const char* function, Function* replacement) {
        patches_.push_back(std::make_unique<ImportPatch>(library_.Module(), function, replacement));
    }
    void TakePatchesAway() { patches_.clear(); }

    // Unloads the library, so that its log is complete, and gives "level: text" of each record.
    std::vector<std::string> Log();
    std::vector<std::string> LogAt(const std::string& level); // of one level only

    static std::filesystem::path ModuleFolder(); // where library and doubles lie
    static std::wstring CurrentFolder();

    EmptyLog emptyLog_;
    TempFolder folder_;
    LibraryUnderTest library_;

    const wchar_t* url_ = L"https://vpn.example.com/saml";
    const wchar_t* description_ = L"Head office";
    const wchar_t* samlObject_ = L"vpn";
    const wchar_t* objectName_ = L"Work";
    std::uint32_t ignoreCertificate_ = 1;
    std::uint32_t timeoutMs_ = 60'000;
    std::uint32_t deleteCookies_ = 0;
    std::int32_t autoSelectCertificate_ = 0;
    std::array<char, 4096> response_ = {'o', 'l', 'd'};
    std::uint32_t responseSize_ = 4096;
    std::array<char, 256> serverIp_ = {'o', 'l', 'd'};
    std::uint32_t serverIpSize_ = 256;

    std::array<char, 256> userName_ = {'a', 'l', 'i', 'c', 'e'};
    std::array<char, 256> password_ = {'o', 'l', 'd'};
    std::array<char, 256> certificate_ = {'o', 'l', 'd'};
    std::array<char, 256> token_ = {'o', 'l', 'd'};
    const char* tokenDescription_ = "Enter the code";

private:
    std::wstring formerFolder_;
    std::vector<KernelHandle> events_;
    std::vector<std::unique_ptr<ImportPatch>> patches_;
};

} // namespace zelto::test
