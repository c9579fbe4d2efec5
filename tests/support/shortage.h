#pragma once

#include "auth/kernel_handle.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <process.h>
#include <windows.h>

namespace zelto::test {

// Replacements for imports of the library that run short of what the system gives.

// How many threads the library may still start.
inline std::atomic<int> threadsLeft;

// For "_beginthreadex".
inline std::uintptr_t __cdecl BeginUntilNoneIsLeft(void* security, unsigned stack,
                                                   _beginthreadex_proc_type start, void* argument,
                                                   unsigned flags, unsigned* id) {
    if (threadsLeft-- <= 0) {
        errno = EAGAIN;
        return 0;
    }
    return _beginthreadex(security, stack, start, argument, flags, id);
}

// Which allocation of one thread fails; the library's other threads have all the memory they want.
struct Shortage {
    DWORD thread = 0;
    int countdown = 0; // the allocation that brings it to 0 fails
    bool struck = false;
};
inline Shortage shortage;

// For "malloc".
inline void* __cdecl AllocateUntilShortage(std::size_t size) {
    if (GetCurrentThreadId() == shortage.thread && --shortage.countdown == 0) {
        shortage.struck = true;
        return nullptr;
    }
    return std::malloc(size);
}

// Which of the threads that the library begins from now on is short of memory from its start, counted from 1, and which
// of its allocations then fails.
inline std::atomic<int> shortThread;
inline std::atomic<int> failingAllocation;

// The last one; empty before there was one.
inline KernelHandle shortOfMemory;

// For "_beginthreadex".
inline std::uintptr_t __cdecl BeginInShortage(void* security, unsigned stack, _beginthreadex_proc_type start,
                                              void* argument, unsigned flags, unsigned* id) {
    if (--shortThread != 0) {
        return _beginthreadex(security, stack, start, argument, flags, id);
    }
    unsigned shortOne = 0;
    const std::uintptr_t thread =
        _beginthreadex(security, stack, start, argument, flags | CREATE_SUSPENDED, &shortOne);
    shortage = {shortOne, failingAllocation, false};
    shortOfMemory = DuplicateKernelHandle(reinterpret_cast<HANDLE>(thread));
    ResumeThread(reinterpret_cast<HANDLE>(thread));
    return thread;
}

} // namespace zelto::test
