#pragma once

#include <utility>
#include <windows.h>

namespace zelto {

// Owns one kernel handle whose invalid value is null (events, mutexes, timers, processes, mappings; not
// files, whose invalid value is -1). Closing keeps the thread's last error, so that a flow may still read the
// one it came for.
class KernelHandle {
public:
    KernelHandle() = default;
    explicit KernelHandle(HANDLE handle) noexcept : handle_(handle) {}
    KernelHandle(KernelHandle&& other) noexcept : handle_(other.release()) {}
    KernelHandle& operator=(KernelHandle&& other) noexcept {
        reset(other.release());
        return *this;
    }
    KernelHandle(const KernelHandle&) = delete;
    KernelHandle& operator=(const KernelHandle&) = delete;
    ~KernelHandle() { reset(); }

    HANDLE get() const noexcept { return handle_; }
    explicit operator bool() const noexcept { return handle_ != nullptr; }

    // Gives the handle up without closing it.
    HANDLE release() noexcept { return std::exchange(handle_, nullptr); }

    // Closes the handle, if there is one, and owns `handle` from now on.
    void reset(HANDLE handle = nullptr) noexcept {
        const HANDLE old = std::exchange(handle_, handle);
        if (old == nullptr) {
            return;
        }
        const DWORD lastError = GetLastError();
        CloseHandle(old);
        SetLastError(lastError);
    }

private:
    HANDLE handle_ = nullptr;
};

// True for the pseudo handles of the current process and thread (-1, -2). -1 is also INVALID_HANDLE_VALUE: whoever
// gives it for "none" would have the caller wait for, or terminate, its own process.
inline bool IsPseudoHandle(HANDLE handle) noexcept {
    return handle == GetCurrentProcess() || handle == GetCurrentThread();
}

// A second handle to the same object, not inheritable, with the same access; empty when `handle` is not a
// valid one, with ERROR_INVALID_HANDLE as the last error. The pseudo handles of process and thread are none, as
// they are none for WaitForMultipleObjects.
inline KernelHandle DuplicateKernelHandle(HANDLE handle) noexcept {
    HANDLE duplicate = nullptr;
    const HANDLE self = GetCurrentProcess();
    if (IsPseudoHandle(handle)) {
        SetLastError(ERROR_INVALID_HANDLE);
        return KernelHandle();
    }
    if (!DuplicateHandle(self, handle, self, &duplicate, 0, FALSE, DUPLICATE_SAME_ACCESS)) {
        return KernelHandle();
    }
    return KernelHandle(duplicate);
}

} // namespace zelto
