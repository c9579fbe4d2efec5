#include "auth/kernel_handle.h"
#include "trace/running_trace.h"
#include "trace/shifted_counter.h"
#include "trace/test_key.h"

#include <atomic>
#include <gmock/gmock.h>

namespace zelto {
namespace {

using test::frozen;
using test::ShiftedCounter;

std::atomic<int> registryReads{0};
decltype(&RegOpenKeyExA) openKey;
LSTATUS WINAPI CountRegistryRead(HKEY key, LPCSTR path, DWORD options, REGSAM access, PHKEY result) {
    ++registryReads;
    return openKey(key, path, options, access, result);
}

// The counter stands still at `start_` until a test moves it: to the writer, however slow the machine is, no
// time passes between the start of the trace and what a test does.
class WriterTest : public testing::Test {
protected:
    WriterTest() : openKeyPatch_(OwnModule(), "RegOpenKeyExA", &CountRegistryRead) {
        openKey = openKeyPatch_.Original<LSTATUS WINAPI(HKEY, LPCSTR, DWORD, REGSAM, PHKEY)>();
        registryReads = 0;
        start_ = counter_.FreezeAfter(0);
        TraceStart(folder_.NarrowWithBackslash().c_str(), "host.log");
        EXPECT_TRUE(ShiftedCounter::AwaitReadings(2)); // by the start-up record and by the writer that begins
    }
    ~WriterTest() override {
        TraceStop();
        CloseStreams();
    }

    void SetKeyPath() {
        const TraceLockGuard lock;
        traceState.registryKeyPath.Set(key_.Path());
    }

    // A pass that had not begun when this is called has ended: the one behind it reads the counter.
    void AwaitPass() { ASSERT_TRUE(ShiftedCounter::AwaitNewReadings(2)); }

    Lines MessagesIn(const char* name) { return test::Messages(test::ReadTraceLines(folder_.Path() / name)); }

