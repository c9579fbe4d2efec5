#include "trace/emit.h"

#include "trace/running_trace.h"

#include <gmock/gmock.h>

namespace zelto {
namespace {

using testing::ElementsAre;

Lines events; // what reached debugger and console attributes, in order

void WINAPI RecordDebugString(LPCSTR text) {
    events.push_back(text);
}

BOOL WINAPI ConsoleWithColour7(HANDLE console, CONSOLE_SCREEN_BUFFER_INFO* info) {
    EXPECT_EQ(console, GetStdHandle(STD_OUTPUT_HANDLE));
    *info = {};
    info->wAttributes = 7;
    return TRUE;
}

BOOL WINAPI NoConsole(HANDLE, CONSOLE_SCREEN_BUFFER_INFO*) {
    return FALSE;
}

BOOL WINAPI RecordColour(HANDLE console, WORD colour) {
    EXPECT_EQ(console, GetStdHandle(STD_OUTPUT_HANDLE));
    events.push_back("<" + std::to_string(colour) + ">");
    return TRUE;
}

class EmitTest : public RunningTraceTest {
protected:
    EmitTest()
        : debugger_(OwnModule(), "OutputDebugStringA", &RecordDebugString),
          console_(OwnModule(), "GetConsoleScreenBufferInfo", &ConsoleWithColour7),
          colour_(OwnModule(), "SetConsoleTextAttribute", &RecordColour) {
        events.clear();
    }
    ~EmitTest() override { TraceFlags = kTraceDefaultFlags; }

    // Emits with the lock held, as TraceLog does; what it printed on standard output is returned.
    std::string Emit(std::uint64_t flags, const char* level, bool continuation, std::string text) {
        const TraceLockGuard lock;
        TraceFlags = flags;
        testing::internal::CaptureStdout();
        TraceEmit(level, continuation, text.data(), text.size());
        std::fflush(stdout);
        return testing::internal::GetCapturedStdout();
    }

