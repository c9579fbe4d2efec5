#pragma once

#include "auth/kernel_handle.h"

#include <cstddef>

namespace zelto {

// Size of the memory block through which the auth module's answer returns, in bytes.
inline constexpr std::size_t kResponseBlockSize = 65'536;

// That block: unnamed, in the page file, readable and writable, with a handle that a started process can inherit;
// mapped and filled with zeros. Unmapped and closed, in this order, by the destructor. Its content is
// encrypted and not wiped.
class ResponseBlock {
public:
    ResponseBlock() noexcept;
    ResponseBlock(const ResponseBlock&) = delete;
    ResponseBlock& operator=(const ResponseBlock&) = delete;
    ~ResponseBlock();

    // False when the block could not be created or mapped.
    explicit operator bool() const noexcept { return view_ != nullptr; }

    HANDLE Handle() const noexcept { return mapping_.get(); }
    char* View() const noexcept { return view_; } // kResponseBlockSize bytes

    // Whether a process that is started from now on inherits the handle. None does at first.
    void SetInherited(bool inherited) const noexcept;

private:
    KernelHandle mapping_;
    char* view_ = nullptr;
};

} // namespace zelto
