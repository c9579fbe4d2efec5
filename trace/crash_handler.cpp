#include "trace/crash_handler.h"

#include "trace/crash_dump.h"
#include "trace/trace.h"

#include <atomic>

namespace zelto {
namespace {

constexpr std::uintptr_t kEnoughStack = 0x40000;     // bytes; a record alone takes 17 KB
constexpr DWORD kHelperPatienceMilliseconds = 5'000; // for the helper to begin

std::atomic<bool> installed{false};
LPTOP_LEVEL_EXCEPTION_FILTER hostsFilter = nullptr; // trace lock

SRWLOCK dumping = SRWLOCK_INIT;      // held by the thread whose crash is being dumped
std::atomic<DWORD> crashedThread{0}; // that thread
std::atomic<DWORD> helpingThread{0}; // the one that dumps in its place

// What the helper dumps. It stays here for good: a helper may begin when nobody waits for it any more.
struct HelperTask {
    std::atomic<bool> taken{false}; // by the helper, or by the crashed thread, which has given up
    Crash crash{};
    HANDLE begun = nullptr;
    HANDLE done = nullptr;
};
HelperTask helperTask;

// A thread that has overflowed its stack has a page or two left of it.
bool HasEnoughStack() noexcept {
    ULONG_PTR low = 0;
    ULONG_PTR high = 0;
    GetCurrentThreadStackLimits(&low, &high);
    return reinterpret_cast<std::uintptr_t>(&low) - low >= kEnoughStack;
}

DWORD WINAPI DumpAsHelper(void*) noexcept {
    if (helperTask.taken.exchange(true)) {
        return 0;
    }
    helpingThread.store(GetCurrentThreadId());
    SetEvent(helperTask.begun);
    DumpCrash(helperTask.crash);
    helpingThread.store(0);
    SetEvent(helperTask.done);
    return 0;
}

void CloseHelperEvents() noexcept {
    CloseHandle(helperTask.begun);
    CloseHandle(helperTask.done);
}

// A thread cannot begin while the loader lock is held, perhaps by the crashed thread itself: it is waited for
// only so long. After that nothing is dumped this way any more, as the thread may still begin.
void DumpOnOtherStack(const Crash& crash) noexcept {
    if (helperTask.taken.load()) {
        return;
    }
    helperTask.crash = crash;
    helperTask.begun = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    helperTask.done = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    const HANDLE helper = CreateThread(nullptr, 0, &DumpAsHelper, nullptr, 0, nullptr);
    if (helper == nullptr) {
        CloseHelperEvents();
        return;
    }
    const bool begun = WaitForSingleObject(helperTask.begun, kHelperPatienceMilliseconds) == WAIT_OBJECT_0;
    if (begun || helperTask.taken.exchange(true)) {
        WaitForSingleObject(helperTask.done, INFINITE);
        CloseHelperEvents();
        helperTask.taken.store(false);
    }
    CloseHandle(helper);
}

LONG WINAPI HandleCrash(EXCEPTION_POINTERS* exception) noexcept {
    const DWORD self = GetCurrentThreadId();
    const bool crashedWhileDumping = self == crashedThread.load() || self == helpingThread.load();
    if (!installed.load() || crashedWhileDumping) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    if (!TryAcquireSRWLockExclusive(&dumping)) {
        // Returning ends the process as a rule: not before the other thread's dump is complete.
        AcquireSRWLockExclusive(&dumping);
        ReleaseSRWLockExclusive(&dumping);
        return EXCEPTION_CONTINUE_SEARCH;
    }
    crashedThread.store(self);
    const Crash crash = {exception, self};
    if (HasEnoughStack()) {
        DumpCrash(crash);
    } else {
        DumpOnOtherStack(crash);
    }
    crashedThread.store(0);
    ReleaseSRWLockExclusive(&dumping);
    return EXCEPTION_CONTINUE_SEARCH;
}

void Install() noexcept {
    const LPTOP_LEVEL_EXCEPTION_FILTER former = SetUnhandledExceptionFilter(&HandleCrash);
    if (former != &HandleCrash) {
        hostsFilter = former;
    }
    installed.store(true);
}

void Remove() noexcept {
    if (!installed.exchange(false)) {
        return;
    }
    const LPTOP_LEVEL_EXCEPTION_FILTER former = SetUnhandledExceptionFilter(hostsFilter);
    if (former != &HandleCrash) {
        SetUnhandledExceptionFilter(former);
    }
    hostsFilter = nullptr;
}

} // namespace

void MatchCrashHandlerTo(std::uint64_t flags) noexcept {
    if ((flags & kTraceCrashDumps) != 0) {
        Install();
    } else {
        Remove();
    }
}

} // namespace zelto
