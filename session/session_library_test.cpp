// The stand-in for the session utility library, as the built DLL.

#include "session/session_library.h"

#include "auth/kernel_handle.h"
#include "tests/support/import_patch.h"
#include "tests/support/library_under_test.h"
#include "tests/support/process_counts.h"
#include "tests/support/shortage.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <userenv.h>
#include <vector>
#include <wtsapi32.h>

namespace zelto::test {
namespace {

constexpr DWORD kOtherSession = 77;

DWORD OwnSession() {
    DWORD session = 0;
    ProcessIdToSessionId(GetCurrentProcessId(), &session);
    return session;
}

std::wstring CommandProcessor() {
    wchar_t folder[MAX_PATH] = {};
    GetSystemDirectoryW(folder, MAX_PATH);
    return std::wstring(folder) + L"\\cmd.exe";
}

DWORD ExitCode(HANDLE process) {
    DWORD code = STILL_ACTIVE;
    EXPECT_EQ(WaitForSingleObject(process, 60'000), WAIT_OBJECT_0);
    EXPECT_TRUE(GetExitCodeProcess(process, &code));
    return code;
}

// What CreateProcessAsUserW was given, or CreateProcessW: then without a token.
struct UserStart {
    HANDLE token = nullptr;
    std::wstring application;
    std::wstring commandLine;
    bool hasSecurity = false; // of process or thread
    BOOL inheritHandles = FALSE;
    DWORD flags = 0;
    void* environment = nullptr;
    std::wstring currentDirectory;
    DWORD startupSize = 0;
    std::wstring desktop;
};

std::wstring TextOr(const wchar_t* text) {
    return text == nullptr ? L"none" : text;
}

class SessionLibraryTest : public ::testing::Test {
protected:
    SessionLibraryTest()
        : module_(
              LoadLibraryW(LibraryUnderTest::LibraryPath().replace_filename(L"ZeltoSession.dll").c_str())) {
        createProcess_ = Export<decltype(&CreateProcessInSessionEx)>("CreateProcessInSessionEx");
        selectSession_ = Export<decltype(&SelectCurrentActiveTSSession)>("SelectCurrentActiveTSSession");
        queriedSession = 0;
        userStart = {};
        starts = 0;
    }
    ~SessionLibraryTest() override {
        patches_.clear();
        FreeLibrary(module_);
    }

    template <class Function>
    Function Export(const char* name) {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
    }

    template <class Function>
    void Patch(const char* function, Function* replacement) {
        patches_.push_back(std::make_unique<ImportPatch>(module_, function, replacement));
    }

    // A start of "cmd /c exit 7" with the arguments that the library gives.
    int Start(DWORD session, DWORD* processId, HANDLE* process) {
        std::wstring commandLine = L"cmd /c exit 7";
        return createProcess_(session, CommandProcessor().c_str(), commandLine.data(), 1, 0, nullptr,
                              processId, process);
    }

    static BOOL WINAPI GiveOwnToken(ULONG session, HANDLE* token) {
        queriedSession = session;
        return OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, token);
    }
    static BOOL WINAPI GiveNoToken(ULONG, HANDLE*) {
        SetLastError(ERROR_NO_TOKEN);
        return FALSE;
    }
    static BOOL WINAPI BuildNoEnvironment(void** block, HANDLE, BOOL) {
        *block = GetCurrentProcess(); // means nothing
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return FALSE;
    }
    // Starts as the caller what was to be started as the user.
    static BOOL WINAPI StartInstead(HANDLE token, LPCWSTR application, LPWSTR commandLine,
                                    LPSECURITY_ATTRIBUTES process, LPSECURITY_ATTRIBUTES thread,
                                    BOOL inheritHandles, DWORD flags, LPVOID environment, LPCWSTR directory,
                                    LPSTARTUPINFOW startup, LPPROCESS_INFORMATION started) {
        ++starts;
        userStart = {token,
                     TextOr(application),
                     TextOr(commandLine),
                     process != nullptr || thread != nullptr,
                     inheritHandles,
                     flags,
                     environment,
                     TextOr(directory),
                     startup->cb,
                     TextOr(startup->lpDesktop)};
        return CreateProcessW(application, commandLine, nullptr, nullptr, inheritHandles, flags, environment,
                              directory, startup, started);
    }
    static BOOL WINAPI StartAsCaller(LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES process,
                                     LPSECURITY_ATTRIBUTES thread, BOOL inheritHandles, DWORD flags,
                                     LPVOID environment, LPCWSTR directory, LPSTARTUPINFOW startup,
                                     LPPROCESS_INFORMATION started) {
        return StartInstead(nullptr, application, commandLine, process, thread, inheritHandles, flags,
                            environment, directory, startup, started);
    }
    static BOOL WINAPI StartWithoutHandlesOnly(HANDLE token, LPCWSTR application, LPWSTR commandLine,
                                               LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES,
                                               BOOL inheritHandles, DWORD flags, LPVOID environment,
                                               LPCWSTR directory, LPSTARTUPINFOW startup,
                                               LPPROCESS_INFORMATION started) {
        if (inheritHandles) {
            SetLastError(ERROR_ACCESS_DENIED);
            return FALSE;
        }
        return StartInstead(token, application, commandLine, nullptr, nullptr, inheritHandles, flags,
                            environment, directory, startup, started);
    }
    static BOOL WINAPI StartNothing(HANDLE, LPCWSTR, LPWSTR, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES,
                                    BOOL, DWORD, LPVOID, LPCWSTR, LPSTARTUPINFOW, LPPROCESS_INFORMATION) {
        ++starts;
        SetLastError(ERROR_ELEVATION_REQUIRED);
        return FALSE;
    }

    static ULONG queriedSession;
    static UserStart userStart;
    static int starts;
    HMODULE module_;
    decltype(&CreateProcessInSessionEx) createProcess_;
    decltype(&SelectCurrentActiveTSSession) selectSession_;

private:
    std::vector<std::unique_ptr<ImportPatch>> patches_;
};

ULONG SessionLibraryTest::queriedSession;
UserStart SessionLibraryTest::userStart;
int SessionLibraryTest::starts;

TEST_F(SessionLibraryTest, TheOnlySessionIsTheActiveOne) {
    EXPECT_EQ(selectSession_(), OwnSession());
}

WTS_SESSION_INFOW listed[3];
int listsInUse;

// One session that nobody has signed in to, one that its user has left, and one in use.
BOOL WINAPI ListThreeSessions(HANDLE server, DWORD reserved, DWORD version, WTS_SESSION_INFOW** list,
                              DWORD* count) {
    EXPECT_EQ(server, WTS_CURRENT_SERVER_HANDLE);
    EXPECT_EQ(reserved, 0u);
    EXPECT_EQ(version, 1u);
    const WTS_CONNECTSTATE_CLASS states[] = {WTSConnected, WTSDisconnected, WTSActive};
    for (DWORD i = 0; i < 3; ++i) {
        listed[i].SessionId = kOtherSession - 2 + i;
        listed[i].State = states[i];
    }
    *list = listed;
    *count = 3;
    ++listsInUse;
    return TRUE;
}

void WINAPI TakeListBack(void* list) {
    EXPECT_EQ(list, listed);
    --listsInUse;
}

class SessionListTest : public SessionLibraryTest {
protected:
    SessionListTest() {
        listsInUse = 0;
        Patch("WTSEnumerateSessionsW", &ListThreeSessions);
        Patch("WTSFreeMemory", &TakeListBack);
        Patch("WTSGetActiveConsoleSessionId", +[]() -> DWORD { return 5; });
    }
};

TEST_F(SessionListTest, ASessionInUseElsewhereIsTheActiveOne) {
    EXPECT_EQ(selectSession_(), kOtherSession);
    EXPECT_EQ(listsInUse, 0);
}

TEST_F(SessionListTest, WithoutMemoryForTheListTheConsoleCounts) {
    Patch("malloc", &AllocateUntilShortage);
    shortage = {GetCurrentThreadId(), 2, false}; // when the list grows
    EXPECT_EQ(selectSession_(), 5u);
    EXPECT_TRUE(shortage.struck);
    shortage.thread = 0;
    EXPECT_EQ(listsInUse, 0);
}

TEST_F(SessionLibraryTest, InTheOwnSessionTheProgramIsStartedAsTheCaller) {
    Patch("WTSQueryUserToken", &GiveNoToken); // and nobody asks for one
    DWORD processId = 0;
    HANDLE process = nullptr;
    ASSERT_EQ(Start(OwnSession(), &processId, &process), 0);
    const KernelHandle owned(process);
    EXPECT_EQ(processId, GetProcessId(process));
    EXPECT_EQ(ExitCode(process), 7u);
}

TEST_F(SessionLibraryTest, InTheOwnSessionTheProgramGetsWhatTheCallerAskedFor) {
    Patch("CreateProcessW", &StartAsCaller);
    const std::wstring directory = std::filesystem::path(CommandProcessor()).parent_path().wstring();
    for (const int inheritHandles : {0, 1}) {
        std::wstring commandLine = L"cmd /c exit 8";
        HANDLE process = nullptr;
        ASSERT_EQ(createProcess_(OwnSession(), CommandProcessor().c_str(), commandLine.data(), inheritHandles,
                                 CREATE_NO_WINDOW, directory.c_str(), nullptr, &process),
                  0);
        EXPECT_EQ(ExitCode(KernelHandle(process).get()), 8u);
        EXPECT_EQ(userStart.application, CommandProcessor());
        EXPECT_EQ(userStart.commandLine, L"cmd /c exit 8");
        EXPECT_FALSE(userStart.hasSecurity);
        EXPECT_EQ(userStart.inheritHandles, inheritHandles);
        EXPECT_EQ(userStart.flags, static_cast<DWORD>(CREATE_NO_WINDOW));
        EXPECT_EQ(userStart.environment, nullptr);
        EXPECT_EQ(userStart.currentDirectory, directory);
        EXPECT_EQ(userStart.startupSize, sizeof(STARTUPINFOW));
        EXPECT_EQ(userStart.desktop, L"none");
    }
}

TEST_F(SessionLibraryTest, InAnotherSessionTheProgramGetsWhatTheCallerAskedFor) {
    Patch("WTSQueryUserToken", &GiveOwnToken);
    Patch("CreateProcessAsUserW", &StartInstead);
    const std::wstring directory = std::filesystem::path(CommandProcessor()).parent_path().wstring();
    for (const int inheritHandles : {0, 1}) {
        std::wstring commandLine = L"cmd /c exit 8";
        HANDLE process = nullptr;
        ASSERT_EQ(createProcess_(kOtherSession, CommandProcessor().c_str(), commandLine.data(),
                                 inheritHandles, CREATE_NO_WINDOW, directory.c_str(), nullptr, &process),
                  0);
        EXPECT_EQ(ExitCode(KernelHandle(process).get()), 8u);
        EXPECT_EQ(userStart.commandLine, L"cmd /c exit 8");
        EXPECT_FALSE(userStart.hasSecurity);
        EXPECT_EQ(userStart.inheritHandles, inheritHandles);
        EXPECT_EQ(userStart.flags, static_cast<DWORD>(CREATE_NO_WINDOW | CREATE_UNICODE_ENVIRONMENT));
        EXPECT_EQ(userStart.currentDirectory, directory);
        EXPECT_EQ(userStart.startupSize, sizeof(STARTUPINFOW));
    }
}

HANDLE environmentsToken;
void* environmentBlock;
int environmentsInUse;

TEST_F(SessionLibraryTest, TheEnvironmentIsTheUsersOwnAndIsGivenBack) {
    environmentsInUse = 0;
    Patch("WTSQueryUserToken", &GiveOwnToken);
    Patch("CreateProcessAsUserW", &StartInstead);
    Patch(
        "CreateEnvironmentBlock", +[](void** block, HANDLE token, BOOL inherit) -> BOOL {
            EXPECT_FALSE(inherit); // nothing of the caller's
            environmentsToken = token;
            ++environmentsInUse;
            const BOOL result = CreateEnvironmentBlock(block, token, inherit);
            environmentBlock = *block;
            return result;
        });
    Patch(
        "DestroyEnvironmentBlock", +[](void* block) -> BOOL {
            EXPECT_EQ(block, environmentBlock);
            --environmentsInUse;
            return DestroyEnvironmentBlock(block);
        });
    ASSERT_EQ(Start(kOtherSession, nullptr, nullptr), 0);
    EXPECT_EQ(userStart.token, environmentsToken);
    EXPECT_EQ(userStart.environment, environmentBlock);
    EXPECT_EQ(environmentsInUse, 0);
}

// The unknown session is not taken for session 0.
TEST_F(SessionLibraryTest, AnOwnSessionThatCannotBeFoundOutIsAnother) {
    Patch("ProcessIdToSessionId", +[](DWORD, DWORD*) -> BOOL { return FALSE; });
    Patch("WTSQueryUserToken", &GiveNoToken);
    EXPECT_EQ(Start(0, nullptr, nullptr), ZELTO_SESSION_E_NO_USER);
}

TEST_F(SessionLibraryTest, InAnotherSessionTheProgramIsStartedAsItsUser) {
    Patch("WTSQueryUserToken", &GiveOwnToken);
    Patch("CreateProcessAsUserW", &StartInstead);
    DWORD processId = 0;
    HANDLE process = nullptr;
    ASSERT_EQ(Start(kOtherSession, &processId, &process), 0);
    const KernelHandle owned(process);
    EXPECT_EQ(queriedSession, kOtherSession);
    EXPECT_EQ(userStart.application, CommandProcessor());
    EXPECT_NE(userStart.token, nullptr);
    EXPECT_TRUE(userStart.inheritHandles);
    EXPECT_EQ(userStart.flags, static_cast<DWORD>(CREATE_UNICODE_ENVIRONMENT));
    EXPECT_NE(userStart.environment, nullptr);
    EXPECT_EQ(userStart.currentDirectory, L"none");
    EXPECT_EQ(userStart.desktop, L"winsta0\\default");
    EXPECT_EQ(processId, GetProcessId(process));
    EXPECT_EQ(ExitCode(process), 7u);
}

TEST_F(SessionLibraryTest, AStartThatMayPassOnNoHandlesIsMadeWithout) {
    Patch("WTSQueryUserToken", &GiveOwnToken);
    Patch("CreateProcessAsUserW", &StartWithoutHandlesOnly);
    HANDLE process = nullptr;
    ASSERT_EQ(Start(kOtherSession, nullptr, &process), 0);
    const KernelHandle owned(process);
    EXPECT_FALSE(userStart.inheritHandles);
    EXPECT_EQ(userStart.application, CommandProcessor());
    EXPECT_EQ(ExitCode(process), 7u);
}

TEST_F(SessionLibraryTest, NobodyIsSignedInThere) {
    Patch("WTSQueryUserToken", &GiveNoToken);
    HANDLE process = GetCurrentProcess();
    EXPECT_EQ(Start(kOtherSession, nullptr, &process), ZELTO_SESSION_E_NO_USER);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_TOKEN));
    EXPECT_EQ(process, nullptr);
}

TEST_F(SessionLibraryTest, TheEnvironmentCannotBeBuilt) {
    Patch("WTSQueryUserToken", &GiveOwnToken);
    Patch("CreateEnvironmentBlock", &BuildNoEnvironment);
    HANDLE process = nullptr;
    EXPECT_EQ(Start(kOtherSession, nullptr, &process), ZELTO_SESSION_E_ENVIRONMENT);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NOT_ENOUGH_MEMORY));
    EXPECT_EQ(process, nullptr);
}

