#include "trace/crash_handler.h"
#include "trace/running_trace.h"
#include "trace/settings.h"

#include <dbghelp.h>

namespace zelto {
namespace {

std::atomic<int> dumps{0};
BOOL WINAPI CountDump(HANDLE, DWORD, HANDLE, MINIDUMP_TYPE, PMINIDUMP_EXCEPTION_INFORMATION,
                      PMINIDUMP_USER_STREAM_INFORMATION, PMINIDUMP_CALLBACK_INFORMATION) {
    ++dumps;
    return TRUE;
}

decltype(&CreateFileA) createFile;
HANDLE WINAPI OpenNul(LPCSTR, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD,
                      DWORD attributes, HANDLE model) {
    return createFile("NUL", access, share, security, OPEN_EXISTING, attributes, model);
}

// The helper, the one thread whose id nobody asks for, does not begin, as while the loader lock is held.
int helpers = 0;
HANDLE helper = nullptr;
decltype(&CreateThread) createThread;
HANDLE WINAPI CreateSuspendedHelper(LPSECURITY_ATTRIBUTES security, SIZE_T stack,
                                    LPTHREAD_START_ROUTINE start, LPVOID argument, DWORD flags, LPDWORD id) {
    if (id != nullptr) {
        return createThread(security, stack, start, argument, flags, id);
    }
    ++helpers;
    const HANDLE thread = createThread(security, stack, start, argument, flags | CREATE_SUSPENDED, id);
    DuplicateHandle(GetCurrentProcess(), thread, GetCurrentProcess(), &helper, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    return thread;
}

// The crashed thread waits for nothing any length of time.
DWORD crashedThread = 0;
decltype(&WaitForSingleObject) waitFor = &WaitForSingleObject; // the writer waits by it as well
DWORD WINAPI WaitForNoHelper(HANDLE object, DWORD milliseconds) {
    return GetCurrentThreadId() == crashedThread ? DWORD{WAIT_TIMEOUT} : waitFor(object, milliseconds);
}

void WINAPI GiveLittleStack(PULONG_PTR low, PULONG_PTR high) {
    *high = reinterpret_cast<ULONG_PTR>(low);
    *low = *high - 0x10000;
}

class CrashHelperTest : public RunningTraceTest {
protected:
    CrashHelperTest() : formerFilter_(SetUnhandledExceptionFilter(nullptr)) {
        const TraceLockGuard lock;
        ApplyTraceSettings({kTraceDefaultFlags | kTraceCrashDumps, 0});
    }
    ~CrashHelperTest() override {
        Stop();
        SetUnhandledExceptionFilter(formerFilter_);
    }

    // Calls the installed filter.
    void Crash() {
        const LPTOP_LEVEL_EXCEPTION_FILTER filter = SetUnhandledExceptionFilter(nullptr);
        SetUnhandledExceptionFilter(filter);
        EXCEPTION_POINTERS pointers = {};
        filter(&pointers);
    }

private:
    LPTOP_LEVEL_EXCEPTION_FILTER formerFilter_;
};

// In a program without other tests of crashes: from then on nothing is dumped on another stack.
TEST_F(CrashHelperTest, HelperThatBeginsTooLateDumpsNothingAndIsTheLast) {
    const test::ImportPatch dump(OwnModule(), "MiniDumpWriteDump", &CountDump);
    const test::ImportPatch file(OwnModule(), "CreateFileA", &OpenNul);
    createFile = file.Original<std::remove_pointer_t<decltype(createFile)>>();
    const test::ImportPatch thread(OwnModule(), "CreateThread", &CreateSuspendedHelper);
    createThread = thread.Original<std::remove_pointer_t<decltype(createThread)>>();
    const test::ImportPatch stack(OwnModule(), "GetCurrentThreadStackLimits", &GiveLittleStack);
    const test::ImportPatch wait(OwnModule(), "WaitForSingleObject", &WaitForNoHelper);
    crashedThread = GetCurrentThreadId();
    Crash();
    Crash();
    ASSERT_EQ(helpers, 1);
    ResumeThread(helper);
    waitFor(helper, INFINITE);
    CloseHandle(helper);
    EXPECT_EQ(dumps, 0);
}

} // namespace
} // namespace zelto
