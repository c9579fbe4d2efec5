// Which session the auth module is started in. The two functions of the session utility library are replaced to play
// other sessions, to fail, and to record their arguments.

#include "tests/auth_module/auth_module_test.h"

#include "tests/auth_module/launch_record.h"
#include "tests/support/held_token_search.h"
#include "tests/support/process_counts.h"

#include <climits>
#include <future>

namespace zelto::test {
namespace {

using Lines = std::vector<std::string>;

DWORD activeSession;
DWORD ownSession;
bool ownSessionIsKnown;
int sessionResult; // of CreateProcessInSessionEx, which starts nothing when it is negative
std::function<HANDLE()>
    givenInstead; // if there is one, the process handle that it gives; it then starts nothing
std::vector<SessionStart> sessionStarts;
int localStarts;
HANDLE startBegins; // signalled when the module is started; may be null

BOOL Start(const wchar_t* application, wchar_t* commandLine, PROCESS_INFORMATION& started) {
    SetEvent(startBegins);
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    return CreateProcessW(application, commandLine, nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                          &started);
}

int StartInSession(DWORD session, const wchar_t* application, wchar_t* commandLine, int inheritHandles,
                   DWORD flags, const wchar_t* directory, DWORD* processId, HANDLE* process) {
    sessionStarts.push_back({session, application, commandLine, inheritHandles, flags, directory,
                             processId != nullptr, process != nullptr});
    if (givenInstead) {
        *process = givenInstead();
    } else if (sessionResult >= 0) {
        PROCESS_INFORMATION started = {};
        EXPECT_TRUE(Start(application, commandLine, started));
        CloseHandle(started.hThread);
        *processId = started.dwProcessId;
        *process = started.hProcess;
    }
    return sessionResult;
}

class SessionTest : public AuthModuleTest {
protected:
    SessionTest() {
        sessionResult = 0;
        givenInstead = nullptr;
        ownSessionIsKnown = true;
        sessionStarts.clear();
        localStarts = 0;
        Patch("SelectCurrentActiveTSSession", +[]() -> DWORD { return activeSession; });
        Patch(
            "ProcessIdToSessionId", +[](DWORD process, DWORD* session) -> BOOL {
                EXPECT_EQ(process, GetCurrentProcessId());
                if (!ownSessionIsKnown) {
                    return FALSE;
                }
                *session = ownSession;
                return TRUE;
            });
        Patch("CreateProcessInSessionEx", &StartInSession);
        Patch(
            "CreateProcessW",
            +[](LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL,
                DWORD, LPVOID, LPCWSTR, LPSTARTUPINFOW, LPPROCESS_INFORMATION started) -> BOOL {
                ++localStarts;
                return Start(application, commandLine, *started);
            });
        Script({Answer("123456")});
    }
    ~SessionTest() override {
        TakePatchesAway();
        startBegins = nullptr;
    }

    void Sessions(DWORD own, DWORD active) {
        ownSession = own;
        activeSession = active;
    }

    void ExpectStartInSession(DWORD session) {
        EXPECT_EQ(TwoFactor(), kOk);
        EXPECT_STREQ(token_.data(), "123456");
        EXPECT_EQ(localStarts, 0);
        ASSERT_EQ(sessionStarts.size(), 1u);
        EXPECT_EQ(sessionStarts[0].session, session);
    }

    void ExpectLocalStart() {
        EXPECT_EQ(TwoFactor(), kOk);
        EXPECT_STREQ(token_.data(), "123456");
        EXPECT_EQ(localStarts, 1);
        EXPECT_TRUE(sessionStarts.empty());
    }

    // An event for the launch's last step before it waits for another program's start.
    HANDLE TellOfTheLastStep() {
        static HANDLE reset;
        reset = NamedEvent("zelto test stop event reset");
        Patch(
            "ResetEvent", +[](HANDLE event) -> BOOL {
                const BOOL result = ResetEvent(event);
                SetEvent(reset);
                return result;
            });
        return reset;
    }

