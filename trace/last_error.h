#pragma once

#include <cerrno>
#include <windows.h>
#include <winsock2.h>

namespace zelto {

// Puts the thread's last error and errno back at the end of its scope: routines log first and read the last
// error afterwards, and opening a file on the way would otherwise turn into their result.
class KeptErrors {
public:
    KeptErrors() noexcept : lastError_(GetLastError()), place_(errno), errno_(place_) {}
    KeptErrors(const KeptErrors&) = delete;
    KeptErrors& operator=(const KeptErrors&) = delete;
    ~KeptErrors() {
        place_ = errno_;
        SetLastError(lastError_);
    }

private:
    DWORD lastError_;
    int& place_; // of this thread's errno
    int errno_;
};

} // namespace zelto
