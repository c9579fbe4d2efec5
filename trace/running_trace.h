#pragma once

#include "tests/support/import_patch.h"
#include "tests/support/temp_folder.h"
#include "tests/support/trace_lines.h"
#include "trace/life_cycle.h"
#include "trace/log_files.h"
#include "trace/trace.h"
#include "trace/trace_state.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace zelto {

// A test whose trace runs in a new folder, with the base name "host.log".
class RunningTraceTest : public testing::Test {
protected:
    RunningTraceTest() { TraceStart(folder_.NarrowWithBackslash().c_str(), "host.log"); }
    ~RunningTraceTest() override { Stop(); }

    // Stops the trace and closes its files; both can be read and changed from then on.
    void Stop() {
        TraceStop();
        CloseStreams();
    }

    // Writes out what has been logged so far.
    void Flush() {
        const TraceLockGuard lock;
        TraceFlush();
        FlushStreams();
    }

    std::filesystem::path File(const char* name) const { return folder_.Path() / name; }
    std::string Bytes(const char* name) const { return test::ReadBytes(File(name)); }

    // "level: text" of each record of a file, without those of start and stop.
    std::vector<std::string> MessagesIn(const char* name) const {
        return test::Messages(test::ReadTraceLines(File(name)));
    }

    test::TempFolder folder_;
};

using Lines = std::vector<std::string>;

// For "GetLocalTime" and "GetTickCount", where a line tells the local time and the uptime.
inline constexpr char kGivenLocalTime[] = "2031-02-03 14:05:06.007";
inline void WINAPI GiveLocalTime(SYSTEMTIME* time) {
    *time = {.wYear = 2031,
             .wMonth = 2,
             .wDayOfWeek = 1,
             .wDay = 3,
             .wHour = 14,
             .wMinute = 5,
             .wSecond = 6,
             .wMilliseconds = 7};
}
inline constexpr char kGivenUptime[] = "4000000s";
inline DWORD WINAPI GiveTickCount() {
    return 4'000'000'999;
}

// The imports of this test program, in which the trace is linked.
inline HMODULE OwnModule() {
    return GetModuleHandleA(nullptr);
}

} // namespace zelto