    test::ImportPatch debugger_;
    test::ImportPatch console_;
    test::ImportPatch colour_;
};

TEST_F(EmitTest, DebuggerOutputAlone) {
    EXPECT_EQ(Emit(kTraceDebuggerOutput, kLevelInfo, false, "text\r\n"), "");
    EXPECT_THAT(events, ElementsAre("text\r\n"));
}

TEST_F(EmitTest, ConsoleOutputAlone) {
    EXPECT_EQ(Emit(kTraceConsoleOutput, kLevelInfo, false, "100%s text\n"), "100%s text\n");
    EXPECT_EQ(events, Lines());
}

TEST_F(EmitTest, PaddedLevelsHaveNoColour) {
    for (const char* level : {kLevelInfo, kLevelDebug, kLevelError}) {
        events.clear();
        Emit(kTraceDebuggerOutput | kTraceConsoleOutput, level, false, "text\r\n");
        EXPECT_THAT(events, ElementsAre("text\r\n")) << level;
    }
}

TEST_F(EmitTest, WarningIsBrightYellow) {
    EXPECT_EQ(Emit(kTraceDebuggerOutput | kTraceConsoleOutput, kLevelWarning, false, "text\n\r\n"),
              "text\n\r\n");
    EXPECT_THAT(events, ElementsAre("<14>", "text\n\r\n", "<7>"));
}

TEST_F(EmitTest, FirstCharacterDecidesOnTheColour) {
    Emit(kTraceDebuggerOutput, "debug", false, "d\r\n");
    Emit(kTraceDebuggerOutput, "error", false, "e\r\n");
    Emit(kTraceDebuggerOutput, "", false, "-\r\n");
    EXPECT_THAT(events, ElementsAre("<10>", "d\r\n", "<7>", "<12>", "e\r\n", "<7>", "-\r\n"));
}

TEST_F(EmitTest, OnlyTheFirstLineIsColoured) {
    EXPECT_EQ(
        Emit(kTraceDebuggerOutput | kTraceConsoleOutput, kLevelWarning, false, "one\r\ntwo\r\nthree\r\n"),
        "one\r\ntwo\r\nthree\r\n");
    EXPECT_THAT(events, ElementsAre("<14>", "one\r\n", "<7>", "two\r\nthree\r\n"));
}

TEST_F(EmitTest, ContinuationIsPlain) {
    Emit(kTraceDebuggerOutput, kLevelWarning, true, "one\r\ntwo\r\n");
    EXPECT_THAT(events, ElementsAre("one\r\ntwo\r\n"));
}

TEST_F(EmitTest, ColoursCanBeSwitchedOff) {
    Emit(kTraceDebuggerOutput | kTraceNoColours, kLevelWarning, false, "one\r\ntwo\r\n");
    EXPECT_THAT(events, ElementsAre("one\r\ntwo\r\n"));
}

TEST_F(EmitTest, OutputThatIsNoConsoleGetsNoColour) {
    const test::ImportPatch none(OwnModule(), "GetConsoleScreenBufferInfo", &NoConsole);
    Emit(kTraceDebuggerOutput, kLevelWarning, false, "one\r\ntwo\r\n");
    EXPECT_THAT(events, ElementsAre("one\r\n", "two\r\n"));
}

TEST_F(EmitTest, TextIsAsBeforeAfterwards) {
    std::string text = "one\r\ntwo\r\n";
    TraceFlags = kTraceDebuggerOutput;
    TraceEmit(kLevelWarning, false, text.data(), text.size());
    EXPECT_EQ(text, "one\r\ntwo\r\n");
}

class EmittedRecordTest : public EmitTest {
protected:
    // The end of the main log, from the line of `message` on; without the record of the stop.
    std::string LogFrom(const std::string& message) {
        TraceFlags = kTraceDefaultFlags;
        Stop();
        std::string bytes = Bytes("host.log");
        bytes.erase(bytes.rfind('\n', bytes.size() - 2) + 1);
        const std::size_t at = bytes.find(message);
        return at == std::string::npos ? std::string() : bytes.substr(bytes.rfind('\n', at) + 1);
    }
};

std::string Joined(const Lines& pieces) {
    std::string text;
    for (const std::string& piece : pieces) {
        text += piece;
    }
    return text;
}

TEST_F(EmittedRecordTest, EachRecordGoesOutOnceWithItsLineEnd) {
    TraceFlags = kTraceDefaultFlags | kTraceDebuggerOutput | kTraceNoLabel | kTraceNoTime;
    TRACE_INFO("first");
    TRACE_ERROR("second");
    EXPECT_THAT(events, ElementsAre("first\r\n", "second\r\n"));
}

TEST_F(EmittedRecordTest, ShortDumpGoesOutWithItsRecord) {
    TraceFlags = kTraceDebuggerOutput | kTraceNoTime | kTraceNoProcessId | kTraceNoThreadId | kTraceNoLine;
    TraceLog("AB", 2, 1, kLevelWarning, "dump");
    EXPECT_THAT(events, ElementsAre("<14>", "[ZeltoAuth warning] dump length=2\r\n", "<7>",
                                    testing::StartsWith("00000000  41 42 ")));
}

TEST_F(EmittedRecordTest, LongDumpGoesOutInPiecesOfAbout2KiB) {
    TraceFlags = kTraceDefaultFlags | kTraceDebuggerOutput | kTraceNoColours;
    const std::string data(1600, 'D'); // 100 lines of 78
    TraceLog(data.data(), data.size(), 1, kLevelInfo, "pieces");
    ASSERT_GE(events.size(), 3u);
    for (std::size_t i = 0; i + 1 < events.size(); ++i) {
        EXPECT_GT(events[i].size(), 2048u);
        EXPECT_LE(events[i].size(), 2048u + 78);
    }
    const Lines pieces = events;
    EXPECT_EQ(Joined(pieces), LogFrom("pieces"));
}

TEST_F(EmittedRecordTest, DumpThatIsFlushedOnItsWayGoesOutWhole) {
    TraceFlags = kTraceDefaultFlags | kTraceDebuggerOutput;
    const std::string data(60000, 'D'); // 292,500 characters: several flushes
    TraceLog(data.data(), data.size(), 1, kLevelWarning, "flushed");
    const Lines colours(events.begin(), events.begin() + 4);
    EXPECT_THAT(colours, ElementsAre("<14>", testing::EndsWith("flushed length=60000\r\n"), "<7>",
                                     testing::StartsWith("00000000  44 ")));
    events.erase(events.begin() + 2);
    events.erase(events.begin());
    const Lines pieces = events;
    EXPECT_EQ(std::count(pieces.begin(), pieces.end(), "<14>"), 0); // continuations are plain
    EXPECT_EQ(Joined(pieces), LogFrom("flushed"));
}

TEST_F(EmittedRecordTest, RecordThatFillsThePendingBufferGoesOutToo) {
    TraceFlags = kTraceDefaultFlags | kTraceDebuggerOutput | kTraceNoLabel | kTraceNoTime;
    const std::string text(16000, 'x');
    for (int i = 0; i < 14; ++i) {
        TRACE_INFO("%s", text.c_str());
    }
    EXPECT_EQ(events, Lines(14, text + "\r\n"));
}

} // namespace
} // namespace zelto
