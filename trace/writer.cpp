#include "trace/writer.h"

#include "trace/clock.h"
#include "trace/log_files.h"
#include "trace/settings.h"
#include "trace/trace_state.h"

#include <utility>

namespace zelto {
namespace {

constexpr DWORD kPassMilliseconds = 300;
constexpr std::int64_t kIdleMilliseconds = 100;
constexpr std::int64_t kSettingsSeconds = 11;
constexpr DWORD kCrashPatienceMilliseconds = 2'000;

PTP_WORK writerWork = nullptr; // used by StartWriter and StopWriter only

// The writer's own handle to the stop event, which it takes over and closes when it begins: StopWriter closes
// the other one before it waits, and a handle number used again must not be waited on.
std::atomic<HANDLE> writerEvent{nullptr};

HANDLE writerEnded = nullptr; // event; there as long as the work item

void FlushWhenIdle(std::int64_t now) noexcept {
    const std::int64_t idle = now - traceState.lastCall.load(std::memory_order_relaxed);
    if (idle * 1000 / traceState.counterFrequency <= kIdleMilliseconds) {
        return;
    }
    const TraceLockGuard lock;
    if (traceState.initialised.load() != 0) {
        TraceFlush();
        FlushStreams();
    }
}

FileName CopyKeyPath() noexcept {
    const TraceLockGuard lock;
    return traceState.registryKeyPath;
}

// Reads the settings when it is time to, and remembers when that was.
void WatchSettings(std::int64_t now, std::int64_t& lastRead) noexcept {
    const FileName keyPath = CopyKeyPath();
    if (!keyPath.IsSet() || (now - lastRead) / traceState.counterFrequency < kSettingsSeconds) {
        return;
    }
    lastRead = now;
    const TraceSettings settings = ReadTraceSettings(keyPath.text);
    const TraceLockGuard lock;
    if (traceState.registryKeyPath.IsSet()) { // TraceStop clears it: nothing is put into force after that
        ApplyTraceSettings(settings);
    }
}

void CALLBACK RunWriter(PTP_CALLBACK_INSTANCE, PVOID, PTP_WORK) noexcept {
    const HANDLE stop = writerEvent.exchange(nullptr);
    std::int64_t lastRead = ReadCounter();
    while (WaitForSingleObject(stop, kPassMilliseconds) == WAIT_TIMEOUT) {
        const std::int64_t now = ReadCounter();
        FlushWhenIdle(now);
        WatchSettings(now, lastRead);
    }
    CloseHandle(stop);
    SetEvent(writerEnded);
}

// Runs as long as the trace: the pool is told beforehand. (CallbackMayRunLong within the callback was seen to
// leave a further idle thread behind.)
PTP_WORK CreateLongWork() noexcept {
    TP_CALLBACK_ENVIRON environment;
    InitializeThreadpoolEnvironment(&environment);
    SetThreadpoolCallbackRunsLong(&environment);
    const PTP_WORK work = CreateThreadpoolWork(&RunWriter, nullptr, &environment);
    DestroyThreadpoolEnvironment(&environment);
    return work;
}

HANDLE DuplicateEvent(HANDLE event) noexcept {
    HANDLE duplicate = nullptr;
    const HANDLE self = GetCurrentProcess();
    DuplicateHandle(self, event, self, &duplicate, 0, FALSE, DUPLICATE_SAME_ACCESS);
    return duplicate;
}

void CloseWriterEvents() noexcept {
    for (const HANDLE event : {writerEvent.exchange(nullptr), std::exchange(writerEnded, nullptr)}) {
        if (event != nullptr) {
            CloseHandle(event);
        }
    }
}

void SignalStop() noexcept {
    if (const HANDLE event = std::exchange(traceState.stopEvent, nullptr)) {
        SetEvent(event);
        CloseHandle(event);
    }
}

void AwaitWriter() noexcept {
    if (const PTP_WORK work = std::exchange(writerWork, nullptr)) {
        WaitForThreadpoolWorkCallbacks(work, TRUE);
        CloseThreadpoolWork(work);
    }
    CloseWriterEvents(); // the writer's own is still there when the callback was cancelled before it began
}

} // namespace

void StartWriter() noexcept {
    traceState.stopEvent = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    if (traceState.stopEvent == nullptr) {
        return;
    }
    writerEvent = DuplicateEvent(traceState.stopEvent);
    writerEnded = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    writerWork = writerEvent == nullptr || writerEnded == nullptr ? nullptr : CreateLongWork();
    if (writerWork == nullptr) {
        CloseWriterEvents();
        return;
    }
    SubmitThreadpoolWork(writerWork);
}

void StopWriter() noexcept {
    SignalStop();
    AwaitWriter();
}

void StopWriterInCrash() noexcept {
    SignalStop();
    if (WaitForSingleObject(writerEnded, kCrashPatienceMilliseconds) == WAIT_OBJECT_0) {
        AwaitWriter();
    }
}

} // namespace zelto
