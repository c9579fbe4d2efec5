#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace zelto {

// Bits of TraceFlags. Bits that are not named here mean nothing, although the default sets bits 4 to 7.
inline constexpr std::uint64_t kTraceInfo = 0x1;             // info records; tested by the caller
inline constexpr std::uint64_t kTraceDebug = 0x2;            // debug records; tested by the caller
inline constexpr std::uint64_t kTraceWarning = 0x4;          // warning records; tested by the caller
inline constexpr std::uint64_t kTraceError = 0x8;            // error records; tested by the caller
inline constexpr std::uint64_t kTraceFileOutput = 0x100;     // main log and error copy
inline constexpr std::uint64_t kTraceMemoryRing = 0x200;     // ring of recent records in memory
inline constexpr std::uint64_t kTraceDebuggerOutput = 0x400; // OutputDebugStringA
inline constexpr std::uint64_t kTraceConsoleOutput = 0x800;  // standard output
inline constexpr std::uint64_t kTraceAnyOutput = 0xF00;      // none of these: TraceLog does nothing
inline constexpr std::uint64_t kTraceNoTime = 0x10000;       // record without its time block
inline constexpr std::uint64_t kTraceNoProcessId = 0x20000;  // id block without the process id
inline constexpr std::uint64_t kTraceNoThreadId = 0x40000;   // id block without the thread id
inline constexpr std::uint64_t kTraceNoModuleName = 0x80000; // label block without the module name
inline constexpr std::uint64_t kTraceNoLine = 0x100000;      // label block without reserved field and line
inline constexpr std::uint64_t kTraceNoLevel = 0x200000;     // label block without the level
inline constexpr std::uint64_t kTraceNoColours = 0x400000;   // console output without colours
inline constexpr std::uint64_t kTraceNoLabel = 0xFF0000;     // all eight together: no label block
inline constexpr std::uint64_t kTracePidInFileNames = 0x1000000; // "_pid_%d" in the log file names
inline constexpr std::uint64_t kTraceCrashDumps = 0x10000000;    // minidump of a process that crashes
inline constexpr std::uint64_t kTraceDefaultFlags = 0x1FF;       // what TraceStart sets

// The flag word; 0 while the trace is stopped. Any thread may read it.
extern std::atomic<std::uint64_t> TraceFlags;

// The four levels: 7 characters each, padded on the left.
inline constexpr char kLevelInfo[] = "   info";
inline constexpr char kLevelDebug[] = "  debug";
inline constexpr char kLevelWarning[] = "warning";
inline constexpr char kLevelError[] = "  error";

// Writes one record. The caller tests the level's bit in TraceFlags first (the macros below do).
//
//   data, dataLength  bytes to hex-dump below the record; null or 0: none.
//   line              source line number, printed as it is.
//   level             one of the four kLevel texts.
//   format, ...       read by the library's own formatter (trace/formatter.h), not by the CRT: it prints 0x
//                     itself for %x, %X and %p.
//
// Any thread may call it at any time; it does nothing while the trace is stopped or no output is enabled. It
// never throws, keeps the calling thread's last error and errno, and returns after the record is in the
// pending buffer; only an error record is on its way to disk by then. See docs/trace-format.md.
void TraceLog(const void* data, std::size_t dataLength, std::int32_t line, const char* level,
              const char* format, ...);

} // namespace zelto

#define ZELTO_TRACE(bit, level, ...)                                                                         \
    do {                                                                                                     \
        if ((::zelto::TraceFlags.load(std::memory_order_relaxed) & (bit)) != 0) {                            \
            ::zelto::TraceLog(nullptr, 0, __LINE__, (level), __VA_ARGS__);                                   \
        }                                                                                                    \
    } while (false)

// One record without a hex dump: TRACE_ERROR("%s() failed: %d.", tag, code);
#define TRACE_INFO(...) ZELTO_TRACE(::zelto::kTraceInfo, ::zelto::kLevelInfo, __VA_ARGS__)
#define TRACE_DEBUG(...) ZELTO_TRACE(::zelto::kTraceDebug, ::zelto::kLevelDebug, __VA_ARGS__)
#define TRACE_WARNING(...) ZELTO_TRACE(::zelto::kTraceWarning, ::zelto::kLevelWarning, __VA_ARGS__)
#define TRACE_ERROR(...) ZELTO_TRACE(::zelto::kTraceError, ::zelto::kLevelError, __VA_ARGS__)
