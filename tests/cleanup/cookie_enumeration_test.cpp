// What the real URL cache cannot be brought to do: its functions are replaced and answer as each test says.

#include "tests/support/import_patch.h"
#include "tests/support/library_under_test.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <malloc.h>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>
#include <windows.h>
#include <wininet.h>

namespace zelto::test {
namespace {

constexpr DWORD kTooSmall = ERROR_INSUFFICIENT_BUFFER;
constexpr DWORD kEnd = ERROR_NO_MORE_ITEMS;
const HANDLE kSearch = reinterpret_cast<HANDLE>(std::intptr_t{0x5EA});

// What one call of an enumeration function does.
struct Answer {
    std::optional<std::wstring> entry; // none: the call fails
    std::optional<DWORD> lastError;    // none: the last error stays as it is
    DWORD size = 0;                    // what it reports; 0: nothing
};

Answer Entry(const wchar_t* name) {
    return {name, std::nullopt, 0};
}
Answer Failure(DWORD lastError, DWORD size = 0) {
    return {std::nullopt, lastError, size};
}

// A call of an enumeration function, as it came in.
struct Call {
    const void* buffer;
    DWORD size;
    std::string front; // the first bytes of the buffer
};

// The cache of the test at hand.
struct ScriptedCache {
    std::vector<Answer> first;
    std::vector<Answer> next; // used up: the end of the list
    std::set<std::wstring> undeletable;

    std::wstring pattern;
    std::vector<Call> firstCalls;
    std::vector<Call> nextCalls;
    std::size_t opened = 0; // searches
    std::vector<HANDLE> closed;
    std::vector<std::wstring> deleted; // what was asked for, in order
    bool closedBeforeDeletions = false;
    std::set<DWORD> threads; // that called
} cache;

// An entry lies in the buffer as the real ones do: the record first, its texts behind it.
bool Give(const Answer& answer, INTERNET_CACHE_ENTRY_INFOW* buffer, DWORD* size) {
    if (answer.lastError) {
        SetLastError(*answer.lastError);
    }
    if (answer.size != 0) {
        *size = answer.size;
    }
    if (!answer.entry) {
        return false;
    }
    auto* const text = reinterpret_cast<wchar_t*>(buffer + 1);
    std::memcpy(text, answer.entry->c_str(), (answer.entry->size() + 1) * sizeof(wchar_t));
    buffer->lpszSourceUrlName = text;
    return true;
}

Call CallOf(const void* buffer, DWORD size) {
    return {buffer, size, std::string(static_cast<const char*>(buffer), 4096)};
}

HANDLE WINAPI FindFirst(LPCWSTR pattern, INTERNET_CACHE_ENTRY_INFOW* buffer, DWORD* size) {
    cache.threads.insert(GetCurrentThreadId());
    cache.pattern = pattern;
    cache.firstCalls.push_back(CallOf(buffer, *size));
    const std::size_t number = cache.firstCalls.size() - 1;
    const Answer answer = number < cache.first.size() ? cache.first[number] : Failure(kEnd);
    if (!Give(answer, buffer, size)) {
        return nullptr;
    }
    ++cache.opened;
    return kSearch;
}

// Succeeds and leaves the buffer as it was.
HANDLE WINAPI FindFirstWithoutName(LPCWSTR, INTERNET_CACHE_ENTRY_INFOW*, DWORD*) {
    return kSearch;
}

BOOL WINAPI FindNext(HANDLE search, INTERNET_CACHE_ENTRY_INFOW* buffer, DWORD* size) {
    EXPECT_EQ(search, kSearch);
    cache.threads.insert(GetCurrentThreadId());
    cache.nextCalls.push_back(CallOf(buffer, *size));
    const std::size_t number = cache.nextCalls.size() - 1;
    return Give(number < cache.next.size() ? cache.next[number] : Failure(kEnd), buffer, size);
}

BOOL WINAPI CloseSearch(HANDLE search) {
    cache.closed.push_back(search);
    cache.closedBeforeDeletions = cache.deleted.empty();
    return TRUE;
}

BOOL WINAPI Delete(LPCWSTR name) {
    cache.threads.insert(GetCurrentThreadId());
    cache.deleted.emplace_back(name);
    if (cache.undeletable.contains(name)) {
        SetLastError(ERROR_SHARING_VIOLATION);
        return FALSE;
    }
    return TRUE;
}

class CookieEnumerationTest : public ::testing::Test {
protected:
    CookieEnumerationTest() {
        cache = {};
        Patch("FindFirstUrlCacheEntryW", &FindFirst);
        Patch("FindNextUrlCacheEntryW", &FindNext);
        Patch("FindCloseUrlCache", &CloseSearch);
        Patch("DeleteUrlCacheEntryW", &Delete);
    }

    template <class Function>
    void Patch(const char* function, Function* replacement) {
        patches_.push_back(std::make_unique<ImportPatch>(library_.Module(), function, replacement));
    }

    void ExpectDeleted(const std::vector<std::wstring>& names, std::uint32_t result = 0) {
        EXPECT_EQ(library_.ClearCookies(), result);
        EXPECT_EQ(cache.deleted, names);
    }

