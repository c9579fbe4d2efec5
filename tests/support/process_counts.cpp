#include "tests/support/process_counts.h"

#include <windows.h>

#include <stdexcept>
#include <tlhelp32.h>
#include <vector>
#include <winternl.h>

namespace zelto::test {
namespace {

// SYSTEM_HANDLE_INFORMATION_EX, which the headers of the platform do not declare.
struct HandleEntry {
    void* object;
    ULONG_PTR processId;
    ULONG_PTR handle;
    ULONG access;
    USHORT creatorBackTraceIndex;
    USHORT objectTypeIndex;
    ULONG attributes;
    ULONG reserved;
};

struct HandleTable {
    ULONG_PTR count;
    ULONG_PTR reserved;
    HandleEntry entries[1];
};

constexpr int kSystemExtendedHandleInformation = 64;
constexpr LONG kInfoLengthMismatch = static_cast<LONG>(0xC0000004);

using QuerySystemInformation = LONG(WINAPI*)(int, void*, ULONG, ULONG*);

QuerySystemInformation FindQuery() {
    const FARPROC address = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation");
    return reinterpret_cast<QuerySystemInformation>(reinterpret_cast<void*>(address));
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
    static const QuerySystemInformation query = FindQuery();
    static std::vector<unsigned char> buffer(1u << 20);
    ULONG needed = 0;
    LONG status =
        query(kSystemExtendedHandleInformation, buffer.data(), static_cast<ULONG>(buffer.size()), &needed);
    while (status == kInfoLengthMismatch) {
        buffer.resize(buffer.size() * 2);
        status = query(kSystemExtendedHandleInformation, buffer.data(), static_cast<ULONG>(buffer.size()),
                       &needed);
    }
    if (status != 0) {
        throw std::runtime_error("NtQuerySystemInformation failed");
    }
    const auto* table = reinterpret_cast<const HandleTable*>(buffer.data());
    std::size_t count = 0;
    for (ULONG_PTR i = 0; i < table->count; ++i) {
        count += table->entries[i].processId == GetCurrentProcessId() ? 1 : 0;
    }
    return count;
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
