// Part of every test program: one that crashes says so and ends with a failure. Left to the system, a debugger may be
// started, which ends the program with 0 as if all were well.

#include <cstdio>
#include <windows.h>

namespace {

constexpr UINT kCrashed = 5;

LONG WINAPI SayAndEnd(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    std::fprintf(stderr, "the test program crashed: exception 0x%08lX at %p\n", record.ExceptionCode,
                 record.ExceptionAddress);
    std::fflush(nullptr);
    TerminateProcess(GetCurrentProcess(), kCrashed);
    return EXCEPTION_EXECUTE_HANDLER;
}

[[maybe_unused]] const LPTOP_LEVEL_EXCEPTION_FILTER former = SetUnhandledExceptionFilter(&SayAndEnd);

} // namespace
