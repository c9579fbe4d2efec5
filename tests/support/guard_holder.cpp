#include "tests/support/guard_holder.h"

#include <filesystem>
#include <stdexcept>

namespace zelto::test {

GuardHolder::GuardHolder(const std::wstring& guardName)
    : holds_(CreateEventW(nullptr, TRUE, FALSE, L"zelto test guard holder holds")),
      end_(CreateEventW(nullptr, TRUE, FALSE, L"zelto test guard holder end")) {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring program = std::filesystem::path(path).replace_filename(L"guard_holder.exe").wstring();
    std::wstring commandLine = L"guard_holder.exe " + guardName;
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process)) {
        throw std::runtime_error("guard_holder.exe cannot be started");
    }
    CloseHandle(process.hThread);
    process_.reset(process.hProcess);
    if (WaitForSingleObject(holds_.get(), 30'000) != WAIT_OBJECT_0) {
        throw std::runtime_error("guard_holder.exe does not hold the guard");
    }
}

void GuardHolder::End() {
    SetEvent(end_.get());
    WaitForSingleObject(process_.get(), 30'000);
}

} // namespace zelto::test
