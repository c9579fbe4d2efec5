#pragma once

#include <cstddef>

namespace zelto::test {

// What this process holds right now.
struct ProcessCounts {
    std::size_t handles = 0;      // open kernel handles but log files
    std::size_t threads = 0;      // living threads
    std::size_t privateBytes = 0; // committed private memory, in bytes
};

ProcessCounts CountProcess();

// Number of open kernel handles, counted one by one: some milliseconds. (GetProcessHandleCount answers 0 on some versions
// of Wine.) Log files (*.log) do not count: the trace's thread opens one whenever it comes to it, perhaps between the
// two counts of a test.
std::size_t CountHandles();

// For tests of the trace itself: with the log files.
std::size_t CountHandlesAndLogFiles();

std::size_t CountThreads();

// Number of child processes of this process that still run.
std::size_t CountChildProcesses();

} // namespace zelto::test
