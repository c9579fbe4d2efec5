#include "tests/cleanup/cookie_cache.h"

#include <fstream>
#include <stdexcept>
#include <vector>
#include <windows.h>
#include <wininet.h>

namespace zelto::test {
namespace {

constexpr wchar_t kCookie[] = L"Cookie:";

[[noreturn]] void Fail(const char* function) {
    throw std::runtime_error(std::string(function) + " failed with error " + std::to_string(GetLastError()));
}

void MakeEntry(const std::wstring& name, DWORD type, std::size_t extraBytes) {
    wchar_t file[MAX_PATH] = {};
    if (!CreateUrlCacheEntryW(name.c_str(), 0, L"txt", file, 0)) {
        Fail("CreateUrlCacheEntryW");
    }
    std::ofstream(file) << "content";
    const std::wstring header(extraBytes, L'h');
    if (!CommitUrlCacheEntryW(name.c_str(), file, FILETIME{}, FILETIME{}, type,
                              header.empty() ? nullptr : const_cast<wchar_t*>(header.c_str()),
                              static_cast<DWORD>(header.size()), nullptr, nullptr)) {
        Fail("CommitUrlCacheEntryW");
    }
}

std::vector<std::wstring> Cookies() {
    std::vector<std::wstring> names;
    std::vector<std::max_align_t> storage(4096);
    auto* const entry = reinterpret_cast<INTERNET_CACHE_ENTRY_INFOW*>(storage.data());
    const DWORD room = static_cast<DWORD>(storage.size() * sizeof(storage[0]));
    DWORD size = room;
    const HANDLE search = FindFirstUrlCacheEntryW(kCookie, entry, &size);
    if (search == nullptr) {
        return names;
    }
    do {
        names.emplace_back(entry->lpszSourceUrlName);
        size = room;
    } while (FindNextUrlCacheEntryW(search, entry, &size));
    FindCloseUrlCache(search);
    return names;
}

} // namespace

std::wstring MakeCookie(const std::wstring& site, std::size_t extraBytes) {
    const std::wstring name = kCookie + site;
    MakeEntry(name, NORMAL_CACHE_ENTRY | COOKIE_CACHE_ENTRY, extraBytes);
    return name;
}

void MakeOtherEntry(const std::wstring& url) {
    const bool visited = url.starts_with(L"Visited:");
    MakeEntry(url, NORMAL_CACHE_ENTRY | (visited ? URLHISTORY_CACHE_ENTRY : 0u), 0);
}

bool EntryExists(const std::wstring& name) {
    DWORD size = 0;
    return GetUrlCacheEntryInfoW(name.c_str(), nullptr, &size) || GetLastError() == ERROR_INSUFFICIENT_BUFFER;
}

std::size_t CountCookies() {
    return Cookies().size();
}

void EmptyCookieCache() {
    for (const std::wstring& name : Cookies()) {
        if (!DeleteUrlCacheEntryW(name.c_str())) {
            Fail("DeleteUrlCacheEntryW");
        }
    }
}

EntryInUse::EntryInUse(const std::wstring& name) : name_(name) {
    std::vector<std::max_align_t> storage(4096);
    DWORD size = static_cast<DWORD>(storage.size() * sizeof(storage[0]));
    if (!RetrieveUrlCacheEntryFileW(
            name.c_str(), reinterpret_cast<INTERNET_CACHE_ENTRY_INFOW*>(storage.data()), &size, 0)) {
        Fail("RetrieveUrlCacheEntryFileW");
    }
}

EntryInUse::~EntryInUse() {
    UnlockUrlCacheEntryFileW(name_.c_str(), 0);
}

} // namespace zelto::test
