#include "trace/life_cycle.h"

#include "trace/clock.h"
#include "trace/crash_handler.h"
#include "trace/log_deletion.h"
#include "trace/log_files.h"
#include "trace/log_folder.h"
#include "trace/log_stream.h"
#include "trace/rotation.h"
#include "trace/settings.h"
#include "trace/trace.h"
#include "trace/trace_state.h"
#include "trace/writer.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <iterator>

namespace zelto {
namespace {

constexpr std::int32_t kStartLine = 1354;
constexpr std::int32_t kStopLine = 1413;
constexpr DWORD kLeavingMilliseconds = 100; // for threads that have passed TraceLog's gate already

void SetModuleName(std::string_view name) noexcept {
    const std::size_t count = std::min(name.size(), kModuleNameSize);
    std::uint64_t words[std::size(traceState.moduleName)] = {};
    std::memcpy(words, name.data(), count);
    std::copy(std::begin(words), std::end(words), traceState.moduleName);
    const bool shown = (TraceFlags.load() & kTraceNoModuleName) == 0;
    traceState.moduleNameLength.store(shown ? count : 0, std::memory_order_release);
}

void ClearModuleName() noexcept {
    traceState.moduleNameLength.store(0);
    std::fill(std::begin(traceState.moduleName), std::end(traceState.moduleName), 0);
}

// Streams that an earlier stop left open belong to the old names.
void ResetState(const FileName& folder, const char* fileName) noexcept {
    CloseStreams();
    traceState.pendingUsed = 0;
    traceState.sizeLimitMiB = 0;
    TraceFlags.store(kTraceDefaultFlags);
    traceState.names = {};
    SetModuleName(kTraceModuleName);
    traceState.folder = folder;
    traceState.baseName.Set(fileName);
}

// A base name that is empty or has a folder in it leaves every name empty: the trace runs without files.
bool NameFiles() noexcept {
    const std::string_view baseName = traceState.baseName.View();
    if (baseName.empty() || baseName.find('\\') != std::string_view::npos) {
        return true;
    }
    return TraceBuildNames(traceState.folder.View(), baseName, traceState.sizeLimitMiB);
}

std::int64_t ReadCounterFrequency() noexcept {
    LARGE_INTEGER frequency;
    QueryPerformanceFrequency(&frequency);
    return frequency.QuadPart;
}

void Begin() noexcept {
    InitializeCriticalSection(&traceState.lock);
    traceState.counterFrequency = ReadCounterFrequency();
    PrepareStreams();
    traceState.initialised.store(1, std::memory_order_release);
    StartWriter();

    const TraceLockGuard lock;
    const std::uint64_t flags = TraceFlags.load();
    MatchCrashHandlerTo(flags);
    MatchRingTo(flags);
}

void LogStart(const SYSTEMTIME& startTime) noexcept {
    _tzset();
    LocalMoment moment;
    ReadLocalMoment(moment);
    const std::uint64_t flags = TraceFlags.load();
    if ((flags & kTraceInfo) == 0) {
        return;
    }
    const TraceLockGuard lock;
    TraceLog(nullptr, 0, kStartLine, kLevelInfo,
             "(Time Zone: %s) (%s, %ds) %04d-%02d-%02d %02d:%02d:%02d.%03d type: %x size: %d memory: %p",
             moment.zoneName, kBuildStamp, moment.uptimeSeconds, startTime.wYear, startTime.wMonth,
             startTime.wDay, startTime.wHour, startTime.wMinute, startTime.wSecond, startTime.wMilliseconds,
             static_cast<std::uint32_t>(flags), static_cast<std::int32_t>(traceState.sizeLimitMiB),
             static_cast<void*>(traceState.ring));
}

void DeleteFilesWhenSwitchedOff() noexcept {
    if (!traceState.registryKeyPath.IsSet()) {
        return;
    }
    const std::uint64_t flags = ReadFlagsOr(traceState.registryKeyPath.text, TraceFlags.load());
    if ((flags & kTraceFileOutput) == 0) {
        DeleteAllLogFiles();
    }
}

void EndRecords() noexcept {
    const std::uint64_t flags = TraceFlags.fetch_or(kTraceInfo);
    TraceLog(nullptr, 0, kStopLine, kLevelInfo, "trace stopped");
    TraceFlush();
    FlushStreams();
    TraceFlags.store(flags);
    DeleteFilesWhenSwitchedOff();
}

void ForgetSettings() noexcept {
    traceState.names.main = {};
    traceState.registryKeyPath = {};
    ClearModuleName();
    TraceFlags.store(0);
}

// The part of the stop that holds the trace lock.
void EndOutput() noexcept {
    EndRecords();
    MatchRingTo(0);
    MatchCrashHandlerTo(0);
    ForgetSettings();
}

// What TraceStopInCrash has left in a process that went on all the same.
void ClearUpAfterCrash() noexcept {
    MatchCrashHandlerTo(0);
    MatchRingTo(0);
    StopWriterInCrash();
}

} // namespace

void TraceStart(const char* folderBase, const char* fileName) {
    const FileName folder = ChooseLogFolder(folderBase);
    if (!folder.View().ends_with('\\')) {
        SetLastError(ERROR_NOT_READY);
        return;
    }
    if (traceState.initialised.load() != 0) {
        SetLastError(ERROR_ALREADY_EXISTS);
        return;
    }
    LookUpClock();
    SYSTEMTIME startTime;
    GetLocalTime(&startTime);
    ResetState(folder, fileName == nullptr ? "" : fileName);
    if (!NameFiles()) {
        return;
    }
    Begin();
    LogStart(startTime);
}

void TraceStop() {
    if (traceState.initialised.load() == 0) {
        ClearUpAfterCrash();
        return;
    }
    {
        const TraceLockGuard lock;
        EndOutput();
    }
    StopWriter(); // which takes the lock
    traceState.initialised.store(0);
    Sleep(kLeavingMilliseconds);
    DeleteCriticalSection(&traceState.lock);
}

void TraceStopInCrash() noexcept {
    if (traceState.initialised.load() == 0) {
        return;
    }
    {
        const TraceLockAttempt lock;
        if (!lock.Holds()) {
            return;
        }
        EndRecords();
        ForgetSettings();
    }
    StopWriterInCrash();
    traceState.initialised.store(0);
}

void TraceStopAtProcessEnd() {
    if (traceState.initialised.load() == 0 || !TryEnterCriticalSection(&traceState.lock)) {
        return;
    }
    // What is pending first: the stop record needs the CRT's lock of the time zone, which a thread that was ended while
    // it made a record may have taken with it.
    TraceFlush();
    FlushStreams();
    EndOutput();
    CloseStreams();
    traceState.initialised.store(0);
    LeaveCriticalSection(&traceState.lock);
}

} // namespace zelto
