// ClearCookies through the real DLL, at the real URL cache.

#include "tests/cleanup/cookie_cache.h"
#include "tests/support/library_under_test.h"
#include "tests/support/process_counts.h"
#include "tests/support/trace_lines.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <vector>

namespace zelto::test {
namespace {

class ClearCookiesTest : public ::testing::Test {
protected:
    ClearCookiesTest() { EmptyCookieCache(); }
    ~ClearCookiesTest() override { EmptyCookieCache(); }

    void ExpectAllDeleted() {
        EXPECT_EQ(library_.ClearCookies(), 0u);
        EXPECT_EQ(CountCookies(), 0u);
    }

    EmptyLog emptyLog_;
    LibraryUnderTest library_;
};

std::vector<std::wstring> MakeCookies(int count) {
    std::vector<std::wstring> names;
    for (int i = 0; i < count; ++i) {
        names.push_back(MakeCookie(L"ann@site-" + std::to_wstring(i) + L".example/"));
    }
    return names;
}

TEST_F(ClearCookiesTest, AnEmptyCacheIsASuccess) {
    EXPECT_EQ(CountCookies(), 0u);
    ExpectAllDeleted();
}

TEST_F(ClearCookiesTest, ACookieIsDeleted) {
    const std::wstring name = MakeCookie(L"ann@vpn.example/");
    EXPECT_TRUE(EntryExists(name));
    ExpectAllDeleted();
    EXPECT_FALSE(EntryExists(name));
}

TEST_F(ClearCookiesTest, TheCookiesOfAllSitesAndPathsAreDeleted) {
    MakeCookie(L"ann@vpn.example/");
    MakeCookie(L"ann@vpn.example/remote/saml");
    MakeCookie(L"ann@idp.example/");
    MakeCookie(L"ann@elsewhere.example/");
    EXPECT_EQ(CountCookies(), 4u);
    ExpectAllDeleted();
}

TEST_F(ClearCookiesTest, EntriesOfOtherKindsStay) {
    MakeOtherEntry(L"http://vpn.example/page");
    MakeOtherEntry(L"Visited:ann@http://vpn.example/page");
    MakeCookie(L"ann@vpn.example/");
    ExpectAllDeleted();
    EXPECT_TRUE(EntryExists(L"http://vpn.example/page"));
    EXPECT_TRUE(EntryExists(L"Visited:ann@http://vpn.example/page"));
}

TEST_F(ClearCookiesTest, AFirstEntryOver4096BytesIsDeleted) {
    MakeCookie(L"ann@large.example/", 6000);
    ExpectAllDeleted();
}

TEST_F(ClearCookiesTest, EntriesOver4096BytesAmongOthersAreDeleted) {
    MakeCookies(3);
    MakeCookie(L"ann@large.example/", 6000);
    MakeCookie(L"ann@larger.example/", 20000);
    MakeCookie(L"ann@small-again.example/");
    EXPECT_EQ(CountCookies(), 6u);
    ExpectAllDeleted();
}

TEST_F(ClearCookiesTest, NamesBeyondAsciiAreDeleted) {
    MakeCookie(L"jörg@münchen.example/straße");
    MakeCookie(L"\u65e5\u672c@\u4f8b.example/\u9053");
    EXPECT_EQ(CountCookies(), 2u);
    ExpectAllDeleted();
}

TEST_F(ClearCookiesTest, HundredsAreDeleted) {
    MakeCookies(400);
    EXPECT_EQ(CountCookies(), 400u);
    ExpectAllDeleted();
}

TEST_F(ClearCookiesTest, OneThatCannotBeDeletedAmongManyKeepsNoOther) {
    const std::vector<std::wstring> names = MakeCookies(20);
    {
        const EntryInUse inUse(names[7]);
        EXPECT_EQ(library_.ClearCookies(), 1u);
        EXPECT_EQ(CountCookies(), 1u);
        EXPECT_TRUE(EntryExists(names[7]));
    }
    ExpectAllDeleted();
}

TEST_F(ClearCookiesTest, SeveralThatCannotBeDeletedKeepNoOther) {
    const std::vector<std::wstring> names = MakeCookies(20);
    {
        const EntryInUse first(names.front());
        const EntryInUse middle(names[10]);
        const EntryInUse last(names.back());
        EXPECT_EQ(library_.ClearCookies(), 1u);
        EXPECT_EQ(CountCookies(), 3u);
    }
    ExpectAllDeleted();
}

TEST_F(ClearCookiesTest, NothingIsLogged) {
    {
        const std::wstring name = MakeCookie(L"ann@vpn.example/");
        const EntryInUse inUse(name);
        EXPECT_EQ(library_.ClearCookies(), 1u);
    }
    library_.Unload();
    EXPECT_EQ(Messages(ReadTraceLines(LibraryUnderTest::TraceLogPath())), std::vector<std::string>{});
}

TEST_F(ClearCookiesTest, NoHandleIsLeftOpen) {
    const auto clear = [this] {
        const std::vector<std::wstring> names = MakeCookies(3);
        MakeCookie(L"ann@large.example/", 6000);
        const EntryInUse inUse(names[1]);
        EXPECT_EQ(library_.ClearCookies(), 1u);
    };
    clear(); // what the system opens once is open now
    const std::size_t handles = CountHandles();
    for (int i = 0; i < 10; ++i) {
        clear();
    }
    EXPECT_LE(CountHandles(), handles + 2); // one that each call leaves would be ten
}

} // namespace
} // namespace zelto::test
