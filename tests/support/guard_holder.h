#pragma once

#include "auth/kernel_handle.h"

#include <string>

namespace zelto::test {

// A program of its own that holds the guard of an export until it is told to end. Throws std::runtime_error when it
// cannot be brought to do so.
class GuardHolder {
public:
    explicit GuardHolder(const std::wstring& guardName);
    GuardHolder(const GuardHolder&) = delete;
    GuardHolder& operator=(const GuardHolder&) = delete;
    ~GuardHolder() { End(); }

    // Waits for the end, so that the guard is free again.
    void End();

private:
    KernelHandle holds_;
    KernelHandle end_;
    KernelHandle process_;
};

} // namespace zelto::test
