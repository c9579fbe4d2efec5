#pragma once

#include "auth/kernel_handle.h"
#include "tests/support/import_patch.h"

#include <cstdint>
#include <mutex>
#include <vector>

namespace zelto::test {

// Keeps a handle of every thread that this program starts with _beginthreadex while the object lives: the way
// to wait for threads that are detached. One object at a time.
class StartedThreads {
public:
    StartedThreads() {
        begin_ = patch_.Original<BeginThread>();
        Threads().clear();
    }
    ~StartedThreads() { Threads().clear(); }

    // True when all of them have ended; closes their handles.
    bool WaitForAll() {
        std::vector<KernelHandle> threads;
        {
            const std::lock_guard guard(lock_);
            threads.swap(Threads());
        }
        bool ended = true;
        for (const KernelHandle& thread : threads) {
            ended = ended && WaitForSingleObject(thread.get(), 60000) == WAIT_OBJECT_0;
        }
        return ended;
    }

private:
    using BeginThread = std::uintptr_t __cdecl(void*, unsigned, unsigned(__stdcall*)(void*), void*, unsigned,
                                               unsigned*);

    static std::vector<KernelHandle>& Threads() {
        static std::vector<KernelHandle> threads;
        return threads;
    }

    static std::uintptr_t __cdecl Begin(void* security, unsigned stack, unsigned(__stdcall* start)(void*),
                                        void* argument, unsigned flags, unsigned* id) {
        const std::uintptr_t thread = begin_(security, stack, start, argument, flags, id);
        const std::lock_guard guard(lock_);
        Threads().push_back(DuplicateKernelHandle(reinterpret_cast<HANDLE>(thread)));
        return thread;
    }

    static inline std::mutex lock_;
    static inline BeginThread* begin_ = nullptr;
    ImportPatch patch_{GetModuleHandleW(nullptr), "_beginthreadex", Begin};
};

} // namespace zelto::test
