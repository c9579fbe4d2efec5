#include "tests/support/process_counts.h"

#include <windows.h>

#include <stdexcept>
#include <string_view>
#include <tlhelp32.h>

namespace zelto::test {
namespace {

// The system gives out the lowest number that is free, so that gaps are no longer than what has been closed.
constexpr std::size_t kLongestGap = 1024;

// The system's own threads hold a handle for a moment now and then: a number is taken that was counted twice.
constexpr int kAttempts = 20;

bool IsLogFile(HANDLE handle) {
    if (GetFileType(handle) != FILE_TYPE_DISK) {
        return false;
    }
    wchar_t path[MAX_PATH] = {};
    const DWORD length = GetFinalPathNameByHandleW(handle, path, MAX_PATH, 0);
    return length < MAX_PATH && std::wstring_view(path, length).ends_with(L".log");
}

bool IsEveryHandle(HANDLE) {
    return true;
}

bool IsNoLogFile(HANDLE handle) {
    return !IsLogFile(handle);
}

// Asks for one handle after the other. The system's table of all handles would tell at once, but asking for it ends
// some versions of Wine's server when a process that has no handle yet, or no longer, happens to be there.
std::size_t CountOnce(bool (*isCounted)(HANDLE)) {
    std::size_t count = 0;
    std::size_t gap = 0;
    for (ULONG_PTR number = 4; gap < kLongestGap; number += 4) {
        DWORD flags = 0;
        const auto handle = reinterpret_cast<HANDLE>(number);
        const bool open = GetHandleInformation(handle, &flags) != FALSE;
        count += open && isCounted(handle) ? 1 : 0;
        gap = open ? 0 : gap + 1;
    }
    return count;
}

std::size_t CountUntilStable(bool (*isCounted)(HANDLE)) {
    std::size_t count = CountOnce(isCounted);
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const std::size_t again = CountOnce(isCounted);
        if (again == count) {
            break;
        }
        count = again;
    }
    return count;
}

// Calls `visit` for each entry of a Toolhelp snapshot.
template <class Entry, class First, class Next, class Visit>
void ForEachEntry(DWORD kind, First first, Next next, Visit visit) {
    const HANDLE snapshot = CreateToolhelp32Snapshot(kind, 0);
    if (snapshot == INVALID_HANDLE_VALUE) {
        throw std::runtime_error("CreateToolhelp32Snapshot failed");
    }
    Entry entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL more = first(snapshot, &entry); more; more = next(snapshot, &entry)) {
        visit(entry);
    }
    CloseHandle(snapshot);
}

// Walks the address space, because the process's own counter (PrivateUsage) is always 0 on some versions of
// Wine.
std::size_t PrivateBytes() {
    std::size_t bytes = 0;
    MEMORY_BASIC_INFORMATION region = {};
    const unsigned char* address = nullptr;
    while (VirtualQuery(address, &region, sizeof(region)) != 0) {
        bytes += region.State == MEM_COMMIT && region.Type == MEM_PRIVATE ? region.RegionSize : 0;
        address = static_cast<const unsigned char*>(region.BaseAddress) + region.RegionSize;
    }
    return bytes;
}

} // namespace

std::size_t CountHandles() {
    return CountUntilStable(&IsNoLogFile);
}

std::size_t CountHandlesAndLogFiles() {
    return CountUntilStable(&IsEveryHandle);
}

std::size_t CountThreads() {
    std::size_t count = 0;
    ForEachEntry<THREADENTRY32>(TH32CS_SNAPTHREAD, Thread32First, Thread32Next,
                                [&](const THREADENTRY32& entry) {
                                    count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
                                });
    return count;
}

std::size_t CountChildProcesses() {
    std::size_t count = 0;
    ForEachEntry<PROCESSENTRY32W>(TH32CS_SNAPPROCESS, Process32FirstW, Process32NextW,
                                  [&](const PROCESSENTRY32W& entry) {
                                      count += entry.th32ParentProcessID == GetCurrentProcessId() ? 1 : 0;
                                  });
    return count;
}

ProcessCounts CountProcess() {
    return {CountHandles(), CountThreads(), PrivateBytes()};
}

} // namespace zelto::test
