#include "trace/life_cycle.h"

#include "tests/support/process_counts.h"
#include "trace/log_folder.h"
#include "trace/running_trace.h"
#include "trace/test_key.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <future>
#include <gmock/gmock.h>
#include <regex>
#include <shlobj.h>
#include <thread>

namespace zelto {
namespace {

using testing::ElementsAre;

// A test that starts the trace itself.
class LifeCycleTest : public testing::Test {
protected:
    ~LifeCycleTest() override {
        TraceStop();
        CloseStreams();
    }

    std::vector<test::TraceLine> LinesAfterStop(const std::filesystem::path& file) {
        TraceStop();
        CloseStreams();
        return test::ReadTraceLines(file);
    }

    test::TempFolder folder_;
    const std::string narrow_ = folder_.NarrowWithBackslash();
};

std::string localAppData; // what the patched SHGetFolderPathA gives; empty: it fails
HRESULT WINAPI FolderPath(HWND, int folder, HANDLE user, DWORD which, LPSTR path) {
    EXPECT_EQ(user, nullptr); // whoever runs the host
    EXPECT_EQ(which, static_cast<DWORD>(SHGFP_TYPE_CURRENT));
    if (folder != CSIDL_LOCAL_APPDATA || localAppData.empty()) {
        return E_FAIL;
    }
    std::memcpy(path, localAppData.c_str(), localAppData.size() + 1);
    return S_OK;
}

std::filesystem::path ProgramFolder() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::filesystem::path(path).parent_path();
}

TEST_F(LifeCycleTest, StartAndStopAreLoggedToTheLetter) {
    TraceStart(narrow_.c_str(), "host.log");
    const std::vector<test::TraceLine> lines = LinesAfterStop(folder_.Path() / "host.log");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].line, 1354);
    EXPECT_EQ(lines[0].level, "info");
    EXPECT_TRUE(std::regex_match(lines[0].text,
                                 std::regex(R"(\(Time Zone: [^)]+\) \(Thu Mar 19 04:11:33 2026, \d+s\) )"
                                            R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} type: 0x1ff size: 0 )"
                                            R"(memory: 0x0000000000000000)")))
        << lines[0].text;
    EXPECT_EQ(lines[1].line, 1413);
    EXPECT_EQ(lines[1].level, "info");
    EXPECT_EQ(lines[1].text, "trace stopped");
}

std::string LocalDate() {
    SYSTEMTIME now;
    GetLocalTime(&now);
    char date[16];
    std::snprintf(date, sizeof(date), "%04d-%02d-%02d", now.wYear, now.wMonth, now.wDay);
    return date;
}

TEST_F(LifeCycleTest, StartLineTellsTheSystemsUptimeAndLocalTime) {
    const std::string dateBefore = LocalDate();
    const auto uptimeBefore = static_cast<int>(GetTickCount() / 1000);
    TraceStart(narrow_.c_str(), "host.log");
    const auto uptimeAfter = static_cast<int>(GetTickCount() / 1000);
    const std::string dateAfter = LocalDate(); // midnight may have passed
    const std::string text = LinesAfterStop(folder_.Path() / "host.log").at(0).text;
    std::smatch match;
    ASSERT_TRUE(std::regex_search(text, match, std::regex(R"(2026, (\d+)s\) (\d+-\d+-\d+) )")));
    EXPECT_GE(std::stoi(match[1]), uptimeBefore);
    EXPECT_LE(std::stoi(match[1]), uptimeAfter);
    EXPECT_THAT(match[2].str(), testing::AnyOf(dateBefore, dateAfter));
}

int localTimeReadings;
void WINAPI GiveLocalTimeAndThenAnother(SYSTEMTIME* time) {
    GiveLocalTime(time);
    time->wYear = static_cast<WORD>(time->wYear + localTimeReadings++);
}

TEST_F(LifeCycleTest, StartLineTellsWhenTheStartBeganToTheMillisecond) {
    localTimeReadings = 0;
    const test::ImportPatch time(OwnModule(), "GetLocalTime", &GiveLocalTimeAndThenAnother);
    const test::ImportPatch uptime(OwnModule(), "GetTickCount", &GiveTickCount);
    TraceStart(narrow_.c_str(), "host.log");
    const std::string text = LinesAfterStop(folder_.Path() / "host.log").at(0).text;
    EXPECT_NE(text.find(std::string(", ") + kGivenUptime + ") " + kGivenLocalTime + " type: "),
              std::string::npos)
        << text;
}

