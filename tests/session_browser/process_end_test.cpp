#include "tests/session_browser/session_sign_in_test.h"

#include "auth/kernel_handle.h"

namespace zelto::test {
namespace {

constexpr DWORD kCallReturned = 77;
constexpr DWORD kAborted = 3; // as older C runtimes end
constexpr DWORD kAbortedByFailFast = 0xC0000409;

// Nobody could ever end the listener of a browser that was not started: the process ends, deliberately.
class SessionSignInProcessEndTest : public ::testing::Test {
protected:
    // Runs the host to its end. Its errors are then on disk, whether or not the end let the library write the rest.
    void RunHost(const std::wstring& kind) {
        const std::filesystem::path program = OwnFolder() / L"session_process_end_host.exe";
        log_ = LibraryUnderTest::TraceLogPath().replace_filename(
            L"session_process_end_host.exe_ZeltoAuth_error.log");
        std::filesystem::remove(log_);
        std::wstring commandLine = L"session_process_end_host.exe " + kind;
        const KernelHandle guardClosed(CreateEventW(nullptr, TRUE, FALSE, L"zelto test guard closed"));
        STARTUPINFOW startup = {};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION process = {};
        ASSERT_TRUE(CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                   nullptr, &startup, &process));
        const KernelHandle thread(process.hThread);
        const KernelHandle host(process.hProcess);
        ASSERT_EQ(WaitForSingleObject(host.get(), 60'000), WAIT_OBJECT_0);
        DWORD code = kCallReturned;
        GetExitCodeProcess(host.get(), &code);
        EXPECT_TRUE(code == kAborted || code == kAbortedByFailFast) << std::hex << code;
        EXPECT_EQ(WaitForSingleObject(guardClosed.get(), 0), WAIT_OBJECT_0); // by the library, not by its end
        EXPECT_TRUE(GuardIsFree(kGuardName));
    }

    void ExpectLastError(const std::string& error) {
        std::vector<std::string> errors;
        for (const std::string& line : Messages(ReadTraceLines(log_))) {
            if (line.starts_with("error: ")) {
                errors.push_back(line);
            }
        }
        EXPECT_EQ(errors, std::vector<std::string>{error});
    }

private:
    static std::filesystem::path OwnFolder() {
        wchar_t path[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, path, MAX_PATH);
        return std::filesystem::path(path).parent_path();
    }

    std::filesystem::path log_;
};

TEST_F(SessionSignInProcessEndTest, WithoutAnActiveUserSessionTheProcessEnds) {
    RunHost(L"no_session");
    ExpectLastError("error: Failed to get user session ID.");
}

TEST_F(SessionSignInProcessEndTest, WhenTheCommandCannotBeStartedTheProcessEnds) {
    RunHost(L"no_process");
    ExpectLastError("error: Failed to run process in user session. Error code: -4");
}

} // namespace
} // namespace zelto::test
