#pragma once

#include <filesystem>
#include <string>

namespace zelto::test {

// A new, empty folder of the test's own, removed with all it holds on destruction.
class TempFolder {
public:
    TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    ~TempFolder();

    const std::filesystem::path& Path() const { return path_; }

    // The path as narrow text that ends in a backslash.
    std::string NarrowWithBackslash() const { return path_.string() + "\\"; }

private:
    std::filesystem::path path_;
};

} // namespace zelto::test