bool zoneWasReadAnew;
bool zoneNameWasRead;
decltype(&_get_tzname) readZoneName;
void ReadZoneAnew() {
    zoneWasReadAnew = true;
}
errno_t ReadZoneNameAfterwards(std::size_t* length, char* name, std::size_t size, int index) {
    zoneNameWasRead = true;
    EXPECT_TRUE(zoneWasReadAnew);
    return readZoneName(length, name, size, index);
}

TEST_F(LifeCycleTest, StartReadsTheTimeZoneAnewBeforeItsName) {
    zoneWasReadAnew = false;
    zoneNameWasRead = false;
    const test::ImportPatch zone(OwnModule(), "_tzset", &ReadZoneAnew);
    const test::ImportPatch name(OwnModule(), "_get_tzname", &ReadZoneNameAfterwards);
    readZoneName = name.Original<std::remove_pointer_t<decltype(readZoneName)>>();
    TraceStart(narrow_.c_str(), "host.log");
    EXPECT_TRUE(zoneNameWasRead);
    TraceStop();
}

BOOL WINAPI ClearInfoFlagWhileStarting(LARGE_INTEGER* frequency) {
    TraceFlags &= ~kTraceInfo;
    frequency->QuadPart = 10'000'000;
    return TRUE;
}

TEST_F(LifeCycleTest, StartIsNotLoggedWithoutTheInfoFlag) {
    const test::ImportPatch patch(OwnModule(), "QueryPerformanceFrequency", &ClearInfoFlagWhileStarting);
    TraceStart(narrow_.c_str(), "host.log");
    const auto lines = LinesAfterStop(folder_.Path() / "host.log");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "trace stopped");
}

DWORD WINAPI GiveLongestPath(HMODULE, LPSTR path, DWORD size) {
    std::memset(path, 'x', size - 1);
    path[size - 1] = '\0';
    return size;
}

TEST_F(LifeCycleTest, PathOfTheHostMayHave260Characters) {
    const test::ImportPatch patch(OwnModule(), "GetModuleFileNameA", &GiveLongestPath);
    EXPECT_EQ(HostExecutablePath().View(), std::string(260, 'x'));
}

TEST_F(LifeCycleTest, DefaultsAfterStart) {
    TraceStart(narrow_.c_str(), "host.log");
    EXPECT_EQ(TraceFlags.load(), 0x1FFu);
    const TraceLockGuard lock;
    EXPECT_EQ(traceState.sizeLimitMiB, 0u);
    EXPECT_EQ(traceState.ring, nullptr);
    EXPECT_EQ(traceState.names.main.View(), narrow_ + "host.log");
    EXPECT_EQ(traceState.names.errorCopy.View(), narrow_ + "host_error.log");
    EXPECT_FALSE(traceState.names.rotationA.IsSet());
    EXPECT_FALSE(traceState.registryKeyPath.IsSet());
}

TEST_F(LifeCycleTest, FolderWithoutBackslashStartsNothing) {
    SetLastError(0);
    TraceStart(folder_.Path().string().c_str(), "host.log");
    EXPECT_EQ(GetLastError(), 21u);
    EXPECT_EQ(traceState.initialised, 0u);
    TRACE_ERROR("nothing takes it");
    EXPECT_TRUE(std::filesystem::is_empty(folder_.Path()));
}

TEST_F(LifeCycleTest, FolderThatIsCutAt260CharactersStartsNothing) {
    SetLastError(0);
    TraceStart((narrow_ + std::string(300, 'x') + "\\").c_str(), "host.log");
    EXPECT_EQ(GetLastError(), 21u);
    EXPECT_EQ(traceState.initialised, 0u);
    EXPECT_TRUE(std::filesystem::is_empty(folder_.Path()));
}

TEST_F(LifeCycleTest, SecondStartIsTurnedAway) {
    const test::TempFolder other;
    TraceStart(narrow_.c_str(), "host.log");
    SetLastError(0);
    TraceStart(other.NarrowWithBackslash().c_str(), "other.log");
    EXPECT_EQ(GetLastError(), 183u);
    TRACE_INFO("still the first");
    EXPECT_EQ(test::Messages(LinesAfterStop(folder_.Path() / "host.log")), Lines({"info: still the first"}));
    EXPECT_TRUE(std::filesystem::is_empty(other.Path()));
}

