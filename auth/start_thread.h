#pragma once

#include "auth/kernel_handle.h"

#include <cstdint>
#include <exception>
#include <memory>
#include <process.h>
#include <system_error>
#include <type_traits>
#include <utility>

namespace zelto {

// A started thread; used as std::thread is: it must be joined or detached before its owner goes, which ends
// the process otherwise.
//
// std::thread itself does not serve here. On some runtimes it registers a fibre-local callback (FlsAlloc),
// which the system calls when the thread exits. A detached thread that is the last to hold the library
// unloads it with its last step (FreeLibraryAndExitThread), and the callback then lies in memory that is
// gone.
class Thread {
public:
    Thread() = default;
    explicit Thread(KernelHandle handle) noexcept : handle_(std::move(handle)) {}
    Thread(Thread&&) = default;
    Thread& operator=(Thread&&) = delete;
    ~Thread() {
        if (joinable()) {
            std::terminate();
        }
    }

    bool joinable() const noexcept { return static_cast<bool>(handle_); }

    // Waits until the thread has ended, its part in the module's life included.
    void join() noexcept {
        WaitForSingleObject(handle_.get(), INFINITE);
        handle_.reset();
    }

    // Lets the thread run on alone, and gives out its handle.
    KernelHandle take() noexcept { return std::move(handle_); }

    // Lets the thread run on alone.
    void detach() noexcept { handle_.reset(); }

private:
    KernelHandle handle_;
};

// Thread procedure: runs and destroys the callable that it is given. An exception that leaves it ends the
// process.
template <class Callable>
unsigned __stdcall RunCallable(void* argument) noexcept {
    const std::unique_ptr<Callable> callable(static_cast<Callable*>(argument));
    (*callable)();
    return 0;
}

// Starts a thread procedure with its argument, which stays the caller's when this throws. The thread keeps the library
// loaded until it has ended, because the C runtime's _beginthreadex holds a reference on the module of the thread
// procedure.
//
// Throws std::system_error with the condition resource_unavailable_try_again when no thread can be created.
inline Thread StartThreadProcedure(unsigned(__stdcall* procedure)(void*), void* argument) {
    const std::uintptr_t handle = _beginthreadex(nullptr, 0, procedure, argument, 0, nullptr);
    if (handle == 0) {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    }
    return Thread(KernelHandle(reinterpret_cast<HANDLE>(handle)));
}

// Starts `callable` on a new thread, which owns it. Otherwise as above.
template <class Callable>
Thread StartThread(Callable&& callable) {
    using Stored = std::decay_t<Callable>;
    auto stored = std::make_unique<Stored>(std::forward<Callable>(callable));
    Thread thread = StartThreadProcedure(&RunCallable<Stored>, stored.get());
    static_cast<void>(stored.release()); // the thread's own now, and perhaps gone already
    return thread;
}

} // namespace zelto
