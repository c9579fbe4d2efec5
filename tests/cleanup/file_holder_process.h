#pragma once

#include "auth/kernel_handle.h"

#include <filesystem>

namespace zelto::test {

// Another process that keeps a file open, so that it can be neither opened nor deleted. It holds the file
// when the constructor returns, and lets go after `milliseconds`, when told so, or with this object.
class FileHolder {
public:
    explicit FileHolder(const std::filesystem::path& file, unsigned milliseconds = 60'000);
    FileHolder(const FileHolder&) = delete;
    FileHolder& operator=(const FileHolder&) = delete;
    ~FileHolder();

    // Returns when the process has ended.
    void LetGo();

private:
    KernelHandle holds_;
    KernelHandle letsGo_;
    KernelHandle process_;
};

} // namespace zelto::test