TEST_F(LifeCycleTest, FolderIsCheckedBeforeTheSecondStart) {
    TraceStart(narrow_.c_str(), "host.log");
    TraceStart("C:\\no\\backslash", "other.log");
    EXPECT_EQ(GetLastError(), 21u);
}

TEST_F(LifeCycleTest, WithoutAUsableFileNameItRunsWithoutFiles) {
    for (const char* name : {"", "sub\\host.log", static_cast<const char*>(nullptr)}) {
        TraceStart(narrow_.c_str(), name);
        EXPECT_EQ(traceState.initialised, 1u);
        for (int i = 0; i < 20; ++i) {
            TRACE_ERROR("%s", std::string(16000, 'x').c_str());
        }
        {
            const TraceLockGuard lock;
            EXPECT_LT(traceState.pendingUsed, kFlushThreshold);
            EXPECT_FALSE(traceState.names.main.IsSet());
        }
        TraceStop();
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder_.Path()));
}

TEST_F(LifeCycleTest, WithoutAUsableFileNameNothingGoesToAnEarlierTracesFiles) {
    TraceStart(narrow_.c_str(), "host.log");
    TRACE_ERROR("earlier");
    TraceStop();
    TraceStart(narrow_.c_str(), "");
    TRACE_ERROR("later");
    TraceStop();
    CloseStreams();
    for (const char* name : {"host.log", "host_error.log"}) {
        EXPECT_THAT(test::Messages(test::ReadTraceLines(folder_.Path() / name)),
                    ElementsAre("error: earlier"))
            << name;
    }
}

TEST_F(LifeCycleTest, LocalAppDataInAnyCaseIsTheUsersFolder) {
    const test::ImportPatch patch(OwnModule(), "SHGetFolderPathA", &FolderPath);
    localAppData = folder_.Path().string();
    for (const char* base : {"%localappdata%", "%LOCALAPPDATA%", "%LocalAppData%"}) {
        TraceStart(base, "host.log");
        TRACE_INFO("%s", base);
        TraceStop();
    }
    CloseStreams();
    const auto lines = test::ReadTraceLines(folder_.Path() / "ZeltoClient" / "logs" / "trace" / "host.log");
    EXPECT_THAT(test::Messages(lines),
                ElementsAre("info: %localappdata%", "info: %LOCALAPPDATA%", "info: %LocalAppData%"));
}

TEST_F(LifeCycleTest, WithoutAFolderTheLogLiesBesideTheHost) {
    const test::ImportPatch patch(OwnModule(), "SHGetFolderPathA", &FolderPath);
    localAppData.clear();
    for (const char* base : {"", static_cast<const char*>(nullptr), "%localappdata%"}) {
        const std::string name = "life_cycle_test_" + std::to_string(GetCurrentProcessId()) + ".log";
        TraceStart(base, name.c_str());
        TRACE_INFO("beside");
        const std::filesystem::path file = ProgramFolder() / "logs" / "trace" / name;
        EXPECT_EQ(test::Messages(LinesAfterStop(file)), Lines({"info: beside"}));
        std::filesystem::remove(file);
    }
}

HRESULT WINAPI NoFolder(HWND, int, HANDLE, DWORD, LPSTR path) {
    path[0] = '\0';
    return S_FALSE;
}

TEST_F(LifeCycleTest, UsersFolderThatDoesNotExistCountsAsNone) {
    const test::ImportPatch patch(OwnModule(), "SHGetFolderPathA", &NoFolder);
    const std::string name = "life_cycle_test_" + std::to_string(GetCurrentProcessId()) + ".log";
    TraceStart("%localappdata%", name.c_str());
    TRACE_INFO("beside");
    const std::filesystem::path file = ProgramFolder() / "logs" / "trace" / name;
    EXPECT_EQ(test::Messages(LinesAfterStop(file)), Lines({"info: beside"}));
    std::filesystem::remove(file);
}

TEST_F(LifeCycleTest, StopIsLoggedThoughInfoIsOff) {
    TraceStart(narrow_.c_str(), "host.log");
    TraceFlags = kTraceFileOutput | kTraceError;
    EXPECT_EQ(LinesAfterStop(folder_.Path() / "host.log").back().text, "trace stopped");
}

