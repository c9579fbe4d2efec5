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

// The imports of this test program, in which the trace is linked.
inline HMODULE OwnModule() {
    return GetModuleHandleA(nullptr);
}

} // namespace zelto
