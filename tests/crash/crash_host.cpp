// A host process that crashes:
//
//   crash_host FOLDER FLAGS WAY
//
// The trace that is linked into it starts in FOLDER, gets FLAGS (hexadecimal) by a change of its registry
// settings and logs one record. WAY names the way in which it then crashes; "ready PID TID" on standard
// output names the thread that is about to.

#include "tests/support/import_patch.h"
#include "trace/life_cycle.h"
#include "trace/shifted_counter.h"
#include "trace/test_key.h"
#include "trace/trace.h"
#include "trace/trace_state.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using zelto::test::ImportPatch;

constexpr int kOutlived = 9; // exit code when the crash did not end the process
constexpr int kNextHandlerRan = 10;

void SayReady() {
    std::printf("ready %lu %lu\n", GetCurrentProcessId(), GetCurrentThreadId());
    std::fflush(stdout);
}

// Changes the settings as an administrator does, and returns when the trace has taken them over.
void ChangeSettings(zelto::test::ShiftedCounter& counter, std::uint32_t flags) {
    zelto::test::TestKey key;
    key.SetDword("flag", flags);
    key.SetDword("size", 0);
    {
        const zelto::TraceLockGuard lock;
        zelto::traceState.registryKeyPath.Set(key.Path());
    }
    counter.AdvanceMilliseconds(11'000);
    counter.AwaitNewReadings(2);
    const zelto::TraceLockGuard lock;
    zelto::traceState.registryKeyPath = {}; // the key goes, too
}

void WriteToNull() {
    SayReady();
    int* volatile nowhere = nullptr;
    *nowhere = 1;
}

// Far deeper than a stack of 1 MiB reaches. Four such frames leave less than 24 KB, which is enough for the
// system to find its handlers, and too little for a record and a dump. (What is left by frames that are small
// is too little for Wine.)
int Recurse(int depth) {
    volatile char frame[250 * 1024];
    frame[depth] = 1;
    return depth == 100'000 ? 0 : Recurse(depth + 1) + frame[depth];
}

void OverflowStack() {
    SayReady();
    std::printf("%d\n", Recurse(0));
}

void ThrowUncaught() {
    SayReady();
    throw std::runtime_error("nobody catches this");
}

// As an exception that a program of Microsoft's compiler does not catch reaches the system. (What this
// program's own runtime throws on its main thread ends in abort, which is no exception for the system.)
void RaiseAsMicrosoftsRuntime() {
    SayReady();
    static const std::runtime_error object("nobody catches this");
    const ULONG_PTR parameters[] = {0x19930520, reinterpret_cast<ULONG_PTR>(&object), 0, 0};
    RaiseException(0xE06D7363, EXCEPTION_NONCONTINUABLE, 4, parameters);
}

// A plain thread: std::thread would end the process by itself when an exception leaves its function.
DWORD WINAPI RunOnThread(void* way) {
    reinterpret_cast<void (*)()>(way)();
    return 0;
}

void OnOtherThread(void (*way)()) {
    const HANDLE thread = CreateThread(nullptr, 0, &RunOnThread, reinterpret_cast<void*>(way), 0, nullptr);
    WaitForSingleObject(thread, INFINITE);
}

void HoldingTheTraceLock() {
    const zelto::TraceLockGuard lock;
    WriteToNull();
}

// The trace lock is never given back.
void WhileAnotherHoldsTheTraceLock() {
    const HANDLE held = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    std::thread([held] {
        EnterCriticalSection(&zelto::traceState.lock);
        SetEvent(held);
        Sleep(INFINITE);
    }).detach();
    WaitForSingleObject(held, INFINITE);
    WriteToNull();
}

// What the trace reads from now on; the first to read it is the writer, as nobody else does anything.
BOOL WINAPI CrashOnce(LARGE_INTEGER* counter) {
    static std::atomic<bool> crashed{false};
    if (!crashed.exchange(true)) {
        WriteToNull();
    }
    counter->QuadPart = 1;
    return TRUE;
}

void InTheWriter() {
    static const ImportPatch patch(GetModuleHandleA(nullptr), "QueryPerformanceCounter", &CrashOnce);
    Sleep(INFINITE);
}

// What the host installs on top of the library's filter, as hosts do that keep the former one.
LPTOP_LEVEL_EXCEPTION_FILTER formerFilter;
LONG WINAPI HostsFilter(EXCEPTION_POINTERS* exception) {
    const LONG answer = formerFilter == nullptr ? EXCEPTION_EXECUTE_HANDLER : formerFilter(exception);
    ExitProcess(answer == EXCEPTION_CONTINUE_SEARCH ? kNextHandlerRan : kOutlived);
}

void UnderAHostsFilter() {
    formerFilter = SetUnhandledExceptionFilter(&HostsFilter);
    WriteToNull();
}

// Two threads crash at the same moment.
void OnTwoThreads() {
    static const HANDLE both = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    std::vector<HANDLE> threads;
    for (int i = 0; i < 2; ++i) {
        threads.push_back(CreateThread(
            nullptr, 0,
            [](void*) -> DWORD {
                WaitForSingleObject(both, INFINITE);
                WriteToNull();
                return 0;
            },
            nullptr, 0, nullptr));
    }
    SetEvent(both);
    WaitForMultipleObjects(2, threads.data(), FALSE, INFINITE);
}

const char* pathOfHost; // what the patched GetModuleFileNameA gives
DWORD WINAPI GivePath(HMODULE, LPSTR path, DWORD) {
    std::strcpy(path, pathOfHost);
    return static_cast<DWORD>(std::strlen(path));
}

void WithPath(const char* path) {
    pathOfHost = path;
    static const ImportPatch patch(GetModuleHandleA(nullptr), "GetModuleFileNameA", &GivePath);
    WriteToNull();
}

struct Way {
    const char* name;
    void (*crash)();
};

constexpr Way kWays[] = {
    {"null_write", &WriteToNull},
    {"null_write_on_thread", [] { OnOtherThread(&WriteToNull); }},
    {"stack_overflow", &OverflowStack},
    {"stack_overflow_on_thread", [] { OnOtherThread(&OverflowStack); }},
    {"exception", &RaiseAsMicrosoftsRuntime},
    {"exception_on_thread", [] { OnOtherThread(&ThrowUncaught); }},
    {"holding_the_lock", &HoldingTheTraceLock},
    {"lock_held_elsewhere", &WhileAnotherHoldsTheTraceLock},
    {"in_the_writer", &InTheWriter},
    {"under_a_hosts_filter", &UnderAHostsFilter},
    {"on_two_threads", &OnTwoThreads},
    {"no_path", [] { WithPath(""); }},
    {"path_without_backslash", [] { WithPath("crash_host.exe"); }},
    {"path_of_no_folder", [] { WithPath("C:\\no such folder\\crash_host.exe"); }},
};

} // namespace

int main(int count, char** arguments) {
    if (count != 4) {
        return 1;
    }
    const std::string folder = arguments[1];
    SetErrorMode(SEM_NOGPFAULTERRORBOX); // the system starts no debugger of its own
    zelto::test::ShiftedCounter counter;
    zelto::TraceStart(folder.c_str(), "host.log");
    counter.AwaitReadings(2); // by the start-up record and by the writer that begins
    ChangeSettings(counter, static_cast<std::uint32_t>(std::strtoul(arguments[2], nullptr, 16)));
    TRACE_INFO("before the crash");
    for (const Way& way : kWays) {
        if (std::strcmp(arguments[3], way.name) == 0) {
            way.crash();
            return kOutlived;
        }
    }
    return 2;
}
