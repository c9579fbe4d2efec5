#pragma once

#include <cstddef>
#include <string>

namespace zelto::test {

// Entries in the real URL cache of this user, made with the system's own functions. All of them throw
// std::runtime_error when the system refuses.

// Makes a cookie entry named "Cookie:" and `site`, with a file behind it, that takes more than `extraBytes`.
std::wstring MakeCookie(const std::wstring& site, std::size_t extraBytes = 0);

// Makes an entry that is no cookie: a page at `url`, or a visited address ("Visited:…").
void MakeOtherEntry(const std::wstring& url);

bool EntryExists(const std::wstring& name);

// Number of cookie entries, by the system's own enumeration.
std::size_t CountCookies();

// Removes all cookies, whatever earlier tests left.
void EmptyCookieCache();

// Keeps an entry in use, which is why it cannot be deleted.
class EntryInUse {
public:
    explicit EntryInUse(const std::wstring& name);
    EntryInUse(const EntryInUse&) = delete;
    EntryInUse& operator=(const EntryInUse&) = delete;
    ~EntryInUse();

private:
    std::wstring name_;
};

} // namespace zelto::test
