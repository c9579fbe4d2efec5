// In which order a fetch takes its steps, all of them on the caller's thread.

#include "tests/azure_token/token_test.h"

#include <algorithm>
#include <map>

namespace zelto::test {
namespace {

using Steps = std::vector<std::string>;

// The fetch at hand: what each of its handles is, and what has been done with them.
struct Recorded {
    DWORD thread = 0;
    std::map<HANDLE, std::string> names; // of those that are open
    Steps steps;
} recorded;

// Other threads of the library use handles of their own.
bool IsOurs(HANDLE handle) {
    return GetCurrentThreadId() == recorded.thread && recorded.names.contains(handle);
}

// A step that is made several times in a row counts once.
void Record(const std::string& step) {
    if (recorded.steps.empty() || recorded.steps.back() != step) {
        recorded.steps.push_back(step);
    }
}

int pipesLeft = 0; // how many pipes can still be created

BOOL WINAPI CreateNamedEnds(HANDLE* read, HANDLE* write, SECURITY_ATTRIBUTES* attributes, DWORD size) {
    if (pipesLeft-- <= 0 || !CreatePipe(read, write, attributes, size)) {
        return FALSE;
    }
    const std::string pipe = recorded.names.empty() ? "input" : "output";
    recorded.names[*read] = pipe + " read";
    recorded.names[*write] = pipe + " write";
    return TRUE;
}

BOOL WINAPI StartAndName(LPCWSTR application, LPWSTR commandLine, SECURITY_ATTRIBUTES* process,
                         SECURITY_ATTRIBUTES* thread, BOOL inherits, DWORD flags, LPVOID environment,
                         LPCWSTR folder, STARTUPINFOW* startup, PROCESS_INFORMATION* information) {
    const BOOL started = CreateProcessW(application, commandLine, process, thread, inherits, flags,
                                        environment, folder, startup, information);
    recorded.names[information->hProcess] = "process";
    recorded.names[information->hThread] = "thread";
    Record("start");
    return started;
}

BOOL WINAPI CloseAndRecord(HANDLE handle) {
    if (IsOurs(handle)) {
        Record("close " + recorded.names[handle]);
        recorded.names.erase(handle); // the number may come back
    }
    return CloseHandle(handle);
}

BOOL WINAPI ReadAndRecord(HANDLE file, LPVOID bytes, DWORD size, DWORD* read, OVERLAPPED* overlapped) {
    if (IsOurs(file)) {
        Record("read " + recorded.names[file]);
    }
    return ReadFile(file, bytes, size, read, overlapped);
}

DWORD WINAPI WaitAndRecord(HANDLE handle, DWORD milliseconds) {
    if (IsOurs(handle)) {
        Record("wait for " + recorded.names[handle] + (milliseconds == INFINITE ? "" : " with a limit"));
    }
    return WaitForSingleObject(handle, milliseconds);
}

BOOL WINAPI AskAndRecord(HANDLE process, DWORD* code) {
    if (IsOurs(process)) {
        Record("exit code of " + recorded.names[process]);
    }
    return GetExitCodeProcess(process, code);
}

class TokenOrderTest : public TokenTest {
protected:
    TokenOrderTest() {
        recorded = {GetCurrentThreadId(), {}, {}};
        pipesLeft = 2;
        Patch("CreatePipe", &CreateNamedEnds);
        Patch("CreateProcessW", &StartAndName);
        Patch("CloseHandle", &CloseAndRecord);
        Patch("ReadFile", &ReadAndRecord);
        Patch("WaitForSingleObject", &WaitAndRecord);
        Patch("GetExitCodeProcess", &AskAndRecord);
    }

    // Runs a fetch that fails and expects nothing but that these were closed, each once.
    void ExpectOnlyClosed(const Steps& closed) {
        ExpectFailure();
        std::sort(recorded.steps.begin(), recorded.steps.end());
        EXPECT_EQ(recorded.steps, closed);
    }
};

const Steps kAllFourEnds = {"close input read", "close input write", "close output read",
                            "close output write"};

// Our end of the output is closed before the wait: a program that still writes must not keep it for ever.
TEST_F(TokenOrderTest, OfARun) {
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(recorded.steps, (Steps{"start", "close input read", "close input write", "close output write",
                                     "read output read", "close output read", "wait for process",
                                     "exit code of process", "close process", "close thread"}));
}

TEST_F(TokenOrderTest, WithoutTheInputPipeThereIsNothingToClose) {
    pipesLeft = 0;
    ExpectOnlyClosed({});
}

TEST_F(TokenOrderTest, WithoutTheOutputPipeTheInputsEndsAreClosed) {
    pipesLeft = 1;
    ExpectOnlyClosed({"close input read", "close input write"});
}

TEST_F(TokenOrderTest, WithoutATokenProgramAllFourEndsAreClosed) {
    Patch("MsiEnumRelatedProductsW", &FindNoProduct);
    ExpectOnlyClosed(kAllFourEnds);
}

TEST_F(TokenOrderTest, WithoutAProcessAllFourEndsAreClosed) {
    Patch("CreateProcessW", &RefuseProcess);
    ExpectOnlyClosed(kAllFourEnds);
}

} // namespace
} // namespace zelto::test
