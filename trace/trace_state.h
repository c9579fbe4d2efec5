#pragma once

#include "trace/file_names.h"
#include "trace/memory_ring.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <windows.h>
#include <winsock2.h>

namespace zelto {

inline constexpr std::size_t kPendingSize = 131'072;     // bytes of records on their way to the main log
inline constexpr std::uint64_t kFlushThreshold = 98'304; // more pending bytes than this are written at once
inline constexpr std::size_t kStreamBufferSize = 65'536; // bytes of the stdio buffer that both streams share
inline constexpr std::size_t kModuleNameSize = 32;       // characters
inline constexpr char kTraceModuleName[] = "ZeltoAuth";
inline constexpr char kBuildStamp[] =
    "Thu Mar 19 04:11:33 2026"; // in the start-up, settings and rotation lines

// One open log file.
struct LogStream {
    std::FILE* file = nullptr;
    std::uint64_t size = 0; // bytes in the file and in the buffer
};

// The state of the trace, one instance, all zero before the first start. Each field names what protects it:
// "lock" is the trace lock; "start" is set by TraceStart before `initialised` and only read while the trace
// runs.
struct TraceState {
    std::atomic<std::uint8_t> initialised; // set last by TraceStart, cleared by TraceStop
    CRITICAL_SECTION lock;                 // valid while `initialised` is set

    std::atomic<std::uint64_t> moduleName[kModuleNameSize / 8]; // the characters, zeros behind them
    std::atomic<std::uint64_t> moduleNameLength;                // characters of moduleName that records show
    std::atomic<std::int64_t> lastCall;      // performance counter at the last TraceLog that passed the gate
    std::atomic<std::uint32_t> timeZoneTick; // GetTickCount / 10,000 at the last _tzset
    VOID(WINAPI* readClock)(LPFILETIME);     // start: the precise system time, or the coarse one
    std::int64_t counterFrequency;           // start: counts of the performance counter per second

    std::uint64_t sizeLimitMiB;           // lock; 0: no rotation
    MemoryRing* ring;                     // lock; null without flag 0x200
    char pending[kPendingSize];           // lock; a zero follows the last record, for output as a string
    std::uint64_t pendingUsed;            // lock
    LogStream mainLog;                    // lock
    LogStream errorCopy;                  // lock
    LogStream* bufferUser;                // lock; the stream that may have bytes in streamBuffer
    char streamBuffer[kStreamBufferSize]; // lock; the stdio buffer of both streams

    FileName folder;          // lock; ends in a backslash
    FileName baseName;        // lock
    LogFileNames names;       // lock
    FileName registryKeyPath; // lock; under HKEY_LOCAL_MACHINE. Nothing in this library sets it, so no
                              // settings are read
    HANDLE stopEvent;         // used by TraceStart and TraceStop only
};

extern TraceState traceState;

// Holds the trace lock. The lock is recursive: a record may be written while it is held.
class TraceLockGuard {
public:
    TraceLockGuard() noexcept { EnterCriticalSection(&traceState.lock); }
    TraceLockGuard(const TraceLockGuard&) = delete;
    TraceLockGuard& operator=(const TraceLockGuard&) = delete;
    ~TraceLockGuard() { LeaveCriticalSection(&traceState.lock); }
};

// Takes the trace lock if that is possible within 2 seconds: for a crashed process, where its holder may wait
// for something that the crashed thread will never give back. Takes nothing while the trace is stopped.
class TraceLockAttempt {
public:
    TraceLockAttempt() noexcept;
    TraceLockAttempt(const TraceLockAttempt&) = delete;
    TraceLockAttempt& operator=(const TraceLockAttempt&) = delete;
    ~TraceLockAttempt();

    bool Holds() const noexcept { return holds_; }

private:
    bool holds_ = false;
};

} // namespace zelto
