#pragma once

#include "tests/support/temp_folder.h"

#include <atomic>
#include <memory>
#include <spdlog/logger.h>
#include <string_view>
#include <windows.h>

namespace zelto::bench {

// The trace of this process, running in a folder of its own with the given flags and size limit.
class RunningTrace {
public:
    explicit RunningTrace(std::uint64_t flags, std::uint64_t limitMiB = 0);
    RunningTrace(const RunningTrace&) = delete;
    RunningTrace& operator=(const RunningTrace&) = delete;
    ~RunningTrace();

    // Writes out all that has been logged.
    void Drain();
    std::filesystem::path MainLog() const { return folder_.Path() / "host.log"; }

private:
    test::TempFolder folder_;
};

// A peer's logger, set to write the same fields as a record of the trace. With an error copy, this second file gets
// what the first one gets, and both are flushed after an error.
using Logger = std::shared_ptr<spdlog::logger>;
Logger FileLogger(const std::filesystem::path& file, const std::filesystem::path& errorCopy = {});
Logger RotatingLogger(const std::filesystem::path& file, std::size_t limit);
// Blocks when its queue of 8,192 is full.
Logger AsynchronousLogger(const std::filesystem::path& file, const std::filesystem::path& errorCopy = {});
void DrainAsynchronous(spdlog::logger& logger); // until all that it was given is written
void EndAsynchronousLoggers();                  // when what they were given is written

// The floor: what no record can do without. One reading of the precise clock and of the performance counter,
// the thread's id, and a copy of the finished bytes into a buffer, under a critical section.
class Floor {
public:
    Floor() { InitializeCriticalSection(&lock_); }
    Floor(const Floor&) = delete;
    Floor& operator=(const Floor&) = delete;
    ~Floor() { DeleteCriticalSection(&lock_); }

    void Write(std::string_view record);
    // What is put into the buffer for it.
    static std::size_t Size(std::string_view record) {
        return sizeof(FILETIME) + sizeof(DWORD) + record.size();
    }

private:
    CRITICAL_SECTION lock_;
    std::atomic<std::int64_t> last_{0};
    std::size_t used_ = 0;
    char buffer_[131'072];
};

// A word of flags without kTraceDebug, defined where its users cannot see that it never changes.
extern std::atomic<std::uint64_t> testedWord;

// Ends of lines in a file.
std::size_t LinesIn(const std::filesystem::path& file);

// The sizes of all files in a folder together.
std::uintmax_t BytesIn(const std::filesystem::path& folder);

} // namespace zelto::bench