TEST_F(LifeCycleTest, StopClearsWhatStartHadSet) {
    TraceStart(narrow_.c_str(), "host.log");
    TraceStop();
    EXPECT_EQ(TraceFlags.load(), 0u);
    EXPECT_EQ(traceState.initialised, 0u);
    EXPECT_EQ(traceState.moduleNameLength, 0u);
    EXPECT_EQ(traceState.moduleName[0], 0u);
    EXPECT_FALSE(traceState.names.main.IsSet());
    EXPECT_EQ(traceState.stopEvent, nullptr);
}

int lockAttempts;
BOOL WINAPI CountLockAttempt(CRITICAL_SECTION* lock) {
    lockAttempts += lock == &traceState.lock ? 1 : 0;
    return FALSE;
}

TEST_F(LifeCycleTest, StopWithoutStartDoesNothing) {
    lockAttempts = 0;
    const test::ImportPatch patch(OwnModule(), "TryEnterCriticalSection", &CountLockAttempt);
    TraceStop();
    TraceStopAtProcessEnd();
    EXPECT_EQ(lockAttempts, 0); // there is no lock
    EXPECT_EQ(TraceFlags.load(), 0u);
}

int deletedLocks;
decltype(&DeleteCriticalSection) deleteLock;
void WINAPI CountDeletedLock(CRITICAL_SECTION* lock) {
    deletedLocks += lock == &traceState.lock ? 1 : 0;
    deleteLock(lock);
}

TEST_F(LifeCycleTest, StopDeletesTheLock) {
    deletedLocks = 0;
    const test::ImportPatch patch(OwnModule(), "DeleteCriticalSection", &CountDeletedLock);
    deleteLock = patch.Original<std::remove_pointer_t<decltype(deleteLock)>>();
    TraceStart(narrow_.c_str(), "host.log");
    TraceStop();
    EXPECT_EQ(deletedLocks, 1);
}

int closedWorkItems;
decltype(&CloseThreadpoolWork) closeWork;
void WINAPI CountClosedWork(PTP_WORK work) {
    ++closedWorkItems;
    closeWork(work);
}

TEST_F(LifeCycleTest, StopClosesTheWritersWorkItem) {
    closedWorkItems = 0;
    const test::ImportPatch patch(OwnModule(), "CloseThreadpoolWork", &CountClosedWork);
    closeWork = patch.Original<std::remove_pointer_t<decltype(closeWork)>>();
    TraceStart(narrow_.c_str(), "host.log");
    TraceStop();
    EXPECT_EQ(closedWorkItems, 1);
}

TEST_F(LifeCycleTest, StoppedTraceStartsAgain) {
    for (int i = 0; i < 3; ++i) {
        TraceStart(narrow_.c_str(), "host.log");
        TRACE_INFO("round %d", i);
        TraceStop();
    }
    CloseStreams();
    EXPECT_THAT(test::Messages(test::ReadTraceLines(folder_.Path() / "host.log")),
                ElementsAre("info: round 0", "info: round 1", "info: round 2"));
}

void WINAPI SubmitNothing(PTP_WORK) {}

TEST_F(LifeCycleTest, WriterThatNeverBeganLeavesNoHandle) {
    const test::ImportPatch patch(OwnModule(), "SubmitThreadpoolWork", &SubmitNothing);
    constexpr int kRounds = 20;
    std::size_t before = 0;
    for (int round = 0; round < kRounds; ++round) {
        if (round == kRounds / 2) {
            before = test::CountHandlesAndLogFiles();
        }
        TraceStart(narrow_.c_str(), "host.log");
        TraceStop();
        CloseStreams();
    }
    EXPECT_LT(test::CountHandlesAndLogFiles(), before + kRounds / 2);
}

HANDLE WINAPI NoEvent(LPSECURITY_ATTRIBUTES, BOOL, BOOL, LPCSTR) {
    return nullptr;
}

BOOL WINAPI NoDuplicate(HANDLE, HANDLE, HANDLE, LPHANDLE, DWORD, BOOL, DWORD) {
    return FALSE;
}

PTP_WORK WINAPI NoWork(PTP_WORK_CALLBACK, PVOID, PTP_CALLBACK_ENVIRON) {
    return nullptr;
}