TEST_F(SessionLibraryTest, TheProgramCannotBeStartedAsTheUser) {
    Patch("WTSQueryUserToken", &GiveOwnToken);
    Patch("CreateProcessAsUserW", &StartNothing);
    HANDLE process = nullptr;
    EXPECT_EQ(Start(kOtherSession, nullptr, &process), ZELTO_SESSION_E_PROCESS);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ELEVATION_REQUIRED));
    EXPECT_EQ(process, nullptr);
}

TEST_F(SessionLibraryTest, AStartWithoutHandlesIsNotMadeAgain) {
    Patch("WTSQueryUserToken", &GiveOwnToken);
    Patch("CreateProcessAsUserW", &StartNothing);
    std::wstring commandLine = L"cmd /c exit 7";
    EXPECT_EQ(createProcess_(kOtherSession, CommandProcessor().c_str(), commandLine.data(), 0, 0, nullptr,
                             nullptr, nullptr),
              ZELTO_SESSION_E_PROCESS);
    EXPECT_EQ(starts, 1);
    EXPECT_EQ(Start(kOtherSession, nullptr, nullptr), ZELTO_SESSION_E_PROCESS);
    EXPECT_EQ(starts, 3); // with handles, and then without
}

TEST_F(SessionLibraryTest, TheLastErrorIsThatOfTheFailedStart) {
    Patch("WTSQueryUserToken", &GiveOwnToken);
    Patch("CreateProcessAsUserW", &StartNothing);
    Patch(
        "DestroyEnvironmentBlock", +[](void* block) -> BOOL {
            const BOOL result = DestroyEnvironmentBlock(block);
            SetLastError(ERROR_INVALID_BLOCK);
            return result;
        });
    Patch(
        "CloseHandle", +[](HANDLE handle) -> BOOL {
            const BOOL result = CloseHandle(handle);
            SetLastError(ERROR_INVALID_HANDLE);
            return result;
        });
    EXPECT_EQ(Start(kOtherSession, nullptr, nullptr), ZELTO_SESSION_E_PROCESS);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ELEVATION_REQUIRED));
}

