// The trace log of the real DLL over loading and unloading.

#include "tests/support/import_patch.h"
#include "tests/support/library_under_test.h"
#include "tests/support/process_counts.h"
#include "tests/support/trace_lines.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <gmock/gmock.h>
#include <memory>
#include <regex>
#include <thread>

namespace zelto::test {
namespace {

constexpr char kRecord[] = "External browser repeat auth";

// Holds the mutex of the sign-in, so that every call is turned away at once with one error record.
class TraceLoadTest : public testing::Test {
protected:
    TraceLoadTest()
        : mutex_(CreateMutexW(nullptr, FALSE, L"GetSslSamlDataExternalBrowser")),
          event_(CreateEventA(nullptr, TRUE, FALSE, nullptr)) {
        std::filesystem::remove(LibraryUnderTest::TraceLogPath());
        std::filesystem::remove(LibraryUnderTest::ErrorCopyPath());
    }
    ~TraceLoadTest() override {
        CloseHandle(event_);
        CloseHandle(mutex_);
    }

    void LogRecord(const LibraryUnderTest& library) {
        char answer[16];
        EXPECT_EQ(
            library.GetSslSamlDataExternalBrowser(L"gateway.invalid", 1, answer, sizeof(answer), event_),
            0xA7000005u);
    }

    static std::vector<TraceLine> MainLog() { return ReadTraceLines(LibraryUnderTest::TraceLogPath()); }

    static std::ptrdiff_t CountOf(const std::vector<TraceLine>& lines, const std::string& start) {
        return std::count_if(lines.begin(), lines.end(),
                             [&](const TraceLine& line) { return line.text.starts_with(start); });
    }

    // Threads of the process's pool that wait for work end by themselves after some seconds, which is no
    // event that could be waited for. The number that is left when it is down to `goal`, or after 30 seconds.
    static std::size_t ThreadsOnceIdleOnesHaveEnded(std::size_t goal) {
        std::size_t threads = CountThreads();
        for (int i = 0; i < 300 && threads > goal; ++i) {
            Sleep(100);
            threads = CountThreads();
        }
        return threads;
    }

    HANDLE mutex_;
    HANDLE event_;
};

TEST_F(TraceLoadTest, LoadingAndUnloadingAreLoggedToTheLetter) {
    LibraryUnderTest().Unload();
    const std::vector<TraceLine> lines = MainLog();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(std::regex_match(
        lines[0].raw,
        std::regex(
            R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{7} UTC[+-]\d\d:\d\d\] \[\d+:\d+\] \[ZeltoAuth  1354    info\] )"
            R"(\(Time Zone: [^)]+\) \(Thu Mar 19 04:11:33 2026, \d+s\) \d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} )"
            R"(type: 0x1ff size: 0 memory: 0x0000000000000000)")))
        << lines[0].raw;
    EXPECT_TRUE(std::regex_match(
        lines[1].raw,
        std::regex(R"(\[.* UTC[+-]\d\d:\d\d\] \[\d+:\d+\] \[ZeltoAuth  1413    info\] trace stopped)")))
        << lines[1].raw;
    EXPECT_TRUE(ReadBytes(LibraryUnderTest::TraceLogPath()).ends_with("] trace stopped\r\n"));
    EXPECT_EQ(lines[0].pid, GetCurrentProcessId());
    EXPECT_FALSE(std::filesystem::exists(LibraryUnderTest::ErrorCopyPath()));
}

TEST_F(TraceLoadTest, ErrorOfAnExportIsInBothFiles) {
    LibraryUnderTest library;
    LogRecord(library);
    EXPECT_EQ(Messages(ReadTraceLines(LibraryUnderTest::ErrorCopyPath())),
              std::vector<std::string>({std::string("error: ") + kRecord})); // at once
    library.Unload();
    EXPECT_EQ(Messages(MainLog()), std::vector<std::string>({std::string("error: ") + kRecord}));
}

TEST_F(TraceLoadTest, UnloadClosesItsFilesAndUnmapsTheLibrary) {
    LibraryUnderTest library;
    LogRecord(library);
    library.Unload();
    EXPECT_FALSE(LibraryIsLoaded());
    EXPECT_TRUE(std::filesystem::remove(LibraryUnderTest::TraceLogPath()));
    EXPECT_TRUE(std::filesystem::remove(LibraryUnderTest::ErrorCopyPath()));
}