// The trace without its writer: records are written when there are enough of them, and by the stop.
class WithoutWriterTest : public LifeCycleTest {
protected:
    template <class Function>
    void ExpectItServes(const char* import, Function* replacement) {
        const test::ImportPatch patch(OwnModule(), import, replacement);
        StartLogStop(); // opens what the system keeps
        const std::size_t before = test::CountHandlesAndLogFiles();
        for (int round = 0; round < 5; ++round) {
            StartLogStop();
        }
        EXPECT_EQ(test::CountHandlesAndLogFiles(), before);
        EXPECT_EQ(test::Messages(test::ReadTraceLines(folder_.Path() / "host.log")),
                  Lines(6, "info: without a writer"));
    }

private:
    void StartLogStop() {
        TraceStart(narrow_.c_str(), "host.log");
        TRACE_INFO("without a writer");
        TraceStop();
        CloseStreams();
    }
};

TEST_F(WithoutWriterTest, NoStopEvent) {
    ExpectItServes("CreateEventA", &NoEvent);
}

TEST_F(WithoutWriterTest, NoSecondHandleToTheStopEvent) {
    ExpectItServes("DuplicateHandle", &NoDuplicate);
}

TEST_F(WithoutWriterTest, NoWorkItem) {
    ExpectItServes("CreateThreadpoolWork", &NoWork);
}

std::filesystem::path watchedLog;
std::string writtenBeforeStopRecord;
errno_t (*readZone)(long*);
errno_t ReadLogThenZone(long* seconds) {
    writtenBeforeStopRecord = test::ReadBytes(watchedLog);
    return readZone(seconds);
}

// The stop record's local time needs a lock of the CRT that an ended thread may have taken with it.
TEST_F(LifeCycleTest, ProcessEndWritesWhatIsPendingBeforeItsOwnRecord) {
    TraceStart(narrow_.c_str(), "host.log");
    watchedLog = folder_.Path() / "host.log";
    writtenBeforeStopRecord.clear();
    {
        const TraceLockGuard lock; // the writer, which still runs here, neither has it nor writes
        TRACE_INFO("last words");
        const test::ImportPatch patch(OwnModule(), "_get_timezone", &ReadLogThenZone);
        readZone = patch.Original<errno_t(long*)>();
        TraceStopAtProcessEnd();
    }
    EXPECT_NE(writtenBeforeStopRecord.find("last words\r\n"), std::string::npos) << writtenBeforeStopRecord;
    traceState.initialised = 1; // the writer still runs here: end it as an unload does
}

TEST_F(LifeCycleTest, ProcessEndWritesAndClosesWhatItCan) {
    TraceStart(narrow_.c_str(), "host.log");
    {
        const TraceLockGuard lock; // the writer, which still runs here, neither has it nor writes
        TRACE_ERROR("last words");
        TraceStopAtProcessEnd();
    }
    EXPECT_EQ(traceState.mainLog.file, nullptr);
    EXPECT_EQ(traceState.errorCopy.file, nullptr);
    EXPECT_EQ(traceState.initialised, 0u);
    const auto lines = test::ReadTraceLines(folder_.Path() / "host.log");
    EXPECT_EQ(lines.back().text, "trace stopped");
    const auto other = std::async(std::launch::async, [] { const TraceLockGuard lock; });
    const bool free = other.wait_for(std::chrono::seconds(60)) == std::future_status::ready;
    EXPECT_TRUE(free);
    if (!free) {
        LeaveCriticalSection(&traceState.lock); // held by this thread; the other one waits for it
    }
    traceState.initialised = 1; // the writer still runs here: end it as an unload does
}

// A thread that was ended while it held the trace lock leaves it held for ever.
TEST_F(LifeCycleTest, ProcessEndNeverWaitsForTheLock) {
    TraceStart(narrow_.c_str(), "host.log");
    std::promise<void> held;
    std::promise<void> release;
    std::thread owner([&] {
        const TraceLockGuard lock;
        held.set_value();
        release.get_future().wait();
    });
    held.get_future().wait();
    TraceStopAtProcessEnd();
    EXPECT_EQ(traceState.initialised, 1u);
    release.set_value();
    owner.join();
    const auto lines = LinesAfterStop(folder_.Path() / "host.log");
    EXPECT_EQ(lines.size(), 2u); // one "trace stopped", by this stop
}

} // namespace
} // namespace zelto