    LibraryUnderTest library_;

private:
    std::vector<std::unique_ptr<ImportPatch>> patches_;
};

TEST_F(CookieEnumerationTest, AsksForTheCookiesOfAllSitesWithAZeroedBufferOf4096Bytes) {
    cache.first = {Entry(L"Cookie:a")};
    ExpectDeleted({L"Cookie:a"});
    EXPECT_EQ(cache.pattern, L"Cookie:");
    ASSERT_EQ(cache.firstCalls.size(), 1u);
    EXPECT_EQ(cache.firstCalls[0].size, 4096u);
    EXPECT_EQ(cache.firstCalls[0].front, std::string(4096, '\0'));
}

TEST_F(CookieEnumerationTest, TheFirstEntryMakesTheBufferGrow) {
    cache.first = {Failure(kTooSmall, 9000), Entry(L"Cookie:a")};
    ExpectDeleted({L"Cookie:a"});
    ASSERT_EQ(cache.firstCalls.size(), 2u);
    EXPECT_EQ(cache.firstCalls[1].size, 9000u);
    EXPECT_EQ(cache.closed, std::vector<HANDLE>{kSearch});
}

TEST_F(CookieEnumerationTest, AFirstEntryThatNeverFitsIsNone) {
    cache.first = {Failure(kTooSmall, 9000), Failure(kTooSmall, 10000), Entry(L"Cookie:a")};
    ExpectDeleted({});
    EXPECT_EQ(cache.firstCalls.size(), 2u);
    EXPECT_TRUE(cache.closed.empty());
}

TEST_F(CookieEnumerationTest, TheBufferNeverShrinks) {
    cache.first = {Failure(kTooSmall, 100), Entry(L"Cookie:a")};
    ExpectDeleted({L"Cookie:a"});
    ASSERT_EQ(cache.firstCalls.size(), 2u);
    EXPECT_EQ(cache.firstCalls[1].size, 4096u);
}

TEST_F(CookieEnumerationTest, AnotherFailureOfTheFirstCallGivesAnEmptyList) {
    cache.first = {Failure(ERROR_FILE_NOT_FOUND, 9000), Entry(L"Cookie:a")};
    ExpectDeleted({});
    EXPECT_EQ(cache.firstCalls.size(), 1u);
    EXPECT_TRUE(cache.closed.empty());
}

TEST_F(CookieEnumerationTest, AStaleLastErrorDoesNotMakeTheFirstCallBeMadeTwice) {
    cache.first = {{std::nullopt, std::nullopt, 9000}, Entry(L"Cookie:a")};
    SetLastError(kTooSmall);
    ExpectDeleted({});
    EXPECT_EQ(cache.firstCalls.size(), 1u);
}

TEST_F(CookieEnumerationTest, ALaterEntryMakesTheBufferGrow) {
    cache.first = {Entry(L"Cookie:a")};
    cache.next = {Entry(L"Cookie:b"), Failure(kTooSmall, 9000), Entry(L"Cookie:c"), Entry(L"Cookie:d")};
    ExpectDeleted({L"Cookie:a", L"Cookie:b", L"Cookie:c", L"Cookie:d"});
    EXPECT_EQ(cache.nextCalls[1].size, 4096u);
    EXPECT_EQ(cache.nextCalls[2].size, 9000u);
    EXPECT_EQ(cache.nextCalls[3].size, 9000u);
}

TEST_F(CookieEnumerationTest, AGrownBufferKeepsWhatItHeld) {
    cache.first = {Entry(L"Cookie:a")};
    cache.next = {Failure(kTooSmall, 9000), Entry(L"Cookie:b")};
    ExpectDeleted({L"Cookie:a", L"Cookie:b"});
    EXPECT_NE(cache.nextCalls[0].buffer, cache.nextCalls[1].buffer);
    EXPECT_EQ(cache.nextCalls[0].front, cache.nextCalls[1].front);
}

TEST_F(CookieEnumerationTest, ALaterSizeThatIsNoLargerIsTriedOnceMoreInTheSameBuffer) {
    cache.first = {Entry(L"Cookie:a")};
    cache.next = {Failure(kTooSmall, 4096), Entry(L"Cookie:b")};
    ExpectDeleted({L"Cookie:a", L"Cookie:b"});
    EXPECT_EQ(cache.nextCalls[1].buffer, cache.nextCalls[0].buffer);
    EXPECT_EQ(cache.nextCalls[1].size, 4096u);
}

// Spoils what the library frees, and keeps it: nobody's text lands there by chance.
void __cdecl SpoilInsteadOfFreeing(void* block) {
    if (block != nullptr) {
        std::memset(block, 0xDD, _msize(block));
    }
}

// The loop ends only at the end of the list: what stands in the buffer is taken again, and still points at
// its name.
TEST_F(CookieEnumerationTest, ALaterEntryThatNeverFitsRepeatsTheOneBefore) {
    Patch("free", &SpoilInsteadOfFreeing);
    cache.first = {Entry(L"Cookie:a")};
    cache.next = {Failure(kTooSmall, 9000), Failure(kTooSmall, 70000), Entry(L"Cookie:b")};
    ExpectDeleted({L"Cookie:a", L"Cookie:a", L"Cookie:b"});
    EXPECT_EQ(cache.nextCalls[2].size, 70000u);
}

TEST_F(CookieEnumerationTest, AnotherFailureOfALaterCallRepeatsTheOneBefore) {
    cache.first = {Entry(L"Cookie:a")};
    cache.next = {Failure(ERROR_FILE_NOT_FOUND), Entry(L"Cookie:b"), Failure(ERROR_INVALID_DATA)};
    ExpectDeleted({L"Cookie:a", L"Cookie:a", L"Cookie:b", L"Cookie:b"});
}

TEST_F(CookieEnumerationTest, AStaleEndOfTheListDoesNotEndIt) {
    cache.first = {{L"Cookie:a", kEnd, 0}};
    cache.next = {Entry(L"Cookie:b"), Entry(L"Cookie:c")};
    ExpectDeleted({L"Cookie:a", L"Cookie:b", L"Cookie:c"});
}

TEST_F(CookieEnumerationTest, AStaleShortageOfTheFirstCallPassesOverNoEntry) {
    cache.first = {Failure(kTooSmall, 9000), Entry(L"Cookie:a")};
    cache.next = {Entry(L"Cookie:b"), Entry(L"Cookie:c")};
    ExpectDeleted({L"Cookie:a", L"Cookie:b", L"Cookie:c"});
}

TEST_F(CookieEnumerationTest, AStaleShortageOfALaterCallPassesOverNoEntry) {
    cache.first = {Entry(L"Cookie:a")};
    cache.next = {Failure(kTooSmall, 9000), Entry(L"Cookie:b"), Entry(L"Cookie:c")};
    ExpectDeleted({L"Cookie:a", L"Cookie:b", L"Cookie:c"});
}

TEST_F(CookieEnumerationTest, AnEntryWithoutANameIsPassedOver) {
    Patch("FindFirstUrlCacheEntryW", &FindFirstWithoutName);
    cache.next = {Entry(L"Cookie:b")};
    ExpectDeleted({L"Cookie:b"});
}

TEST_F(CookieEnumerationTest, IsClosedOnceAndBeforeAnythingIsDeleted) {
    cache.first = {Entry(L"Cookie:a")};
    cache.next = {Entry(L"Cookie:b")};
    ExpectDeleted({L"Cookie:a", L"Cookie:b"});
    EXPECT_EQ(cache.closed, std::vector<HANDLE>{kSearch});
    EXPECT_TRUE(cache.closedBeforeDeletions);
}

TEST_F(CookieEnumerationTest, RunsOnTheCallersThread) {
    cache.first = {Entry(L"Cookie:a")};
    cache.next = {Entry(L"Cookie:b")};
    ExpectDeleted({L"Cookie:a", L"Cookie:b"});
    EXPECT_EQ(cache.threads, std::set<DWORD>{GetCurrentThreadId()});
}

TEST_F(CookieEnumerationTest, DeletionFailingForOneOfManyStopsNothing) {
    cache.first = {Entry(L"Cookie:a")};
    for (const wchar_t* name : {L"Cookie:b", L"Cookie:c", L"Cookie:d"}) {
        cache.next.push_back(Entry(name));
    }
    for (const wchar_t* undeletable : {L"Cookie:a", L"Cookie:b", L"Cookie:d"}) {
        cache.undeletable = {undeletable};
        cache.firstCalls.clear();
        cache.nextCalls.clear();
        cache.deleted.clear();
        ExpectDeleted({L"Cookie:a", L"Cookie:b", L"Cookie:c", L"Cookie:d"}, 1);
    }
}

// The allocation of this test's thread that fails.
int countdown = 0;

void* __cdecl AllocateUntilShortage(std::size_t size) {
    return --countdown == 0 ? nullptr : std::malloc(size);
}

TEST_F(CookieEnumerationTest, LackOfMemoryIsAFailureAndNoException) {
    const wchar_t* const longName = L"Cookie:a-name-that-no-string-keeps-inside-itself";
    cache.first = {Failure(kTooSmall, 9000), Entry(longName)};
    cache.next = {Entry(longName), Failure(kTooSmall, 20000), Entry(longName)};
    int failures = 0;
    for (int number = 1;; ++number) {
        SCOPED_TRACE(number);
        cache.firstCalls.clear();
        cache.nextCalls.clear();
        cache.closed.clear();
        cache.opened = 0;
        countdown = 0;
        std::uint32_t result = 2;
        {
            const ImportPatch patch(library_.Module(), "malloc", &AllocateUntilShortage);
            countdown = number;
            ASSERT_NO_THROW(result = library_.ClearCookies());
        }
        EXPECT_EQ(cache.closed.size(), cache.opened);
        if (countdown > 0) {
            EXPECT_EQ(result, 0u);
            break;
        }
        EXPECT_EQ(result, 1u);
        ++failures;
    }
    EXPECT_GT(failures, 5);
}

} // namespace
} // namespace zelto::test
