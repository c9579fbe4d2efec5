#pragma once

#include "tests/support/temp_folder.h"
#include "tests/support/trace_lines.h"
#include "trace/life_cycle.h"
#include "trace/log_files.h"

#include <regex>
#include <string>
#include <vector>

namespace zelto::test {

// The trace of product code that is linked into the test program, recorded into a folder of its own.
class TraceRecording {
public:
    TraceRecording() { TraceStart(folder_.NarrowWithBackslash().c_str(), "recording.log"); }
    TraceRecording(const TraceRecording&) = delete;
    TraceRecording& operator=(const TraceRecording&) = delete;
    ~TraceRecording() { Stop(); }

    // Ends the recording and returns "level: text" of each record, oldest first.
    std::vector<std::string> Take() {
        Stop();
        return Messages(ReadTraceLines(folder_.Path() / "recording.log"));
    }

private:
    void Stop() {
        if (running_) {
            TraceStop();
            CloseStreams();
            running_ = false;
        }
    }

    TempFolder folder_;
    bool running_ = true;
};

// The messages with every 64-bit address or socket ("0x" and 16 digits) written as SOCKET.
inline std::vector<std::string> WithoutSocketNumbers(std::vector<std::string> messages) {
    static const std::regex number("0x[0-9A-F]{16}");
    for (std::string& message : messages) {
        message = std::regex_replace(message, number, "SOCKET");
    }
    return messages;
}

} // namespace zelto::test
