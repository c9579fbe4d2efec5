#include "tests/auth_module/channel_test.h"

#include <algorithm>
#include <fstream>
#include <mutex>
#include <sstream>
#include <stdexcept>

namespace zelto::test {
namespace {

std::string nextBlock;
void* view;
HANDLE endedProcess; // of a program that has ended with exit code 0

HANDLE Duplicate(HANDLE handle, BOOL inherit = FALSE) {
    HANDLE duplicate = nullptr;
    DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &duplicate, 0, inherit,
                    DUPLICATE_SAME_ACCESS);
    return duplicate;
}

// While no block has it, the receiver number belongs to a handle of this program's own.
const HANDLE wanted = reinterpret_cast<HANDLE>(kReceiver);
bool reserved = false;

// While the number is free nothing else may take it: the library's writer would, for its log.
std::mutex numberIsFree;

std::FILE* __cdecl OpenWhileItIsTaken(const wchar_t* path, const wchar_t* mode, int share) {
    const std::lock_guard lock(numberIsFree);
    return _wfsopen(path, mode, share);
}

// Handles that the library was given here and has not closed.
std::vector<HANDLE> given;

// Moves `handle` to the receiver number, which is free. The numbers that come before are taken for good.
HANDLE Renumber(HANDLE handle) {
    for (std::uintptr_t tries = 0; handle != wanted; ++tries) {
        const HANDLE next = Duplicate(handle, TRUE);
        if (next == nullptr || tries == kReceiver) {
            throw std::runtime_error("no handle gets the receiver number");
        }
        CloseHandle(handle);
        Duplicate(endedProcess); // stays where the handle was
        handle = next;
    }
    return handle;
}

HANDLE WINAPI CreateNumbered(HANDLE file, LPSECURITY_ATTRIBUTES security, DWORD protection, DWORD high,
                             DWORD low, LPCWSTR name) {
    const std::lock_guard lock(numberIsFree);
    if (reserved) {
        CloseHandle(wanted);
        reserved = false;
    }
    given.push_back(Renumber(CreateFileMappingW(file, security, protection, high, low, name)));
    return given.back();
}

BOOL WINAPI CloseAndReserve(HANDLE handle) {
    const std::lock_guard lock(numberIsFree);
    const BOOL result = CloseHandle(handle);
    given.erase(std::remove(given.begin(), given.end(), handle), given.end());
    if (handle == wanted) {
        Renumber(Duplicate(endedProcess));
        reserved = true;
    }
    return result;
}

void* WINAPI MapAndRemember(HANDLE mapping, DWORD access, DWORD high, DWORD low, SIZE_T size) {
    return view = MapViewOfFile(mapping, access, high, low, size);
}

BOOL WINAPI EndAtOnce(LPCWSTR, LPWSTR, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL, DWORD, LPVOID,
                      LPCWSTR, LPSTARTUPINFOW, LPPROCESS_INFORMATION started) {
    std::copy(nextBlock.begin(), nextBlock.end(), static_cast<char*>(view));
    *started = {Duplicate(endedProcess), Duplicate(endedProcess), 1, 1};
    given.insert(given.end(), {started->hProcess, started->hThread});
    return TRUE;
}

HANDLE StartAndEnd(const std::wstring& program) {
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION started = {};
    if (!CreateProcessW(program.c_str(), nullptr, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &started)) {
        throw std::runtime_error("the double cannot be started");
    }
    CloseHandle(started.hThread);
    WaitForSingleObject(started.hProcess, INFINITE);
    return started.hProcess;
}

std::string Unhex(const std::string& hex) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        const auto digit = [&](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
        bytes += static_cast<char>(digit(hex[i]) * 16 + digit(hex[i + 1]));
    }
    return bytes;
}

} // namespace

ChannelTest::ChannelTest() {
    if (endedProcess == nullptr) {
        endedProcess = StartAndEnd((ModuleFolder() / L"ZeltoAuth.exe").wstring());
    }
    Patch("_wfsopen", &OpenWhileItIsTaken);
    Patch("CreateFileMappingW", &CreateNumbered);
    Patch("CloseHandle", &CloseAndReserve);
    Patch("MapViewOfFile", &MapAndRemember);
    Patch("CreateProcessW", &EndAtOnce);
}

ChannelTest::~ChannelTest() {
    TakePatchesAway();
}

void ChannelTest::Block(const std::string& bytes) {
    nextBlock = bytes;
}

std::string ChannelTest::Token(std::size_t size) {
    std::string buffer(size, '\xCC');
    EXPECT_EQ(library_.TwoFactorAuthGetResponse("", buffer.data(), size, 60'000, nullptr, nullptr), kOk);
    return buffer;
}

std::size_t ChannelTest::HandlesInUse() {
    return given.size();
}

std::string ChannelTest::SoundBlock() const {
    for (const MadeRecord& record : MadeRecords()) {
        if (record.name == "with_a_line_end") {
            return record.block;
        }
    }
    throw std::runtime_error("there is no such record");
}

std::vector<MadeRecord> MadeRecords() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::ifstream file(std::filesystem::path(path).parent_path() / "auth_module" / "records.txt");
    std::vector<MadeRecord> records;
    MadeRecord record;
    while (file >> record.name >> record.nRet >> record.plaintext >> record.block) {
        record.plaintext = record.plaintext == "-" ? "" : Unhex(record.plaintext);
        record.block = record.block == "-" ? "" : Unhex(record.block);
        records.push_back(record);
    }
    return records;
}

} // namespace zelto::test
