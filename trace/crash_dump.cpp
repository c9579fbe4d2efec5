#include "trace/crash_dump.h"

#include "trace/crash_dump_name.h"
#include "trace/life_cycle.h"
#include "trace/log_folder.h"
#include "trace/trace.h"
#include "trace/trace_state.h"

#include <dbghelp.h>

namespace zelto {
namespace {

constexpr std::int32_t kHostLine = 400;

// Full memory (and with it the memory ring), handles, unloaded modules, thread data and more; all bits below
// 0x400 but the one for data segments.
constexpr auto kDumpType = static_cast<MINIDUMP_TYPE>(0x3FE);

void LogHost(const FileName& host) noexcept {
    if ((TraceFlags.load() & kTraceInfo) == 0) {
        return;
    }
    const TraceLockAttempt lock;
    if (lock.Holds()) {
        TraceLog(nullptr, 0, kHostLine, kLevelInfo, "%s", host.text);
    }
}

// By the system's clock functions: those of the C runtime take its locks.
RecordTime LocalTime() noexcept {
    SYSTEMTIME now;
    GetLocalTime(&now);
    RecordTime time;
    time.year = now.wYear;
    time.month = now.wMonth;
    time.day = now.wDay;
    time.hour = now.wHour;
    time.minute = now.wMinute;
    time.second = now.wSecond;
    return time;
}

void WriteDump(const FileName& name, const Crash& crash) noexcept {
    const HANDLE file =
        CreateFileA(name.text, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                    CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return;
    }
    MINIDUMP_EXCEPTION_INFORMATION information = {};
    information.ThreadId = crash.threadId;
    information.ExceptionPointers = crash.exception;
    information.ClientPointers = TRUE;
    MiniDumpWriteDump(GetCurrentProcess(), GetCurrentProcessId(), file, kDumpType, &information, nullptr,
                      nullptr);
    CloseHandle(file);
}

} // namespace

void DumpCrash(const Crash& crash) noexcept {
    const FileName host = HostExecutablePath();
    if (!host.IsSet()) {
        return;
    }
    LogHost(host);
    TraceStopInCrash();
    const FileName name = CrashDumpName(host.View(), GetCurrentProcessId(), crash.threadId, LocalTime());
    if (name.IsSet()) {
        WriteDump(name, crash);
    }
}

} // namespace zelto