    // While the library starts another program, which alone is to inherit some handles, no module is started.
    void ExpectStartWaits() {
        const HANDLE reset = TellOfTheLastStep();
        const KernelHandle begins(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        startBegins = begins.get();
        HeldTokenSearch search(library_, HeldTokenSearch::Then::FindsNothing);
        auto prompt = std::async(std::launch::async, [this] { return TwoFactor(); });
        EXPECT_TRUE(IsSignalledSoon(reset));
        EXPECT_EQ(WaitForSingleObject(begins.get(), 500), static_cast<DWORD>(WAIT_TIMEOUT));
        EXPECT_EQ(search.GoOn(), "");
        EXPECT_EQ(prompt.get(), kOk);
        EXPECT_EQ(WaitForSingleObject(begins.get(), 0), WAIT_OBJECT_0);
    }
};

TEST_F(SessionTest, AStartInASessionWaitsForAnotherProgramsStart) {
    Sessions(0, 3);
    ExpectStartWaits();
}

TEST_F(SessionTest, ALocalStartWaitsForAnotherProgramsStart) {
    Sessions(2, 2);
    ExpectStartWaits();
}

HANDLE block;

// Another program that is started meanwhile does not get the block.
TEST_F(SessionTest, WhileTheStartWaitsTheBlockIsNotInherited) {
    Sessions(0, 3);
    const HANDLE reset = TellOfTheLastStep();
    Patch(
        "CreateFileMappingW",
        +[](HANDLE file, LPSECURITY_ATTRIBUTES security, DWORD protection, DWORD high, DWORD low,
            LPCWSTR name) -> HANDLE {
            return block = CreateFileMappingW(file, security, protection, high, low, name);
        });
    HeldTokenSearch search(library_, HeldTokenSearch::Then::FindsNothing);
    auto prompt = std::async(std::launch::async, [this] { return TwoFactor(); });
    EXPECT_TRUE(IsSignalledSoon(reset));
    EXPECT_EQ(prompt.wait_for(std::chrono::milliseconds(500)), std::future_status::timeout);
    DWORD flags = HANDLE_FLAG_INHERIT;
    EXPECT_TRUE(GetHandleInformation(block, &flags));
    EXPECT_EQ(flags & HANDLE_FLAG_INHERIT, 0u);
    EXPECT_EQ(search.GoOn(), "");
    EXPECT_EQ(prompt.get(), kOk);
}

// A stop that comes while the start waits is not forgotten.
TEST_F(SessionTest, AStopDuringAnotherProgramsStartCancels) {
    Sessions(0, 3);
    const HANDLE reset = TellOfTheLastStep();
    Script({"delay 60000"}); // a stop ends it before
    HeldTokenSearch search(library_, HeldTokenSearch::Then::FindsNothing);
    auto prompt = std::async(std::launch::async, [this] { return TwoFactor(); });
    EXPECT_TRUE(IsSignalledSoon(reset));
    EXPECT_NE(library_.StopRunningZeltoAuth(), 0);
    EXPECT_EQ(search.GoOn(), "");
    EXPECT_EQ(prompt.get(), kCancelled);
}

TEST_F(SessionTest, ARunningModuleHoldsUpNoOtherProgramsStart) {
    Sessions(0, 3);
    EXPECT_EQ(WhileTheModuleWaits([&] { return TwoFactor(); },
                                  [&] {
                                      HeldTokenSearch search(library_, HeldTokenSearch::Then::FindsNothing);
                                      library_.StopRunningZeltoAuth();
                                      EXPECT_EQ(search.GoOn(), "");
                                  }),
              kCancelled);
}

// How many records the launch has written, of which each asks for the tick count once.
DWORD launchThread;
std::size_t records;
std::size_t recordsBeforeTheStart;

TEST_F(SessionTest, TheSessionIsLoggedBeforeTheStart) {
    Sessions(0, 3);
    launchThread = GetCurrentThreadId();
    records = 0;
    Patch(
        "GetTickCount", +[]() -> DWORD {
            records += GetCurrentThreadId() == launchThread ? 1 : 0;
            return GetTickCount();
        });
    givenInstead = [] {
        recordsBeforeTheStart = records;
        return HANDLE{};
    };
    EXPECT_EQ(TwoFactor(), kLaunchFailed);
    const Lines log = Log();
    EXPECT_EQ(recordsBeforeTheStart, log.size());
    EXPECT_EQ(log.back(), "debug: Show Auth window in current session(3)");
}

TEST_F(SessionTest, AHostInSessionZeroStartsInTheActiveSession) {
    Sessions(0, 3);
    ExpectStartInSession(3);
    const Lines log = Log();
    const Lines end(log.end() - 3, log.end());
    EXPECT_EQ(end, (Lines{"debug: Show Auth window in current session(3)", "debug: Daemon exit code: 0x0",
                          "debug: decode base64 to cipher binary, cipher len=32"}));
}

TEST_F(SessionTest, AHostInTheActiveSessionStartsLocally) {
    Sessions(2, 2);
    ExpectLocalStart();
}

TEST_F(SessionTest, AHostInAnotherSessionStartsInTheActiveOne) {
    Sessions(2, 5);
    ExpectStartInSession(5);
}

TEST_F(SessionTest, ActiveSessionZeroIsStartedLocally) {
    Sessions(0, 0);
    ExpectLocalStart();
}

TEST_F(SessionTest, AHostElsewhereStartsLocallyWhileSessionZeroIsActive) {
    Sessions(2, 0);
    ExpectLocalStart();
}

TEST_F(SessionTest, TheStartInASessionByteByByte) {
    Sessions(0, 3);
    ExpectStartInSession(3);
    const std::string receiver = Record().receiver;
    const SessionStart& start = sessionStarts[0];
    EXPECT_EQ(start.application, (ModuleFolder() / L"ZeltoAuth.exe").wstring());
    EXPECT_EQ(start.commandLine, L" --provider-name=ZeltoAuth --receiver=" +
                                     std::wstring(receiver.begin(), receiver.end()) +
                                     L" --object=2fa --description=\"Enter the code\" --timeout=60");
    EXPECT_EQ(start.inheritHandles, 1);
    EXPECT_EQ(start.flags, 0u);
    EXPECT_EQ(start.directory, nullptr);
    EXPECT_TRUE(start.hasProcessId);
    EXPECT_TRUE(start.hasProcess);
}

TEST_F(SessionTest, TheStartInASessionFails) {
    Sessions(0, 3);
    for (const int result : {-1, -4, INT_MIN}) {
        sessionResult = result;
        EXPECT_EQ(TwoFactor(), kLaunchFailed);
    }
    EXPECT_EQ(localStarts, 0);
    EXPECT_STREQ(token_.data(), "old");
    EXPECT_EQ(Log().back(), "debug: Show Auth window in current session(3)");
}

HANDLE NoHandle() {
    return nullptr;
}

TEST_F(SessionTest, NoProcessHandleIsAFailure) {
    Sessions(0, 3);
    givenInstead = NoHandle;
    EXPECT_EQ(TwoFactor(), kLaunchFailed);
    givenInstead = nullptr;
    EXPECT_EQ(TwoFactor(), kOk);
}

// What is done with a pseudo handle; nothing of it is done to this process.
Lines usesOfPseudoHandle;

void NoteUse(HANDLE handle, const char* use) {
    if (handle == GetCurrentProcess() || handle == GetCurrentThread()) {
        usesOfPseudoHandle.push_back(use);
    }
}

TEST_F(SessionTest, APseudoHandleIsNoProcessHandle) {
    Sessions(0, 3);
    Patch(
        "WaitForMultipleObjects", +[](DWORD, const HANDLE* handles, BOOL, DWORD) -> DWORD {
            NoteUse(handles[0], "wait");
            return WAIT_FAILED;
        });
    Patch(
        "TerminateProcess", +[](HANDLE process, UINT) -> BOOL {
            NoteUse(process, "terminate");
            return TRUE;
        });
    Patch(
        "CloseHandle", +[](HANDLE handle) -> BOOL {
            NoteUse(handle, "close");
            return CloseHandle(handle);
        });
    usesOfPseudoHandle.clear();
    for (const HANDLE pseudo : {GetCurrentProcess(), GetCurrentThread()}) {
        givenInstead = [pseudo] { return pseudo; };
        EXPECT_EQ(TwoFactor(), kLaunchFailed);
    }
    EXPECT_EQ(usesOfPseudoHandle, Lines());
    EXPECT_EQ(Log().back(), "debug: Show Auth window in current session(3)");
}

HANDLE NewEvent() {
    return CreateEventW(nullptr, TRUE, FALSE, nullptr);
}

TEST_F(SessionTest, NoHandleIsLeft) {
    Sessions(0, 3);
    const auto round = [&] {
        givenInstead = nullptr;
        sessionResult = 0;
        EXPECT_EQ(TwoFactor(), kOk);
        givenInstead = NoHandle;
        EXPECT_EQ(TwoFactor(), kLaunchFailed);
        sessionResult = -1;
        EXPECT_EQ(TwoFactor(), kLaunchFailed);
        givenInstead = NewEvent; // a failure that gives a handle all the same
        EXPECT_EQ(TwoFactor(), kLaunchFailed);
    };
    round();
    const std::size_t handles = CountHandles();
    for (int i = 0; i < 5; ++i) {
        round();
    }
    EXPECT_LE(CountHandles(), handles + 1);
}

TEST_F(SessionTest, AStopTerminatesTheModuleInItsSession) {
    Sessions(0, 3);
    KernelHandle module;
    EXPECT_EQ(WhileTheModuleWaits([&] { return TwoFactor(); },
                                  [&] {
                                      module = OpenModule();
                                      library_.StopRunningZeltoAuth();
                                  }),
              kCancelled);
    EXPECT_EQ(ExitCode(module), kCancelled);
    EXPECT_EQ(sessionStarts.size(), 1u);
    EXPECT_EQ(localStarts, 0);
}

TEST_F(SessionTest, AnOwnSessionThatCannotBeFoundOutCountsAsZero) {
    Sessions(1, 1);
    ownSessionIsKnown = false;
    ExpectStartInSession(1);
}

TEST_F(SessionTest, APositiveResultIsNoFailure) {
    Sessions(0, 3);
    sessionResult = 1;
    ExpectStartInSession(3);
}

TEST_F(SessionTest, NoActiveSessionIsLeftToTheSessionLibrary) {
    Sessions(0, 0xFFFFFFFF);
    sessionResult = -1;
    EXPECT_EQ(TwoFactor(), kLaunchFailed);
    ASSERT_EQ(sessionStarts.size(), 1u);
    EXPECT_EQ(sessionStarts[0].session, 0xFFFFFFFFu);
}

TEST_F(SessionTest, TheStandInRefusesASessionThatDoesNotExist) {
    TakePatchesAway();
    Patch("SelectCurrentActiveTSSession", +[]() -> DWORD { return 0xFFFFFFFF; });
    EXPECT_EQ(TwoFactor(), kLaunchFailed);
    EXPECT_FALSE(ModuleWasStarted());
}

} // namespace
} // namespace zelto::test
