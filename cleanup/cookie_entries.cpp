#include "cleanup/cookie_entries.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <utility>
#include <windows.h>
#include <wininet.h>

namespace zelto {
namespace {

constexpr wchar_t kEveryCookie[] = L"Cookie:"; // the entries of all sites
constexpr DWORD kFirstSize = 4096;             // bytes

struct SearchCloser {
    using pointer = HANDLE;
    void operator()(HANDLE search) const noexcept { FindCloseUrlCache(search); }
};
using CacheSearch = std::unique_ptr<void, SearchCloser>;

using Storage = std::unique_ptr<std::byte[]>;

// Where WinINet writes an entry and, behind it, the texts that the entry points at.
struct EntryBuffer {
    Storage bytes = std::make_unique<std::byte[]>(kFirstSize);
    DWORD size = kFirstSize; // bytes
    // What the buffer has grown out of. An entry that was copied along still points in there.
    std::vector<Storage> outgrown;

    INTERNET_CACHE_ENTRY_INFOW* Entry() const noexcept {
        return reinterpret_cast<INTERNET_CACHE_ENTRY_INFOW*>(bytes.get());
    }
};

void Grow(EntryBuffer& buffer, DWORD size) {
    if (size <= buffer.size) {
        return;
    }
    Storage larger = std::make_unique<std::byte[]>(size);
    std::memcpy(larger.get(), buffer.bytes.get(), buffer.size);
    buffer.outgrown.push_back(std::exchange(buffer.bytes, std::move(larger)));
    buffer.size = size;
}

CacheSearch FindFirst(EntryBuffer& buffer, DWORD& size) {
    size = buffer.size;
    SetLastError(ERROR_SUCCESS);
    return CacheSearch(FindFirstUrlCacheEntryW(kEveryCookie, buffer.Entry(), &size));
}

// Empty when there is no cookie entry, or no search.
CacheSearch StartSearch(EntryBuffer& buffer) {
    DWORD size = 0;
    CacheSearch search = FindFirst(buffer, size);
    if (!search && GetLastError() == ERROR_INSUFFICIENT_BUFFER) {
        Grow(buffer, size);
        search = FindFirst(buffer, size);
    }
    return search;
}

// Returns the last error that this one call leaves. A call that succeeds does not reset it: what an earlier
// one left behind must neither end the search nor pass over an entry.
DWORD FindNext(HANDLE search, EntryBuffer& buffer) {
    DWORD size = buffer.size;
    SetLastError(ERROR_SUCCESS);
    FindNextUrlCacheEntryW(search, buffer.Entry(), &size);
    const DWORD error = GetLastError();
    if (error == ERROR_INSUFFICIENT_BUFFER) {
        Grow(buffer, size);
    }
    return error;
}

// False at the end of the list, and only there: after any other error the entry in the buffer counts again.
bool MoveToNext(HANDLE search, EntryBuffer& buffer) {
    DWORD error = FindNext(search, buffer);
    if (error == ERROR_INSUFFICIENT_BUFFER) {
        error = FindNext(search, buffer);
    }
    return error != ERROR_NO_MORE_ITEMS;
}

bool DeleteAll(const std::vector<std::wstring>& names) {
    bool allDeleted = true;
    for (const std::wstring& name : names) {
        allDeleted = DeleteUrlCacheEntryW(name.c_str()) && allDeleted;
    }
    return allDeleted;
}

} // namespace

std::vector<std::wstring> CollectCookieEntries() {
    std::vector<std::wstring> names;
    EntryBuffer buffer;
    const CacheSearch search = StartSearch(buffer);
    if (!search) {
        return names;
    }
    do {
        if (const wchar_t* const name = buffer.Entry()->lpszSourceUrlName) {
            names.emplace_back(name);
        }
    } while (MoveToNext(search.get(), buffer));
    return names;
}

bool DeleteCookieEntries() noexcept {
    try {
        return DeleteAll(CollectCookieEntries());
    } catch (const std::bad_alloc&) {
        return false; // entries that could not be listed are still there
    }
}

} // namespace zelto
