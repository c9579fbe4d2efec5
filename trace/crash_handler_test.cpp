#include "trace/crash_handler.h"

#include "tests/support/process_counts.h"
#include "trace/crash_dump.h"
#include "trace/running_trace.h"
#include "trace/settings.h"

#include <atomic>
#include <cstring>
#include <dbghelp.h>
#include <future>
#include <gmock/gmock.h>
#include <regex>
#include <thread>

namespace zelto {
namespace {

constexpr std::uint64_t kWithDumps = kTraceDefaultFlags | kTraceMemoryRing | kTraceCrashDumps;

LONG WINAPI HostsFilter(EXCEPTION_POINTERS*) {
    return EXCEPTION_EXECUTE_HANDLER;
}
LONG WINAPI HostsLaterFilter(EXCEPTION_POINTERS*) {
    return EXCEPTION_EXECUTE_HANDLER;
}

LPTOP_LEVEL_EXCEPTION_FILTER CurrentFilter() {
    const LPTOP_LEVEL_EXCEPTION_FILTER current = SetUnhandledExceptionFilter(nullptr);
    SetUnhandledExceptionFilter(current);
    return current;
}

// What the library asks the system for; the dump itself is left out here.
struct Asked {
    std::string name;
    DWORD access = 0;
    DWORD share = 0;
    DWORD disposition = 0;
    int dumps = 0;
    MINIDUMP_TYPE type = MiniDumpNormal;
    MINIDUMP_EXCEPTION_INFORMATION exception = {};
    DWORD processId = 0;
    bool ringWasThere = false;
    std::uint8_t traceRan = 1;
    bool writerRan = true;
    DWORD dumpedBy = 0; // the thread that asked
};
Asked asked;
decltype(&CreateFileA) createFile;

HANDLE WINAPI RecordCreateFile(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                               DWORD disposition, DWORD attributes, HANDLE model) {
    asked.name = name;
    asked.access = access;
    asked.share = share;
    asked.disposition = disposition;
    return createFile("NUL", access, share, security, OPEN_EXISTING, attributes, model);
}

BOOL WINAPI RecordDump(HANDLE, DWORD processId, HANDLE, MINIDUMP_TYPE type,
                       PMINIDUMP_EXCEPTION_INFORMATION exception, PMINIDUMP_USER_STREAM_INFORMATION,
                       PMINIDUMP_CALLBACK_INFORMATION) {
    ++asked.dumps;
    asked.type = type;
    asked.exception = *exception;
    asked.processId = processId;
    asked.ringWasThere = traceState.ring != nullptr && traceState.ring->counter == 3 &&
                         std::strcmp(traceState.ring->name, "TraceMemLogHead") == 0;
    asked.traceRan = traceState.initialised.load();
    asked.writerRan = traceState.stopEvent != nullptr;
    asked.dumpedBy = GetCurrentThreadId();
    return TRUE;
}

std::string pathOfHost;
DWORD WINAPI GivePath(HMODULE, LPSTR path, DWORD) {
    std::memcpy(path, pathOfHost.c_str(), pathOfHost.size() + 1);
    return static_cast<DWORD>(pathOfHost.size());
}

// The place of `low` counts as the top of the stack. (Under Wine no thread's stack is small.)
ULONG_PTR stackLeft;
void WINAPI GiveStackLeft(PULONG_PTR low, PULONG_PTR high) {
    *high = reinterpret_cast<ULONG_PTR>(low);
    *low = *high - stackLeft;
}

decltype(&WaitForSingleObject) waitFor = &WaitForSingleObject; // the writer waits by it as well

// The helper begins, however long that takes: the crashed thread has no patience of 5 seconds.
DWORD WINAPI AwaitHelper(HANDLE object, DWORD milliseconds) {
    return waitFor(object, milliseconds == 5000 ? INFINITE : milliseconds);
}

class CrashHandlerTest : public RunningTraceTest {
public:
    // Calls the installed filter as the system does.
    LONG Crash() {
        record_.ExceptionCode = EXCEPTION_ACCESS_VIOLATION;
        return CurrentFilter()(&pointers_);
    }

