#pragma once

#include <windows.h>

namespace zelto {

// Holds the module lock, which makes sure that one auth module runs at a time; tried once, never waited for. A
// lock that its last holder has abandoned counts as taken, and is left as it is.
class ModuleLockHold {
public:
    explicit ModuleLockHold(HANDLE lock) noexcept
        : lock_(WaitForSingleObject(lock, 0) == WAIT_OBJECT_0 ? lock : nullptr) {}
    ModuleLockHold(const ModuleLockHold&) = delete;
    ModuleLockHold& operator=(const ModuleLockHold&) = delete;
    ~ModuleLockHold() {
        if (lock_ != nullptr) {
            ReleaseMutex(lock_);
        }
    }

    explicit operator bool() const noexcept { return lock_ != nullptr; }

private:
    HANDLE lock_;
};

} // namespace zelto
