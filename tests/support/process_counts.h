#pragma once

#include <cstddef>

namespace zelto::test {

// What this process holds right now.
struct ProcessCounts {
    std::size_t handles = 0;      // open kernel handles
    std::size_t threads = 0;      // living threads
    std::size_t privateBytes = 0; // committed private memory, in bytes
};

ProcessCounts CountProcess();

// Number of open kernel handles, counted one by one: some milliseconds. (GetProcessHandleCount answers 0 on some versions
// of Wine.)
std::size_t CountHandles();

std::size_t CountThreads();

// Number of child processes of this process that still run.
std::size_t CountChildProcesses();

} // namespace zelto::test
