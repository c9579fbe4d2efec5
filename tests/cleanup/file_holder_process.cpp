#include "tests/cleanup/file_holder_process.h"

#include <stdexcept>
#include <string>

namespace zelto::test {
namespace {

KernelHandle StartHolder(const std::filesystem::path& file, unsigned milliseconds) {
    wchar_t self[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    const std::filesystem::path program = std::filesystem::path(self).parent_path() / L"file_holder.exe";
    std::wstring command =
        L"\"" + program.wstring() + L"\" \"" + file.wstring() + L"\" " + std::to_wstring(milliseconds);
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &process)) {
        throw std::runtime_error("cannot start file_holder.exe");
    }
    CloseHandle(process.hThread);
    return KernelHandle(process.hProcess);
}

} // namespace

FileHolder::FileHolder(const std::filesystem::path& file, unsigned milliseconds)
    : holds_(CreateEventW(nullptr, TRUE, FALSE, L"zelto test file holder holds")),
      letsGo_(CreateEventW(nullptr, TRUE, FALSE, L"zelto test file holder lets go")),
      process_(StartHolder(file, milliseconds)) {
    const HANDLE either[] = {holds_.get(), process_.get()};
    if (WaitForMultipleObjects(2, either, FALSE, 30'000) != WAIT_OBJECT_0) {
        throw std::runtime_error("file_holder.exe does not hold the file");
    }
}

FileHolder::~FileHolder() {
    LetGo();
}

void FileHolder::LetGo() {
    SetEvent(letsGo_.get());
    WaitForSingleObject(process_.get(), 30'000);
}

} // namespace zelto::test
