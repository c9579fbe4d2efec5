// How the token program is started, and what its end means.

#include "tests/azure_token/token_test.h"

#include "auth/kernel_handle.h"
#include "tests/support/held_token_search.h"

#include <future>

namespace zelto::test {
namespace {

class TokenProgramTest : public TokenTest {
protected:
    std::wstring Program() const { return (ClientFolder() / L"AzureToken2.exe").wstring(); }
};

TEST_F(TokenProgramTest, CommandLineByteByByte) {
    EXPECT_EQ(Fetch(L"0f3c-11", L"contoso.example"), 0u);
    EXPECT_EQ(WideRecord(L"command_line"), Program() + L" 0f3c-11 contoso.example --from-ploxe");
}

TEST_F(TokenProgramTest, NothingIsQuotedOrEscaped) {
    EXPECT_EQ(Fetch(L"two words \"and quotes\"", L"ten\\ant&|%PATH%"), 0u);
    EXPECT_EQ(WideRecord(L"command_line"),
              Program() + L" two words \"and quotes\" ten\\ant&|%PATH% --from-ploxe");
}

TEST_F(TokenProgramTest, EmptyTextsLeaveTheirBlanks) {
    EXPECT_EQ(Fetch(L"", L""), 0u);
    EXPECT_EQ(WideRecord(L"command_line"), Program() + L"   --from-ploxe");
}

TEST_F(TokenProgramTest, TextsBeyondAscii) {
    EXPECT_EQ(Fetch(L"j\u00f6rg", L"\u65e5\u672c\U0001F511"), 0u);
    EXPECT_EQ(WideRecord(L"command_line"), Program() + L" j\u00f6rg \u65e5\u672c\U0001F511 --from-ploxe");
}

TEST_F(TokenProgramTest, TextsOfTensOfThousandsOfCharacters) {
    const std::wstring clientId(30'000, L'c');
    EXPECT_EQ(Fetch(clientId.c_str()), 0u);
    EXPECT_EQ(WideRecord(L"command_line"), Program() + L" " + clientId + L" tenant --from-ploxe");
}

TEST_F(TokenProgramTest, TheCommandLineIsLoggedAtInfo) {
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(Log(), std::vector<std::string>{CommandRecord()});
}

TEST_F(TokenProgramTest, RunsInTheCallersFolder) {
    wchar_t own[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, own);
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(WideRecord(L"folder"), own);
}

// What CreatePipe was asked for.
std::vector<SECURITY_ATTRIBUTES> pipeAttributes;
std::vector<DWORD> pipeSizes;
std::vector<HANDLE> pipeEnds;

// Creates the pipe and passes the ends' values on to the double.
BOOL WINAPI CreatePipeAndTell(HANDLE* read, HANDLE* write, SECURITY_ATTRIBUTES* attributes, DWORD size) {
    pipeAttributes.push_back(*attributes);
    pipeSizes.push_back(size);
    const BOOL created = CreatePipe(read, write, attributes, size);
    pipeEnds.push_back(*read);
    pipeEnds.push_back(*write);
    std::wstring values;
    for (const HANDLE end : pipeEnds) {
        values += std::to_wstring(reinterpret_cast<std::uintptr_t>(end)) + L" ";
    }
    SetEnvironmentVariableW(L"ZELTO_TOKEN_PIPES", values.c_str());
    return created;
}

TEST_F(TokenProgramTest, PipesAreMadeInheritableWithTheDefaultSize) {
    pipeAttributes.clear();
    pipeSizes.clear();
    pipeEnds.clear();
    Patch("CreatePipe", &CreatePipeAndTell);
    EXPECT_EQ(Fetch(), 0u);
    ASSERT_EQ(pipeAttributes.size(), 2u);
    for (const SECURITY_ATTRIBUTES& attributes : pipeAttributes) {
        EXPECT_EQ(attributes.nLength, 24u);
        EXPECT_EQ(attributes.lpSecurityDescriptor, nullptr);
        EXPECT_TRUE(attributes.bInheritHandle);
    }
    EXPECT_EQ(pipeSizes, (std::vector<DWORD>{0, 0}));
}

// Its own end of each pipe, as standard input, output and error; not ours, or its input would never end.
TEST_F(TokenProgramTest, InheritsItsOwnEndsOfThePipes) {
    pipeEnds.clear();
    Patch("CreatePipe", &CreatePipeAndTell);
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(Record(L"handles"), "1001"
                                  "111");
}

TEST_F(TokenProgramTest, InheritsTheCallersInheritableHandlesAndNoOthers) {
    SECURITY_ATTRIBUTES inheritable = {sizeof(inheritable), nullptr, TRUE};
    const KernelHandle inherited(CreateEventW(&inheritable, TRUE, FALSE, nullptr));
    const KernelHandle own(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const std::wstring values = std::to_wstring(reinterpret_cast<std::uintptr_t>(inherited.get())) + L" " +
                                std::to_wstring(reinterpret_cast<std::uintptr_t>(own.get()));
    SetEnvironmentVariableW(L"ZELTO_TOKEN_EVENTS", values.c_str());
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(WaitForSingleObject(inherited.get(), 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(own.get(), 0), static_cast<DWORD>(WAIT_TIMEOUT));
}

// What CreateProcessW was given.
struct ProcessCall {
    bool hasApplication = false;
    bool hasSecurity = false;
    bool hasEnvironment = false;
    bool hasFolder = false;
    BOOL inherits = FALSE;
    DWORD flags = 0;
    STARTUPINFOW startup = {};
} processCall;

BOOL WINAPI RecordProcess(LPCWSTR application, LPWSTR commandLine, SECURITY_ATTRIBUTES* process,
                          SECURITY_ATTRIBUTES* thread, BOOL inherits, DWORD flags, LPVOID environment,
                          LPCWSTR folder, STARTUPINFOW* startup, PROCESS_INFORMATION* information) {
    processCall = {application != nullptr,
                   process != nullptr || thread != nullptr,
                   environment != nullptr,
                   folder != nullptr,
                   inherits,
                   flags,
                   *startup};
    commandLine[0] = commandLine[0]; // it is writable
    return CreateProcessW(application, commandLine, process, thread, inherits, flags, environment, folder,
                          startup, information);
}

TEST_F(TokenProgramTest, IsStartedWithStandardHandlesAndNothingElse) {
    Patch("CreateProcessW", &RecordProcess);
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_FALSE(processCall.hasApplication);
    EXPECT_FALSE(processCall.hasSecurity);
    EXPECT_FALSE(processCall.hasEnvironment);
    EXPECT_FALSE(processCall.hasFolder);
    EXPECT_EQ(processCall.inherits, TRUE);
    EXPECT_EQ(processCall.flags, 0u);
    EXPECT_EQ(processCall.startup.cb, 104u);
    EXPECT_EQ(processCall.startup.dwFlags, static_cast<DWORD>(STARTF_USESTDHANDLES));
    EXPECT_EQ(processCall.startup.hStdOutput, processCall.startup.hStdError);
    EXPECT_NE(processCall.startup.hStdOutput, processCall.startup.hStdInput);
}

TEST_F(TokenProgramTest, ReadingItsInputIsNoDeadlock) {
    Behave(L"read");
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(Token(), "done");
}

TEST_F(TokenProgramTest, AnExitCodeThatIsNotZeroChangesNothing) {
    Behave(L"fail", L"x|tok");
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(Token(), "tok");
}

TEST_F(TokenProgramTest, AnExitCodeThatIsNotZeroWithoutATokenIsAFailure) {
    Behave(L"fail", L"no account");
    ExpectFailure();
}

TEST_F(TokenProgramTest, WhatItWroteBeforeACrashCounts) {
    Behave(L"crash", L"x|tok");
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(Token(), "tok");
}

TEST_F(TokenProgramTest, ACrashBeforeItWroteAnythingIsAFailure) {
    Behave(L"crash");
    ExpectFailure();
}

TEST_F(TokenProgramTest, ItsEndIsWaitedForEvenWhenItHasClosedItsOutput) {
    const KernelHandle closed(CreateEventW(nullptr, TRUE, FALSE, L"zelto test token double closed"));
    const KernelHandle end(CreateEventW(nullptr, TRUE, FALSE, L"zelto test token double end"));
    Behave(L"live on", L"x|tok");
    auto result = std::async(std::launch::async, [this] { return Fetch(); });
    EXPECT_EQ(WaitForSingleObject(closed.get(), 60'000), WAIT_OBJECT_0);
    EXPECT_EQ(result.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
    SetEvent(end.get());
    EXPECT_EQ(result.get(), 0u);
    EXPECT_EQ(Token(), "tok");
}

TEST_F(TokenProgramTest, CallersOnSeveralThreadsGetEachTheirOwn) {
    Behave(L"echo");
    std::vector<std::future<std::string>> tokens;
    for (int i = 0; i < 4; ++i) {
        tokens.push_back(std::async(std::launch::async, [this, i] {
            char token[64] = "";
            const std::wstring clientId = L"client-" + std::to_wstring(i);
            EXPECT_EQ(library_.SamlAuthGetAzureToken(clientId.c_str(), L"tenant", 0, token, sizeof(token)),
                      0u);
            return std::string(token);
        }));
    }
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(tokens[static_cast<std::size_t>(i)].get(), "client-" + std::to_string(i));
    }
}

// Of the thread that sets them: signalled when it asks for a lock, and when it creates a pipe.
thread_local HANDLE comesToTheLock = nullptr;
thread_local HANDLE createsPipe = nullptr;

void WINAPI TellAndAcquire(SRWLOCK* lock) {
    SetEvent(comesToTheLock);
    AcquireSRWLockExclusive(lock);
}

BOOL WINAPI TellAndCreatePipe(HANDLE* read, HANDLE* write, SECURITY_ATTRIBUTES* attributes, DWORD size) {
    SetEvent(createsPipe);
    return CreatePipe(read, write, attributes, size);
}

// A program that took along the ends of another one's pipes would keep that one's reader until it ends itself.
TEST_F(TokenProgramTest, TwoStartsDoNotOverlap) {
    Behave(L"echo");
    const KernelHandle comes(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const KernelHandle creates(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    Patch("AcquireSRWLockExclusive", &TellAndAcquire);
    Patch("CreatePipe", &TellAndCreatePipe);
    HeldTokenSearch first(library_, HeldTokenSearch::Then::Searches);
    auto second = std::async(std::launch::async, [&] {
        comesToTheLock = comes.get();
        createsPipe = creates.get();
        return Fetch();
    });
    EXPECT_EQ(WaitForSingleObject(comes.get(), 60'000), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(creates.get(), 500), static_cast<DWORD>(WAIT_TIMEOUT));
    EXPECT_EQ(first.GoOn(), "held");
    EXPECT_EQ(second.get(), 0u);
    EXPECT_EQ(WaitForSingleObject(creates.get(), 0), WAIT_OBJECT_0);
    EXPECT_EQ(Token(), "client");
}

// Only the start is kept to one at a time, not the run.
TEST_F(TokenProgramTest, ASecondProgramStartsWhileTheFirstRuns) {
    const KernelHandle closed(CreateEventW(nullptr, TRUE, FALSE, L"zelto test token double closed"));
    const KernelHandle end(CreateEventW(nullptr, TRUE, FALSE, L"zelto test token double end"));
    Behave(L"live on", L"x|first");
    auto first = std::async(std::launch::async, [this] { return Fetch(); });
    EXPECT_EQ(WaitForSingleObject(closed.get(), 60'000), WAIT_OBJECT_0);
    Behave(L"write", L"x|second");
    char second[64] = "";
    EXPECT_EQ(library_.SamlAuthGetAzureToken(L"client", L"tenant", 0, second, sizeof(second)), 0u);
    EXPECT_STREQ(second, "second");
    SetEvent(end.get());
    EXPECT_EQ(first.get(), 0u);
    EXPECT_EQ(Token(), "first");
}

} // namespace
} // namespace zelto::test
