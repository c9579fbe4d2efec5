#include "trace/running_trace.h"

#include <cerrno>
#include <cstdlib>
#include <gmock/gmock.h>
#include <memory>
#include <regex>

namespace zelto {
namespace {

using testing::ElementsAre;

class TraceLogTest : public RunningTraceTest {};

// The one file line that holds `message`, with its end.
std::string LineWith(const std::string& bytes, const std::string& message) {
    const std::size_t at = bytes.find(message);
    if (at == std::string::npos) {
        return {};
    }
    const std::size_t before = bytes.rfind('\n', at);
    const std::size_t start = before == std::string::npos ? 0 : before + 1;
    return bytes.substr(start, bytes.find('\n', at) + 1 - start);
}

TEST_F(TraceLogTest, InfoRecordIsWrittenToTheMainLogToTheLetter) {
    TraceLog(nullptr, 0, 400, kLevelInfo, "%s() called", "GetRemoteInfo");
    Stop();
    const std::string line = LineWith(Bytes("host.log"), "GetRemoteInfo");
    const std::regex form(
        "\\[\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{7} UTC[+-]\\d\\d:\\d\\d\\] \\[(\\d+):(\\d+)\\] "
        "\\[ZeltoAuth  400    info\\] GetRemoteInfo\\(\\) called\\r\\n");
    std::smatch match;
    ASSERT_TRUE(std::regex_match(line, match, form)) << line;
    EXPECT_EQ(match[1], std::to_string(GetCurrentProcessId()));
    EXPECT_EQ(match[2], std::to_string(GetCurrentThreadId()));
    EXPECT_FALSE(std::filesystem::exists(File("host_error.log")));
}

TEST_F(TraceLogTest, OnlyErrorRecordsAreCopied) {
    TRACE_INFO("one");
    TRACE_DEBUG("two");
    TRACE_WARNING("three");
    TRACE_ERROR("four");
    Stop();
    EXPECT_THAT(MessagesIn("host.log"),
                ElementsAre("info: one", "debug: two", "warning: three", "error: four"));
    EXPECT_THAT(MessagesIn("host_error.log"), ElementsAre("error: four"));
    EXPECT_EQ(Bytes("host_error.log"), LineWith(Bytes("host.log"), "four"));
}

TEST_F(TraceLogTest, ErrorRecordIsOnDiskAtOnce) {
    TRACE_ERROR("at once");
    EXPECT_THAT(MessagesIn("host_error.log"), ElementsAre("error: at once"));
}

TEST_F(TraceLogTest, CallerTestsTheLevelBit) {
    TraceFlags = kTraceFileOutput | kTraceWarning;
    TRACE_INFO("info");
    TRACE_DEBUG("debug");
    TRACE_WARNING("warning");
    TRACE_ERROR("error");
    TraceLog(nullptr, 0, 1, kLevelInfo, "not tested");
    Stop();
    EXPECT_THAT(MessagesIn("host.log"), ElementsAre("warning: warning", "info: not tested"));
}

TEST_F(TraceLogTest, NothingIsTakenWithoutAnyOutput) {
    TraceFlags = 0xFFu;
    TRACE_ERROR("nowhere to go");
    TraceFlags = kTraceDefaultFlags;
    Stop();
    EXPECT_EQ(MessagesIn("host.log"), Lines());
    EXPECT_FALSE(std::filesystem::exists(File("host_error.log")));
}

TEST_F(TraceLogTest, StoppedTraceTakesNothing) {
    Stop();
    TraceFlags = kTraceDefaultFlags;
    TRACE_ERROR("too late");
    TraceFlags = 0;
    EXPECT_EQ(MessagesIn("host.log"), Lines());
}

TEST_F(TraceLogTest, KeepsLastErrorAndErrno) {
    SetLastError(4711);
    errno = 99;
    TRACE_ERROR("opens the error copy"); // and its folder
    EXPECT_EQ(GetLastError(), 4711u);
    EXPECT_EQ(errno, 99);
}

TEST_F(TraceLogTest, KeepsLastErrorWhenAFileCannotBeOpened) {
    {
        const TraceLockGuard lock;
        traceState.names.errorCopy.Set(folder_.NarrowWithBackslash(), "no*such?name");
    }
    SetLastError(4711);
    errno = 99;
    TRACE_ERROR("%s", std::string(20000, 'x').c_str());
    EXPECT_EQ(GetLastError(), 4711u);
    EXPECT_EQ(errno, 99);
}

TEST_F(TraceLogTest, KeepsLastErrorWhenItFlushesAndWhenItDoesNothing) {
    const std::string text(16000, 'x');
    for (int i = 0; i < 8; ++i) { // the seventh is written out
        SetLastError(4711);
        TRACE_INFO("%s", text.c_str());
        EXPECT_EQ(GetLastError(), 4711u) << i;
    }
    Stop();
    SetLastError(4712);
    TraceLog(nullptr, 0, 1, kLevelError, "stopped");
    EXPECT_EQ(GetLastError(), 4712u);
}

TEST_F(TraceLogTest, BlocksAreLeftOutByFlags) {
    TraceFlags = kTraceDefaultFlags | kTraceNoTime | kTraceNoProcessId | kTraceNoThreadId | kTraceNoLine;
    TRACE_INFO("short head");
    TraceFlags = kTraceDefaultFlags | kTraceNoLabel;
    TRACE_INFO("no head");
    TraceFlags = kTraceDefaultFlags;
    Stop();
    EXPECT_NE(Bytes("host.log").find("\r\n[ZeltoAuth    info] short head\r\nno head\r\n["),
              std::string::npos);
}

TEST_F(TraceLogTest, MessageOf20000CharactersIsCut) {
    TRACE_INFO("%s", std::string(20000, 'm').c_str());
    Stop();
    EXPECT_THAT(MessagesIn("host.log"), ElementsAre("info: " + std::string(16380, 'm') + "..."));
}

TEST_F(TraceLogTest, RecordsArePendingUntilMoreThan96KiB) {
    std::string line;
    {
        const TraceLockGuard lock; // keeps the writer from flushing
        TraceFlags = kTraceDefaultFlags | kTraceNoTime | kTraceNoProcessId | kTraceNoThreadId |
                     kTraceNoLabel | kTraceNoModuleName;
        TraceFlush();
        const std::string text(8192 - 2, 'p');
        for (int i = 0; i < 12; ++i) {
            TRACE_INFO("%s", text.c_str());
        }
        EXPECT_EQ(traceState.pendingUsed, 98304u); // the threshold itself
        TRACE_INFO("%s", "");
        EXPECT_EQ(traceState.pendingUsed, 0u);
    }
}

TEST_F(TraceLogTest, FullPendingBufferIsWrittenWithoutFileOutputToo) {
    {
        const TraceLockGuard lock;
        TraceFlags = kTraceDebuggerOutput | kTraceInfo;
        for (int i = 0; i < 7; ++i) {
            TRACE_INFO("%s", std::string(16000, 'f').c_str());
        }
        EXPECT_EQ(traceState.pendingUsed, 0u);
        TraceFlags = kTraceDefaultFlags;
    }
    Stop();
    EXPECT_EQ(MessagesIn("host.log"), Lines(7, "info: " + std::string(16000, 'f')));
}

TEST_F(TraceLogTest, HexDumpFollowsTheRecordInTheMainLogOnly) {
    TraceFlags = kTraceDefaultFlags | kTraceNoLabel;
    TraceLog("0123456789abcdefXY\n", 19, 7, kLevelError, "dump");
    TraceLog("not shown", 0, 7, kLevelInfo, "empty");
    TraceLog(nullptr, 9, 7, kLevelInfo, "null");
    TraceFlags = kTraceDefaultFlags;
    Stop();
    EXPECT_NE(Bytes("host.log")
                  .find("\r\ndump length=19\r\n"
                        "00000000  30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66   0123456789abcdef\r\n"
                        "00000010  58 59 0A                                          XY.\r\n"
                        "empty\r\nnull\r\n"),
              std::string::npos)
        << Bytes("host.log");
    EXPECT_EQ(Bytes("host_error.log"), "dump\r\n");
}

TEST_F(TraceLogTest, ErrorCopyTakesTheErrorLevelToTheLetterOnly) {
    TraceFlags = kTraceDefaultFlags | kTraceNoLabel;
    for (const char* level : {"", "  err", "  error ", "error", "  Error"}) {
        TraceLog(nullptr, 0, 7, level, "another level");
    }
    TraceLog(nullptr, 0, 7, "  error", "an error");
    TraceFlags = kTraceDefaultFlags;
    Stop();
    EXPECT_EQ(Bytes("host_error.log"), "an error\r\n");
}

TEST_F(TraceLogTest, HexDumpLargerThanThePendingBufferIsWhole) {
    const std::string data(40000, 'D'); // 195,000 characters of dump
    TraceLog(data.data(), data.size(), 7, kLevelInfo, "large");
    Stop();
    const std::string bytes = Bytes("host.log");
    const std::size_t heading = bytes.find(" length=40000\r\n");
    ASSERT_NE(heading, std::string::npos);
    std::size_t at = heading + 15;
    for (unsigned offset = 0; offset < 40000; offset += 16, at += 78) {
        char start[16];
        std::snprintf(start, sizeof(start), "%08X  44 44", offset);
        ASSERT_EQ(bytes.substr(at, 15), start);
    }
    EXPECT_EQ(bytes[at], '[');
}

TEST_F(TraceLogTest, RingHoldsTheRecordWithoutItsLineEnd) {
    const TraceLockGuard lock;
    traceState.ring = static_cast<MemoryRing*>(std::malloc(sizeof(MemoryRing)));
    ClearRing(*traceState.ring);
    TRACE_INFO("not in the ring");
    TraceFlags = kTraceDefaultFlags | kTraceMemoryRing | kTraceNoLabel;
    TRACE_INFO("in the ring");
    TRACE_INFO("%s", std::string(20000, 'r').c_str());
    EXPECT_EQ(traceState.ring->counter, 2u);
    EXPECT_STREQ(traceState.ring->slots[0], "in the ring");
    EXPECT_EQ(std::string(traceState.ring->slots[1]), std::string(1023, 'r'));
    TraceFlags = kTraceDefaultFlags;
}

TEST_F(TraceLogTest, RingCutsTheWholeRecordAndNotTheMessage) {
    const TraceLockGuard lock;
    traceState.ring = static_cast<MemoryRing*>(std::malloc(sizeof(MemoryRing)));
    ClearRing(*traceState.ring);
    TraceFlags = kTraceDefaultFlags | kTraceMemoryRing;
    TRACE_INFO("%s", std::string(20000, 'r').c_str());
    TraceFlags = kTraceDefaultFlags;
    const std::string slot = traceState.ring->slots[0];
    EXPECT_EQ(slot.size(), 1023u);
    EXPECT_THAT(slot, testing::MatchesRegex(R"(\[.*\] \[.*\] \[ZeltoAuth  \d+    info\] r+)"));
}

// Counts and, when asked to, refuses allocations of this program.
int allocations = 0;
bool refuseAllocations = false;
void* CountingMalloc(std::size_t size) {
    ++allocations;
    return refuseAllocations ? nullptr : HeapAlloc(GetProcessHeap(), 0, size);
}
void CountingFree(void* memory) {
    HeapFree(GetProcessHeap(), 0, memory);
}

int printed = 0;
int CountingPrint(unsigned __int64, FILE*, const char*, _locale_t, va_list) {
    ++printed;
    return 0;
}

TEST_F(TraceLogTest, RecordOnItsWayTouchesNeitherHeapNorCrtPrintf) {
    const std::wstring wide(100, L'w');
    Flush();
    const TraceLockGuard lock;
    const test::ImportPatch heap(OwnModule(), "malloc", &CountingMalloc);
    const test::ImportPatch print(OwnModule(), "__stdio_common_vfprintf", &CountingPrint);
    allocations = printed = 0;
    TRACE_INFO("%s %d %x %p %S %c %llu", "text", -5, 5u, static_cast<void*>(nullptr), L"wide", 'c', 5ull);
    TRACE_WARNING("%S", wide.c_str());
    EXPECT_EQ(allocations, 0);
    EXPECT_EQ(printed, 0);
}

TEST_F(TraceLogTest, ErrorWithoutMemoryIsLeftOutOfTheErrorCopy) {
    testing::internal::CaptureStderr();
    {
        const TraceLockGuard lock;
        TRACE_ERROR("before");
        const test::ImportPatch heap(OwnModule(), "malloc", &CountingMalloc);
        const test::ImportPatch release(OwnModule(), "free", &CountingFree);
        refuseAllocations = true;
        TRACE_ERROR("without memory");
        refuseAllocations = false;
    }
    TRACE_ERROR("after");
    Stop();
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::StartsWith("Memory allocation error: "));
    EXPECT_THAT(MessagesIn("host_error.log"), ElementsAre("error: before", "error: after"));
    EXPECT_THAT(MessagesIn("host.log"),
                ElementsAre("error: before", "error: without memory", "error: after"));
}

TEST_F(TraceLogTest, LongWideTextWithoutMemoryPrintsNothing) {
    const std::wstring fits(4095, L'w');
    const std::wstring longer(4096, L'w');
    {
        const TraceLockGuard lock;
        const test::ImportPatch heap(OwnModule(), "malloc", &CountingMalloc);
        const test::ImportPatch release(OwnModule(), "free", &CountingFree);
        refuseAllocations = true;
        TRACE_INFO("<%S>", fits.c_str());
        TRACE_INFO("<%S>%d", longer.c_str(), 5);
        refuseAllocations = false;
    }
    Stop();
    EXPECT_THAT(MessagesIn("host.log"), ElementsAre("info: <" + std::string(4095, 'w') + ">", "info: <>5"));
}

} // namespace
} // namespace zelto