    // The same on another thread, whose id is returned.
    DWORD CrashOnThread() {
        DWORD id = 0;
        const HANDLE thread = CreateThread(nullptr, 0, &CrashFor, this, 0, &id);
        EXPECT_EQ(WaitForSingleObject(thread, 30'000), WAIT_OBJECT_0);
        DWORD answer = 1;
        GetExitCodeThread(thread, &answer);
        CloseHandle(thread);
        EXPECT_EQ(answer, 0u);
        return id;
    }

    // The same with no more than `bytes` of its stack left.
    DWORD CrashWithStack(ULONG_PTR bytes = 0x10000, decltype(&WaitForSingleObject) wait = &AwaitHelper) {
        stackLeft = bytes;
        const test::ImportPatch stack(OwnModule(), "GetCurrentThreadStackLimits", &GiveStackLeft);
        const test::ImportPatch patience(OwnModule(), "WaitForSingleObject", wait);
        return CrashOnThread();
    }

protected:
    CrashHandlerTest()
        : formerFilter_(SetUnhandledExceptionFilter(&HostsFilter)),
          createFilePatch_(OwnModule(), "CreateFileA", &RecordCreateFile),
          dumpPatch_(OwnModule(), "MiniDumpWriteDump", &RecordDump) {
        createFile = createFilePatch_.Original<std::remove_pointer_t<decltype(&CreateFileA)>>();
        asked = {};
    }
    ~CrashHandlerTest() override {
        Stop();
        SetUnhandledExceptionFilter(formerFilter_);
    }

    void Apply(std::uint64_t flags) {
        const TraceLockGuard lock;
        ApplyTraceSettings({flags, 0});
    }

    static DWORD WINAPI CrashFor(void* test) {
        return static_cast<DWORD>(static_cast<CrashHandlerTest*>(test)->Crash());
    }

    EXCEPTION_RECORD record_ = {};
    CONTEXT context_ = {};
    EXCEPTION_POINTERS pointers_ = {&record_, &context_};

private:
    LPTOP_LEVEL_EXCEPTION_FILTER formerFilter_;
    test::ImportPatch createFilePatch_;
    test::ImportPatch dumpPatch_;
};

TEST_F(CrashHandlerTest, IsNotInstalledByTheDefaults) {
    EXPECT_EQ(CurrentFilter(), &HostsFilter);
}

TEST_F(CrashHandlerTest, FlagInstallsItAndClearingTheFlagPutsTheHostsFilterBack) {
    Apply(kWithDumps);
    EXPECT_NE(CurrentFilter(), &HostsFilter);
    Apply(kWithDumps | kTraceConsoleOutput | kTraceNoColours); // still installed
    Apply(kTraceDefaultFlags);
    EXPECT_EQ(CurrentFilter(), &HostsFilter);
}

TEST_F(CrashHandlerTest, ChangeWithoutTheFlagLeavesTheHostsFilterAlone) {
    Apply(kTraceDefaultFlags | kTraceMemoryRing);
    EXPECT_EQ(CurrentFilter(), &HostsFilter);
}

TEST_F(CrashHandlerTest, FilterThatTheHostHasSetSinceStaysAndNoDumpIsWritten) {
    Apply(kWithDumps);
    const LPTOP_LEVEL_EXCEPTION_FILTER ours = SetUnhandledExceptionFilter(&HostsLaterFilter);
    Apply(kTraceDefaultFlags);
    EXPECT_EQ(CurrentFilter(), &HostsLaterFilter);
    EXPECT_EQ(ours(&pointers_), EXCEPTION_CONTINUE_SEARCH); // the host may have kept it
    EXPECT_EQ(asked.dumps, 0);
}

TEST_F(CrashHandlerTest, NextChangeWithTheFlagTakesTheFilterOverAgain) {
    Apply(kWithDumps);
    SetUnhandledExceptionFilter(&HostsLaterFilter);
    Apply(kWithDumps & ~kTraceMemoryRing);
    EXPECT_NE(CurrentFilter(), &HostsLaterFilter);
    Apply(kTraceDefaultFlags);
    EXPECT_EQ(CurrentFilter(), &HostsLaterFilter);
}

TEST_F(CrashHandlerTest, StopRemovesIt) {
    Apply(kWithDumps);
    TraceStop();
    EXPECT_EQ(CurrentFilter(), &HostsFilter);
}

BOOL WINAPI SetFlagsWhileStarting(LARGE_INTEGER* frequency) {
    TraceFlags |= kTraceCrashDumps | kTraceMemoryRing;
    frequency->QuadPart = 10'000'000;
    return TRUE;
}

TEST_F(CrashHandlerTest, StartInstallsItWhenTheFlagIsSetByThen) {
    Stop();
    const test::ImportPatch patch(OwnModule(), "QueryPerformanceFrequency", &SetFlagsWhileStarting);
    TraceStart(folder_.NarrowWithBackslash().c_str(), "host.log");
    EXPECT_NE(CurrentFilter(), &HostsFilter);
    Stop();
    EXPECT_EQ(CurrentFilter(), &HostsFilter);
}

TEST_F(CrashHandlerTest, StartMakesTheRingWhenItsFlagIsSetByThen) {
    Stop();
    const test::ImportPatch patch(OwnModule(), "QueryPerformanceFrequency", &SetFlagsWhileStarting);
    TraceStart(folder_.NarrowWithBackslash().c_str(), "host.log");
    EXPECT_NE(traceState.ring, nullptr);
}

TEST_F(CrashHandlerTest, CrashIsLoggedTheTraceStoppedAndTheDumpAskedFor) {
    Apply(kWithDumps);
    EXPECT_EQ(Crash(), EXCEPTION_CONTINUE_SEARCH);
    const std::vector<test::TraceLine> lines = test::ReadTraceLines(File("host.log"));
    ASSERT_GE(lines.size(), 2u);
    char host[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, host, MAX_PATH);
    const test::TraceLine& line = lines[lines.size() - 2];
    EXPECT_EQ(line.line, 400);
    EXPECT_EQ(line.level, "info");
    EXPECT_EQ(line.text, host);
    EXPECT_EQ(lines.back().text, "trace stopped");

    const std::string start = std::string(host) + " [" + std::to_string(GetCurrentProcessId()) + "." +
                              std::to_string(GetCurrentThreadId()) + "] ";
    ASSERT_EQ(asked.name.substr(0, start.size()), start);
    EXPECT_TRUE(std::regex_match(asked.name.substr(start.size()),
                                 std::regex(R"(\d{4}-\d\d-\d\d \d\d\.\d\d\.\d\d\.dmp)")));
    EXPECT_EQ(asked.access, static_cast<DWORD>(GENERIC_READ | GENERIC_WRITE));
    EXPECT_EQ(asked.share, static_cast<DWORD>(FILE_SHARE_READ | FILE_SHARE_WRITE));
    EXPECT_EQ(asked.disposition, static_cast<DWORD>(CREATE_ALWAYS));
    EXPECT_EQ(asked.dumps, 1);
    EXPECT_EQ(static_cast<int>(asked.type), 0x3FE);
    EXPECT_EQ(asked.processId, GetCurrentProcessId());
    EXPECT_EQ(asked.exception.ThreadId, GetCurrentThreadId());
    EXPECT_EQ(asked.exception.ExceptionPointers, &pointers_);
    EXPECT_TRUE(asked.exception.ClientPointers);
    EXPECT_TRUE(asked.ringWasThere);
    EXPECT_EQ(asked.traceRan, 0u); // it is stopped first
    EXPECT_FALSE(asked.writerRan);
    EXPECT_EQ(asked.dumpedBy, GetCurrentThreadId());
}

TEST_F(CrashHandlerTest, DumpIsNamedAfterTheLocalTime) {
    Apply(kWithDumps);
    const test::ImportPatch patch(OwnModule(), "GetLocalTime", &GiveLocalTime);
    Crash();
    EXPECT_TRUE(asked.name.ends_with("] 2031-02-03 14.05.06.dmp")) << asked.name;
}

TEST_F(CrashHandlerTest, HostIsNotLoggedWithoutTheInfoFlag) {
    Apply(kWithDumps & ~kTraceInfo);
    Crash();
    const std::string log = Bytes("host.log");
    EXPECT_EQ(log.find("[ZeltoAuth  400    info]"), std::string::npos) << log;
    EXPECT_NE(log.find("trace stopped"), std::string::npos) << log;
    EXPECT_EQ(asked.dumps, 1);
}

TEST_F(CrashHandlerTest, WithoutThePathOfTheHostNothingIsDone) {
    Apply(kWithDumps);
    pathOfHost.clear();
    const test::ImportPatch patch(OwnModule(), "GetModuleFileNameA", &GivePath);
    EXPECT_EQ(Crash(), EXCEPTION_CONTINUE_SEARCH);
    EXPECT_EQ(traceState.initialised, 1u);
    EXPECT_EQ(asked.name, "");
}

TEST_F(CrashHandlerTest, PathWithoutABackslashStopsTheTraceOnly) {
    Apply(kWithDumps);
    pathOfHost = "host.exe";
    const test::ImportPatch patch(OwnModule(), "GetModuleFileNameA", &GivePath);
    EXPECT_EQ(Crash(), EXCEPTION_CONTINUE_SEARCH);
    EXPECT_EQ(traceState.initialised, 0u);
    EXPECT_EQ(asked.name, "");
    EXPECT_NE(Bytes("host.log").find("[ZeltoAuth  400    info] host.exe\r\n"), std::string::npos);
}

HANDLE WINAPI NoFile(LPCSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE) {
    return INVALID_HANDLE_VALUE;
}

TEST_F(CrashHandlerTest, WithoutItsFileThereIsNoDump) {
    Apply(kWithDumps);
    const test::ImportPatch patch(OwnModule(), "CreateFileA", &NoFile);
    EXPECT_EQ(Crash(), EXCEPTION_CONTINUE_SEARCH);
    EXPECT_EQ(asked.dumps, 0);
}

LPTOP_LEVEL_EXCEPTION_FILTER installedFilter;
int nested;
DWORD WINAPI CrashAndGivePath(HMODULE, LPSTR path, DWORD size) {
    EXCEPTION_POINTERS pointers = {};
    nested += installedFilter(&pointers) == EXCEPTION_CONTINUE_SEARCH ? 1 : 100;
    std::strncpy(path, "Z:\\host.exe", size);
    return 11;
}

TEST_F(CrashHandlerTest, CrashDuringTheDumpIsNotDumped) {
    Apply(kWithDumps);
    installedFilter = CurrentFilter();
    nested = 0;
    const test::ImportPatch patch(OwnModule(), "GetModuleFileNameA", &CrashAndGivePath);
    EXPECT_EQ(Crash(), EXCEPTION_CONTINUE_SEARCH);
    EXPECT_EQ(nested, 1);
    EXPECT_EQ(asked.dumps, 1);
}

TEST_F(CrashHandlerTest, CrashOfTheThreadThatDumpsForAnotherIsNotDumped) {
    Apply(kWithDumps);
    installedFilter = CurrentFilter();
    nested = 0;
    const test::ImportPatch patch(OwnModule(), "GetModuleFileNameA", &CrashAndGivePath);
    CrashWithStack();
    EXPECT_EQ(nested, 1);
    EXPECT_EQ(asked.dumps, 1);
}

// A thread that crashes while another one's crash is being dumped.
struct LaterCrash {
    EXCEPTION_POINTERS* pointers = nullptr;
    HANDLE waits = nullptr; // event
    std::atomic<DWORD> thread{0};
    std::atomic<bool> dumpIsComplete{false};
    bool returnedAfterTheDump = false;
};
LaterCrash later;

decltype(&AcquireSRWLockExclusive) acquire;
void WINAPI TellThatItWaits(SRWLOCK* lock) {
    if (GetCurrentThreadId() == later.thread) {
        SetEvent(later.waits);
    }
    acquire(lock);
}

DWORD WINAPI CrashLater(void*) {
    later.thread = GetCurrentThreadId();
    installedFilter(later.pointers);
    later.returnedAfterTheDump = later.dumpIsComplete;
    return 0;
}

HANDLE laterThread;
BOOL WINAPI DumpUntilTheOtherWaits(HANDLE, DWORD, HANDLE, MINIDUMP_TYPE, PMINIDUMP_EXCEPTION_INFORMATION,
                                   PMINIDUMP_USER_STREAM_INFORMATION, PMINIDUMP_CALLBACK_INFORMATION) {
    ++asked.dumps;
    laterThread = CreateThread(nullptr, 0, &CrashLater, nullptr, 0, nullptr);
    const HANDLE either[] = {later.waits, laterThread};
    WaitForMultipleObjects(2, either, FALSE, INFINITE);
    later.dumpIsComplete = true;
    return TRUE;
}

// Its return ends the process as a rule.
TEST_F(CrashHandlerTest, CrashDuringAnothersDumpReturnsWhenThatIsComplete) {
    Apply(kWithDumps);
    installedFilter = CurrentFilter();
    later.pointers = &pointers_;
    later.waits = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    {
        const test::ImportPatch dump(OwnModule(), "MiniDumpWriteDump", &DumpUntilTheOtherWaits);
        const test::ImportPatch lock(OwnModule(), "AcquireSRWLockExclusive", &TellThatItWaits);
        acquire = lock.Original<std::remove_pointer_t<decltype(acquire)>>();
        Crash();
        EXPECT_EQ(WaitForSingleObject(laterThread, 30'000), WAIT_OBJECT_0);
    }
    CloseHandle(laterThread);
    CloseHandle(later.waits);
    EXPECT_TRUE(later.returnedAfterTheDump);
    EXPECT_EQ(asked.dumps, 1);
    CrashOnThread();
    EXPECT_EQ(asked.dumps, 2);
}

// A host that goes on after a crash can unload the library as ever.
TEST_F(CrashHandlerTest, StopAfterASurvivedCrashClearsUp) {
    Apply(kWithDumps);
    Crash();
    EXPECT_EQ(TraceFlags.load(), 0u);
    EXPECT_FALSE(traceState.names.main.IsSet());
    EXPECT_NE(traceState.ring, nullptr);
    TraceStop();
    EXPECT_EQ(traceState.ring, nullptr);
    EXPECT_EQ(CurrentFilter(), &HostsFilter);
}

bool inCrash = false;
DWORD WINAPI WaitInVainInACrash(HANDLE object, DWORD milliseconds) {
    if (milliseconds != 2000) {
        return waitFor(object, milliseconds);
    }
    return inCrash ? DWORD{WAIT_TIMEOUT} : waitFor(object, INFINITE);
}

TEST_F(CrashHandlerTest, WriterThatHasNotEndedInTheCrashIsAwaitedByTheStop) {
    const test::ImportPatch patch(OwnModule(), "WaitForSingleObject", &WaitInVainInACrash);
    const auto crashAndStop = [this] {
        Apply(kWithDumps);
        inCrash = true;
        Crash();
        inCrash = false;
        Stop();
        TraceStart(folder_.NarrowWithBackslash().c_str(), "host.log");
    };
    crashAndStop();
    const std::size_t handles = test::CountHandlesAndLogFiles();
    for (int round = 0; round < 5; ++round) {
        crashAndStop();
    }
    EXPECT_LT(test::CountHandlesAndLogFiles(), handles + 5);
}

std::atomic<int> atTheLock{0}; // threads that wait for the trace lock, or are about to take it
decltype(&EnterCriticalSection) enterLock = &EnterCriticalSection;
void WINAPI CountAtTheLock(CRITICAL_SECTION* lock) {
    const int one = lock == &traceState.lock ? 1 : 0;
    atTheLock += one;
    atTheLock.notify_all();
    enterLock(lock);
    atTheLock -= one;
}

TEST_F(CrashHandlerTest, WriterThatWaitsForTheCrashedThreadsLockDoesNotHangIt) {
    Stop();
    const test::ImportPatch patch(OwnModule(), "EnterCriticalSection", &CountAtTheLock);
    TraceStart(folder_.NarrowWithBackslash().c_str(), "host.log");
    Apply(kWithDumps);
    {
        const TraceLockGuard lock;
        atTheLock.wait(0); // each of the writer's passes takes it
        EXPECT_EQ(Crash(), EXCEPTION_CONTINUE_SEARCH);
    }
    EXPECT_EQ(asked.dumps, 1);
    TraceStop(); // awaits the writer, which is still to leave CountAtTheLock
}

TEST_F(CrashHandlerTest, SecondCrashThatIsSurvivedIsDumpedAgain) {
    Apply(kWithDumps);
    Crash();
    Crash();
    EXPECT_EQ(asked.dumps, 2);
}

TEST_F(CrashHandlerTest, LittleStackIsNoHindrance) {
    Apply(kWithDumps);
    const DWORD thread = CrashWithStack(0x3FFFF);
    EXPECT_EQ(asked.dumps, 1);
    EXPECT_EQ(asked.exception.ThreadId, thread);
    EXPECT_NE(asked.dumpedBy, thread);
}

TEST_F(CrashHandlerTest, EnoughStackNeedsNoOtherThread) {
    Apply(kWithDumps);
    const DWORD thread = CrashWithStack(0x40000);
    EXPECT_EQ(asked.dumps, 1);
    EXPECT_EQ(asked.exception.ThreadId, thread);
    EXPECT_EQ(asked.dumpedBy, thread);
}

// The helper is the one thread whose id nobody asks for.
decltype(&CreateThread) createThread;
HANDLE WINAPI NoHelper(LPSECURITY_ATTRIBUTES security, SIZE_T stack, LPTHREAD_START_ROUTINE start,
                       LPVOID argument, DWORD flags, LPDWORD id) {
    return id == nullptr ? nullptr : createThread(security, stack, start, argument, flags, id);
}

TEST_F(CrashHandlerTest, LittleStackIsNotDumpedWhileThereIsNoThreadToDoIt) {
    Apply(kWithDumps);
    {
        const test::ImportPatch patch(OwnModule(), "CreateThread", &NoHelper);
        createThread = patch.Original<std::remove_pointer_t<decltype(createThread)>>();
        CrashWithStack();
        const std::size_t handles = test::CountHandlesAndLogFiles();
        for (int crash = 0; crash < 5; ++crash) {
            CrashWithStack();
        }
        EXPECT_EQ(asked.dumps, 0);
        EXPECT_LT(test::CountHandlesAndLogFiles(), handles + 5);
    }
    CrashWithStack();
    EXPECT_EQ(asked.dumps, 1);
}

DWORD WINAPI TimeOutWhenTheHelperHasBegun(HANDLE object, DWORD milliseconds) {
    if (milliseconds != 5000) {
        return waitFor(object, milliseconds);
    }
    waitFor(object, INFINITE);
    return WAIT_TIMEOUT;
}

TEST_F(CrashHandlerTest, HelperThatBeginsAtTheLastMomentIsAwaited) {
    Apply(kWithDumps);
    CrashWithStack(0x10000, &TimeOutWhenTheHelperHasBegun);
    EXPECT_EQ(asked.dumps, 1);
    CrashWithStack(0x10000, &TimeOutWhenTheHelperHasBegun);
    EXPECT_EQ(asked.dumps, 2);
}

TEST_F(CrashHandlerTest, LittleStackIsNoHindranceAgainAndLeavesNoHandle) {
    Apply(kWithDumps);
    CrashWithStack();
    const std::size_t handles = test::CountHandlesAndLogFiles();
    for (int crash = 0; crash < 5; ++crash) {
        CrashWithStack();
    }
    EXPECT_EQ(asked.dumps, 6);
    EXPECT_LT(test::CountHandlesAndLogFiles(), handles + 5);
}

// The lock of the trace is held for ever: the dump comes all the same.
TEST_F(CrashHandlerTest, TraceLockThatIsNotGivenBackDoesNotHangIt) {
    Apply(kWithDumps);
    std::promise<void> held;
    std::promise<void> release;
    std::thread owner([&] {
        const TraceLockGuard lock;
        held.set_value();
        release.get_future().wait();
    });
    held.get_future().wait();
    EXPECT_EQ(Crash(), EXCEPTION_CONTINUE_SEARCH);
    EXPECT_EQ(asked.dumps, 1);
    release.set_value();
    owner.join();
}

} // namespace
} // namespace zelto
