#include "tests/support/temp_folder.h"

#include <atomic>
#include <stdexcept>
#include <windows.h>

namespace zelto::test {

TempFolder::TempFolder() {
    static std::atomic<unsigned> next{0};
    wchar_t base[MAX_PATH + 1] = {};
    GetTempPathW(MAX_PATH + 1, base);
    const std::wstring name = L"zelto_" + std::to_wstring(GetCurrentProcessId()) + L"_" +
                              std::to_wstring(GetTickCount()) + L"_" + std::to_wstring(next++);
    path_ = std::filesystem::path(base) / name;
    if (!std::filesystem::create_directories(path_)) {
        throw std::runtime_error("cannot create a temporary folder");
    }
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace zelto::test