TEST_F(SessionLibraryTest, TheProgramIsNotThere) {
    std::wstring commandLine = L"x";
    HANDLE process = nullptr;
    EXPECT_EQ(createProcess_(OwnSession(), L"C:\\no such folder\\no.exe", commandLine.data(), 1, 0, nullptr,
                             nullptr, &process),
              ZELTO_SESSION_E_PROCESS);
    EXPECT_EQ(process, nullptr);
}

TEST_F(SessionLibraryTest, NoSessionIsNoTarget) {
    HANDLE process = nullptr;
    EXPECT_EQ(Start(ZELTO_NO_SESSION, nullptr, &process), ZELTO_SESSION_E_ARGUMENT);
    EXPECT_EQ(process, nullptr);
}

TEST_F(SessionLibraryTest, NeitherApplicationNorCommandLine) {
    EXPECT_EQ(createProcess_(OwnSession(), nullptr, nullptr, 1, 0, nullptr, nullptr, nullptr),
              ZELTO_SESSION_E_ARGUMENT);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
}

TEST_F(SessionLibraryTest, TheCommandLineAloneNamesTheProgram) {
    std::wstring commandLine = L"\"" + CommandProcessor() + L"\" /c exit 9";
    HANDLE process = nullptr;
    ASSERT_EQ(createProcess_(OwnSession(), nullptr, commandLine.data(), 1, 0, nullptr, nullptr, &process), 0);
    EXPECT_EQ(ExitCode(KernelHandle(process).get()), 9u);
}