TEST_F(TraceLoadTest, LibraryThatIsLoadedAgainLogsAgain) {
    for (int round = 0; round < 2; ++round) {
        LibraryUnderTest library;
        LogRecord(library);
    }
    const std::vector<TraceLine> lines = MainLog();
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[2].text, "trace stopped");
    EXPECT_TRUE(lines[3].text.starts_with("(Time Zone: "));
    EXPECT_EQ(lines[4].text, kRecord);
    EXPECT_EQ(lines[5].text, "trace stopped");
}

TEST_F(TraceLoadTest, LibraryIsUnloadedByAnotherThreadThanLoadedIt) {
    LibraryUnderTest library;
    LogRecord(library);
    std::thread([&library] { library.Unload(); }).join();
    EXPECT_FALSE(LibraryIsLoaded());
    EXPECT_EQ(MainLog().size(), 3u);
}

HANDLE writerIsBusy; // set when the writer has called the replaced function
HANDLE unloadWaits;  // set when the unload has come to where it waits for the writer
std::atomic<bool> writerWentOn;
DWORD unloadingThread; // which calls it as well, and is not held up
std::unique_ptr<ImportPatch> waiting;

// The writer holds the lock, for which the unload waits before it waits for the writer.
int SlowFlush(std::FILE* file) {
    if (GetCurrentThreadId() != unloadingThread) {
        SetEvent(writerIsBusy);
        Sleep(500); // longer than an unload takes that waits for neither
        writerWentOn = true;
    }
    return std::fflush(file);
}

BOOL WINAPI SlowCounter(LARGE_INTEGER* counter) {
    if (GetCurrentThreadId() != unloadingThread) {
        SetEvent(writerIsBusy);
        writerWentOn = WaitForSingleObject(unloadWaits, 30'000) == WAIT_OBJECT_0;
    }
    return QueryPerformanceCounter(counter);
}

void CALLBACK TellAndWait(PTP_WORK work, BOOL cancel) {
    waiting.reset(); // the library is about to go, with its imports
    SetEvent(unloadWaits);
    WaitForThreadpoolWorkCallbacks(work, cancel);
}

// Unloads while the writer is inside of `function`; it returns into code that must still be there.
template <class Function>
void UnloadWhileTheWriterIsIn(const char* function, Function* replacement) {
    unloadingThread = GetCurrentThreadId();
    writerIsBusy = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    unloadWaits = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    writerWentOn = false;
    LibraryUnderTest library;
    {
        const ImportPatch patch(library.Module(), function, replacement);
        ASSERT_EQ(WaitForSingleObject(writerIsBusy, 30'000), WAIT_OBJECT_0); // its first pass
    }
    waiting = std::make_unique<ImportPatch>(library.Module(), "WaitForThreadpoolWorkCallbacks", &TellAndWait);
    library.Unload();
    EXPECT_EQ(waiting.release(), nullptr); // it must not be restored in a library that has gone
    EXPECT_TRUE(writerWentOn);
    EXPECT_FALSE(LibraryIsLoaded());
    CloseHandle(unloadWaits);
    CloseHandle(writerIsBusy);
}

TEST_F(TraceLoadTest, UnloadWaitsForTheWriterThatIsWriting) {
    UnloadWhileTheWriterIsIn("fflush", &SlowFlush);
    EXPECT_EQ(MainLog().size(), 2u);
}

TEST_F(TraceLoadTest, UnloadWaitsForTheWriterThatDoesNotHoldTheLock) {
    UnloadWhileTheWriterIsIn("QueryPerformanceCounter", &SlowCounter);
    EXPECT_EQ(MainLog().size(), 2u);
}

// Every other round unloads at once, when the writer has hardly begun.
TEST_F(TraceLoadTest, TwoHundredRoundsOfLoadLogAndUnloadLeaveNothing) {
    constexpr int kRounds = 200;
    std::size_t threads = 0;
    std::size_t handles = 0;
    for (int round = 0; round < kRounds; ++round) {
        LibraryUnderTest library;
        if (round % 2 == 0) {
            LogRecord(library);
        }
        library.Unload();
        ASSERT_FALSE(LibraryIsLoaded());
        if (round == 10) {
            threads = CountThreads();
            handles = CountHandlesAndLogFiles();
        }
    }
    EXPECT_LE(ThreadsOnceIdleOnesHaveEnded(threads), threads);
    EXPECT_LE(CountHandlesAndLogFiles(), handles);

    const std::vector<TraceLine> lines = MainLog();
    EXPECT_EQ(CountOf(lines, "(Time Zone: "), kRounds);
    EXPECT_EQ(CountOf(lines, kRecord), kRounds / 2);
    EXPECT_EQ(CountOf(lines, "trace stopped"), kRounds);
}

} // namespace
} // namespace zelto::test
