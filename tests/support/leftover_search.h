#pragma once

#include "auth/kernel_handle.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <malloc.h>
#include <mutex>
#include <process.h>
#include <string>
#include <string_view>
#include <vector>
#include <windows.h>

namespace zelto::test {

// What the library leaves of a secret in memory that it gives back: replacements for imports of the library that search
// for it, and for the stack.

// What is searched for, as bytes.
inline std::vector<std::string> secretForms;

// Has `text` searched for from now on, as it stands and as UTF-16.
inline void SeekSecret(std::string_view text) {
    std::string wide;
    for (const char character : text) {
        wide += character;
        wide += '\0';
    }
    secretForms.emplace_back(text);
    secretForms.push_back(wide);
}

inline bool HoldsSecret(const char* begin, const char* end) {
    return std::ranges::any_of(secretForms, [&](const std::string& form) {
        return std::search(begin, end, form.begin(), form.end()) != end;
    });
}

// Blocks that were freed with a secret in them, and others.
inline std::atomic<int> freedWithSecret;
inline std::atomic<int> freedWithout;

// For "free".
inline void __cdecl SearchAndFree(void* block) {
    if (block != nullptr) {
        const char* bytes = static_cast<const char*>(block);
        ++(HoldsSecret(bytes, bytes + _msize(block)) ? freedWithSecret : freedWithout);
    }
    std::free(block);
}

// Calls `call` further down the stack: what it leaves there is not written over by a search that is made from here.
inline void CallFurtherDown(const std::function<void()>& call) {
    static constexpr auto kFurtherDown = [](const std::function<void()>& function) {
        volatile char room[16'384];
        room[0] = 0;
        function();
        room[sizeof(room) - 1] = 0;
    };
    void (*volatile furtherDown)(const std::function<void()>&) = kFurtherDown; // a call of its own
    furtherDown(call);
}

// True when calls that have returned left a secret on this thread's stack.
inline bool StackHoldsSecret() {
    const char end = 0;
    const auto* stack = reinterpret_cast<const NT_TIB*>(NtCurrentTeb());
    return HoldsSecret(static_cast<const char*>(stack->StackLimit), &end);
}

// How often a reader of a browser went on to the page, and whether there was a secret anywhere on its stack.
inline std::atomic<int> pagesLookedFor;
inline std::atomic<bool> secretOnStack;

// For "GetModuleHandleA", which is what a reader calls when it has read its request.
inline HMODULE WINAPI SearchStackAndGetModule(LPCSTR name) {
    const auto* stack = reinterpret_cast<const NT_TIB*>(NtCurrentTeb());
    secretOnStack = secretOnStack || HoldsSecret(static_cast<const char*>(stack->StackLimit),
                                                 static_cast<const char*>(stack->StackBase));
    ++pagesLookedFor;
    return GetModuleHandleA(name);
}

inline std::mutex begunThreadsLock;
inline std::vector<KernelHandle> begunThreads;

// For "_beginthreadex".
inline std::uintptr_t __cdecl BeginAndKeepThread(void* security, unsigned stack,
                                                 _beginthreadex_proc_type start, void* argument,
                                                 unsigned flags, unsigned* id) {
    const std::uintptr_t thread = _beginthreadex(security, stack, start, argument, flags, id);
    const std::lock_guard lock(begunThreadsLock);
    begunThreads.push_back(DuplicateKernelHandle(reinterpret_cast<HANDLE>(thread)));
    return thread;
}

// Waits for the end of all threads that the library has begun, the detached ones too. False when one goes on.
inline bool WaitForBegunThreads() {
    const std::lock_guard lock(begunThreadsLock);
    const bool ended = std::ranges::all_of(begunThreads, [](const KernelHandle& thread) {
        return WaitForSingleObject(thread.get(), 60'000) == WAIT_OBJECT_0;
    });
    begunThreads.clear();
    return ended;
}

// Forgets what an earlier test has searched for and found.
inline void BeginLeftoverSearch() {
    secretForms.clear();
    freedWithSecret = 0;
    freedWithout = 0;
    pagesLookedFor = 0;
    secretOnStack = false;
}

} // namespace zelto::test
