#include "tests/auth_module/auth_module_test.h"

namespace zelto::test {
namespace {

// A host may end while an auth module runs: it does so at once, with its own exit code.
class AuthModuleProcessEndTest : public AuthModuleTest {
protected:
    void ExpectEnd(const std::wstring& waiting) {
        NamedEvent("zelto test module started");
        const HANDLE goOn = NamedEvent("zelto test module goes on");
        Script({"signal zelto test module started", "wait zelto test module goes on"});
        const std::filesystem::path program = ModuleFolder().parent_path() / L"auth_module_ending_host.exe";
        std::wstring commandLine = L"auth_module_ending_host.exe \"" +
                                   (ModuleFolder() / L"ZeltoAuth.dll").wstring() + L"\" " + waiting;
        STARTUPINFOW startup = {};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION started = {};
        ASSERT_TRUE(CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                   nullptr, &startup, &started));
        CloseHandle(started.hThread);
        EXPECT_EQ(ExitCode(KernelHandle(started.hProcess)), 77u); // the module has not ended yet
        SetEvent(goOn);
    }
};

TEST_F(AuthModuleProcessEndTest, WhileALaunchRuns) {
    ExpectEnd(L"launch");
}

TEST_F(AuthModuleProcessEndTest, WhileTheWorkerRuns) {
    ExpectEnd(L"worker");
}

} // namespace
} // namespace zelto::test
