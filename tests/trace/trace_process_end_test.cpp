// The trace log of the real DLL in a process that ends without unloading it.

#include "tests/support/library_under_test.h"
#include "tests/support/trace_lines.h"

#include <gmock/gmock.h>
#include <string>

namespace zelto::test {
namespace {

constexpr DWORD kPatience = 60'000; // milliseconds
constexpr DWORD kHostExitCode = 7;

class TraceProcessEndTest : public testing::Test {
protected:
    TraceProcessEndTest() {
        wchar_t path[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, path, MAX_PATH);
        host_ = std::filesystem::path(path).parent_path() / L"trace_host.exe";
        log_ = LibraryUnderTest::TraceLogPath().parent_path() / L"trace_host.exe_ZeltoAuth.log";
        std::filesystem::remove(log_);
    }

    // Runs the host until it ends; its exit code, or WAIT_TIMEOUT when it hangs (it is ended then).
    DWORD RunHost(const wchar_t* way) {
        std::wstring command =
            L"\"" + host_.wstring() + L"\" \"" + LibraryUnderTest::LibraryPath().wstring() + L"\" " + way;
        STARTUPINFOW startup = {};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION process = {};
        if (!CreateProcessW(host_.c_str(), command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                            &startup, &process)) {
            ADD_FAILURE() << "cannot start the host, error " << GetLastError();
            return 0;
        }
        DWORD exitCode = WAIT_TIMEOUT;
        if (WaitForSingleObject(process.hProcess, kPatience) == WAIT_OBJECT_0) {
            GetExitCodeProcess(process.hProcess, &exitCode);
        } else {
            TerminateProcess(process.hProcess, 1);
        }
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
        return exitCode;
    }

    std::vector<std::string> Texts() const {
        std::vector<std::string> texts;
        for (const TraceLine& line : ReadTraceLines(log_)) {
            texts.push_back(line.text.substr(0, line.text.find(':')));
        }
        return texts;
    }

    std::filesystem::path host_;
    std::filesystem::path log_;
};

const std::vector<std::string> kWholeLog = {"(Time Zone", "External browser repeat auth", "trace stopped"};

TEST_F(TraceProcessEndTest, ReturningFromMainWritesTheLogWhole) {
    EXPECT_EQ(RunHost(L"return"), kHostExitCode);
    EXPECT_EQ(Texts(), kWholeLog);
}

TEST_F(TraceProcessEndTest, ExitProcessOnAnotherThreadWritesTheLogWhole) {
    EXPECT_EQ(RunHost(L"exit"), kHostExitCode);
    EXPECT_EQ(Texts(), kWholeLog);
}

TEST_F(TraceProcessEndTest, UnloadBeforeTheEndLogsTheStopOnce) {
    EXPECT_EQ(RunHost(L"unload"), kHostExitCode);
    EXPECT_EQ(Texts(), kWholeLog);
}

// The lock stays held for ever: what is pending is given up, and nothing waits.
TEST_F(TraceProcessEndTest, EndOfAThreadThatHoldsTheTraceLockDoesNotHang) {
    EXPECT_EQ(RunHost(L"holding"), kHostExitCode);
    EXPECT_THAT(Texts(), testing::Not(testing::Contains("trace stopped")));
}

// Whatever the threads were doing when they were ended, with or without the trace lock, the process ends.
TEST_F(TraceProcessEndTest, EndInTheMiddleOfLoggingDoesNotHang) {
    for (int round = 0; round < 8; ++round) {
        ASSERT_EQ(RunHost(L"logging"), kHostExitCode) << "round " << round;
    }
}

} // namespace
} // namespace zelto::test