TEST_F(SessionLibraryTest, TheApplicationAloneNamesTheProgram) {
    Patch("WTSQueryUserToken", &GiveOwnToken);
    Patch("CreateProcessAsUserW", &StartNothing); // it would wait for what it is to do
    EXPECT_EQ(
        createProcess_(kOtherSession, CommandProcessor().c_str(), nullptr, 1, 0, nullptr, nullptr, nullptr),
        ZELTO_SESSION_E_PROCESS);
}

TEST_F(SessionLibraryTest, NoHandleIsLeftWhateverTheOutcome) {
    Patch("WTSQueryUserToken", &GiveOwnToken);
    const auto round = [&] {
        HANDLE process = nullptr;
        {
            const ImportPatch start(module_, "CreateProcessAsUserW", &StartInstead);
            ASSERT_EQ(Start(kOtherSession, nullptr, &process), 0);
            ExitCode(process);
            CloseHandle(process);
            ASSERT_EQ(Start(OwnSession(), nullptr, nullptr), 0);
        }
        {
            const ImportPatch start(module_, "CreateProcessAsUserW", &StartNothing);
            Start(kOtherSession, nullptr, &process);
        }
        const ImportPatch environment(module_, "CreateEnvironmentBlock", &BuildNoEnvironment);
        Start(kOtherSession, nullptr, &process);
    };
    round();
    const std::size_t before = CountHandles();
    for (int i = 0; i < 5; ++i) {
        round();
    }
    EXPECT_LE(CountHandles(), before + 1);
}

} // namespace
} // namespace zelto::test