    test::TempFolder folder_;
    test::TestKey key_;
    ShiftedCounter counter_;
    std::int64_t start_ = 0;
    test::ImportPatch openKeyPatch_;
};

TEST_F(WriterTest, PendingRecordsAreWrittenWhenNothingIsLoggedFor100Milliseconds) {
    TRACE_INFO("soon on disk");
    counter_.AdvanceMilliseconds(200);
    AwaitPass();
    EXPECT_EQ(MessagesIn("host.log"), Lines({"info: soon on disk"}));
}

TEST_F(WriterTest, RecordsStayPendingWhileThereAreCalls) {
    TRACE_INFO("first");
    AwaitPass();
    EXPECT_EQ(MessagesIn("host.log"), Lines());
    frozen = start_ - counter_.Frequency() * 1000; // the writer sees a call in its future
    AwaitPass();
    EXPECT_EQ(MessagesIn("host.log"), Lines());
}

TEST_F(WriterTest, RecordsStayPendingUntilMoreThan100WholeMillisecondsHavePassed) {
    TRACE_INFO("soon on disk");
    frozen = start_ + counter_.Frequency() * 101 / 1000 - 1; // 100 whole milliseconds
    AwaitPass();
    EXPECT_EQ(MessagesIn("host.log"), Lines());
    frozen = start_ + (counter_.Frequency() * 101 + 999) / 1000;
    AwaitPass();
    EXPECT_EQ(MessagesIn("host.log"), Lines({"info: soon on disk"}));
}

TEST_F(WriterTest, RegistryIsReadAfterExactly11Seconds) {
    key_.SetDword("flag", kTraceDefaultFlags);
    key_.SetDword("size", 0);
    SetKeyPath();
    frozen = start_ + counter_.Frequency() * 11 - 1;
    AwaitPass();
    EXPECT_EQ(registryReads, 0);
    frozen = start_ + counter_.Frequency() * 11;
    AwaitPass();
    EXPECT_EQ(registryReads, 1);
    frozen = start_ + counter_.Frequency() * 22 - 1;
    AwaitPass();
    EXPECT_EQ(registryReads, 1);
    frozen = start_ + counter_.Frequency() * 22;
    AwaitPass();
    EXPECT_EQ(registryReads, 2);
}

TEST_F(WriterTest, RegistryIsNeverReadWithoutAKeyPath) {
    counter_.AdvanceMilliseconds(1000000);
    AwaitPass();
    AwaitPass();
    EXPECT_EQ(registryReads, 0);
    EXPECT_EQ(TraceFlags.load(), kTraceDefaultFlags);
}

TEST_F(WriterTest, SettingsAreTakenOverAfter11Seconds) {
    key_.SetDword("flag", 0x10F);
    key_.SetDword("size", 1);
    SetKeyPath();
    counter_.AdvanceMilliseconds(11000);
    AwaitPass();
    EXPECT_EQ(registryReads, 1);
    EXPECT_EQ(TraceFlags.load(), 0x10Fu);
    AwaitPass();
    EXPECT_EQ(registryReads, 1); // not again before the next 11 seconds
    counter_.AdvanceMilliseconds(11000);
    AwaitPass();
    EXPECT_EQ(registryReads, 2);
    TRACE_INFO("rotating");
    key_.SetDword("flag", kTraceDefaultFlags); // the stop reads it
    TraceStop();
    const Lines messages = MessagesIn("host_1.log");
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_NE(messages[0].find("type: 0x10f size: 1 memory: "), std::string::npos) << messages[0];
    EXPECT_EQ(messages[1], "info: rotating");
}

// Holds the writer while it reads the settings, until the stop has ended the records and signals the writer.
DWORD stoppingThread;
HANDLE readingBegun;
HANDLE recordsEnded;
decltype(&SetEvent) setEvent = &SetEvent; // the writer signals by it as well
LSTATUS WINAPI ReadUntilRecordsHaveEnded(HKEY key, LPCSTR path, DWORD options, REGSAM access, PHKEY result) {
    if (GetCurrentThreadId() != stoppingThread) {
        setEvent(readingBegun);
        WaitForSingleObject(recordsEnded, 60'000);
    }
    return openKey(key, path, options, access, result);
}

BOOL WINAPI TellThatRecordsHaveEnded(HANDLE event) {
    if (GetCurrentThreadId() == stoppingThread) {
        setEvent(recordsEnded);
    }
    return setEvent(event);
}

TEST_F(WriterTest, SettingsThatAreReadDuringTheStopAreNotTakenOver) {
    key_.SetDword("flag", 0x10F);
    key_.SetDword("size", 1);
    stoppingThread = GetCurrentThreadId();
    const KernelHandle begun(readingBegun = CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const KernelHandle ended(recordsEnded = CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const test::ImportPatch setEventPatch(OwnModule(), "SetEvent", &TellThatRecordsHaveEnded);
    const test::ImportPatch openPatch(OwnModule(), "RegOpenKeyExA", &ReadUntilRecordsHaveEnded);
    SetKeyPath();
    counter_.AdvanceMilliseconds(11000);
    ASSERT_EQ(WaitForSingleObject(begun.get(), 60'000), WAIT_OBJECT_0);
    TraceStop();
    EXPECT_EQ(TraceFlags.load(), 0u);
    EXPECT_EQ(traceState.sizeLimitMiB, 0u);
}

TEST_F(WriterTest, MissingKeySwitchesTheTraceOff) {
    {
        const TraceLockGuard lock;
        TraceFlush();
        traceState.registryKeyPath.Set("Software\\ZeltoTraceTestNowhere");
    }
    counter_.AdvanceMilliseconds(11000);
    AwaitPass();
    EXPECT_EQ(TraceFlags.load(), 0u);
    const TraceLockGuard lock;
    EXPECT_EQ(traceState.sizeLimitMiB, 512u);
    EXPECT_FALSE(std::filesystem::exists(folder_.Path() / "host.log"));
}

} // namespace
} // namespace zelto
