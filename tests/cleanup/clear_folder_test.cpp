#include "tests/cleanup/clearing_test.h"
#include "tests/cleanup/cookie_cache.h"
#include "tests/cleanup/file_holder_process.h"
#include "tests/support/process_counts.h"
#include "tests/support/trace_lines.h"

#include <optional>
#include <shellapi.h>

namespace zelto::test {
namespace {

namespace fs = std::filesystem;

class ClearFolderTest : public ClearingTest {};

TEST_F(ClearFolderTest, OfTheUserIsDeletedWithEverythingInIt) {
    MakeFile(Folder() / L"Default" / L"Cookies");
    MakeFile(Folder() / L"Local State");
    fs::create_directories(Folder() / L"empty");
    Clear();
    EXPECT_FALSE(fs::exists(Folder()));
}

TEST_F(ClearFolderTest, WhatLiesBesideItStays) {
    MakeFile(Folder() / L"Cookies");
    MakeFile(Folder().parent_path() / L"logs" / L"trace" / L"host.log");
    MakeFile(Folder().parent_path() / L"SamlAuthOther" / L"file");
    MakeFile(localAppData_.Path() / L"Other" / L"SamlAuth" / L"file");
    Clear();
    EXPECT_FALSE(fs::exists(Folder()));
    EXPECT_TRUE(fs::exists(Folder().parent_path() / L"logs" / L"trace" / L"host.log"));
    EXPECT_TRUE(fs::exists(Folder().parent_path() / L"SamlAuthOther" / L"file"));
    EXPECT_TRUE(fs::exists(localAppData_.Path() / L"Other" / L"SamlAuth" / L"file"));
}

TEST_F(ClearFolderTest, DeepTreesAreDeleted) {
    fs::path deepest = Folder();
    for (int depth = 0; depth < 40; ++depth) {
        deepest /= L"d";
        MakeFile(deepest / L"file");
    }
    Clear();
    EXPECT_FALSE(fs::exists(Folder()));
}

TEST_F(ClearFolderTest, ReadOnlyAndHiddenFilesAreDeleted) {
    constexpr DWORD kHidden = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    for (const DWORD attributes : {DWORD{FILE_ATTRIBUTE_READONLY}, kHidden}) {
        const fs::path file = Folder() / L"sub" / std::to_wstring(attributes);
        MakeFile(file);
        ASSERT_TRUE(SetFileAttributesW(file.c_str(), attributes));
    }
    Clear();
    EXPECT_FALSE(fs::exists(Folder()));
}

TEST_F(ClearFolderTest, NamesBeyondAsciiAreDeleted) {
    const fs::path base = localAppData_.Path() / L"jörg \u65e5\u672c";
    SetLocalAppData(base);
    MakeFile(base / L"ZeltoClient" / L"SamlAuth" / L"straße" / L"\u4f8b");
    Clear();
    EXPECT_FALSE(fs::exists(base / L"ZeltoClient" / L"SamlAuth"));
    EXPECT_TRUE(fs::exists(base / L"ZeltoClient"));
}

// A folder that is gone looks like one that is still there.
TEST_F(ClearFolderTest, AFolderThatGoesAtOnceTakesAllAttemptsAllTheSame) {
    MakeFile(Folder() / L"Cookies");
    std::optional<bool> goneAtTheFirstPause;
    duringPause_ = [&](int pause) {
        if (pause == 1) {
            goneAtTheFirstPause = !fs::exists(Folder());
        }
    };
    Clear();
    EXPECT_EQ(goneAtTheFirstPause, true);
    EXPECT_EQ(pauses_, AllPauses());
}

TEST_F(ClearFolderTest, AFolderThatWasNeverThereTakesAllAttempts) {
    Clear();
    EXPECT_EQ(pauses_, AllPauses());
    EXPECT_FALSE(fs::exists(Folder().parent_path())); // and nothing is made
}

TEST_F(ClearFolderTest, AFileThatAnotherProcessLetsGoOfIsDeletedThen) {
    MakeFile(Folder() / L"Cookies");
    MakeFile(Folder() / L"History");
    FileHolder holder(Folder() / L"Cookies");
    std::vector<bool> heldFileThere;
    duringPause_ = [&](int pause) {
        heldFileThere.push_back(fs::exists(Folder() / L"Cookies"));
        if (pause == 3) {
            holder.LetGo();
        }
    };
    Clear();
    EXPECT_FALSE(fs::exists(Folder()));
    std::vector<bool> expected(15, false);
    expected[0] = expected[1] = expected[2] = true;
    EXPECT_EQ(heldFileThere, expected);
}

TEST_F(ClearFolderTest, AFileThatStaysOpenIsLeftInPlaceAndTheResultIsZero) {
    MakeFile(Folder() / L"Cookies");
    const FileHolder holder(Folder() / L"Cookies");
    Clear();
    EXPECT_TRUE(fs::exists(Folder() / L"Cookies"));
    EXPECT_EQ(pauses_, AllPauses());
}

// A folder that comes back, as under a browser that still runs, is deleted again by a later attempt.
TEST_F(ClearFolderTest, AFolderThatComesBackIsDeletedAgain) {
    duringPause_ = [&](int pause) {
        if (pause == 1 || pause == 14) {
            MakeFile(Folder() / L"Cookies");
        }
    };
    Clear();
    EXPECT_FALSE(fs::exists(Folder()));
}

DWORD WINAPI AnswerThatItIsAFile(LPCWSTR) {
    return FILE_ATTRIBUTE_ARCHIVE;
}

TEST_F(ClearFolderTest, APathThatNamesAFileEndsTheAttemptsEarly) {
    Patch("GetFileAttributesW", &AnswerThatItIsAFile);
    MakeFile(Folder() / L"Cookies");
    Clear();
    EXPECT_FALSE(fs::exists(Folder())); // one attempt has been made
    EXPECT_TRUE(pauses_.empty());
}

DWORD WINAPI AnswerThatItIsAReadOnlyFolder(LPCWSTR) {
    return FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY;
}

TEST_F(ClearFolderTest, OtherAttributesOfAFolderDoNotEndTheAttempts) {
    Patch("GetFileAttributesW", &AnswerThatItIsAReadOnlyFolder);
    Clear();
    EXPECT_EQ(pauses_, AllPauses());
}

// What the shell was asked for.
struct Operation {
    SHFILEOPSTRUCTW arguments;
    std::wstring paths; // with both terminators
};
std::vector<Operation> operations;

int WINAPI RecordOperation(SHFILEOPSTRUCTW* operation) {
    const std::size_t length = std::wstring(operation->pFrom).size();
    operations.push_back({*operation, std::wstring(operation->pFrom, length + 2)});
    return ERROR_ACCESS_DENIED;
}

TEST_F(ClearFolderTest, TheShellIsAskedFifteenTimesInSilence) {
    Patch("SHFileOperationW", &RecordOperation);
    operations.clear();
    Clear();
    ASSERT_EQ(operations.size(), 15u);
    for (const Operation& operation : operations) {
        EXPECT_EQ(operation.arguments.wFunc, static_cast<UINT>(FO_DELETE));
        EXPECT_EQ(operation.arguments.fFlags, 0x614);
        EXPECT_EQ(operation.arguments.hwnd, nullptr);
        EXPECT_EQ(operation.arguments.pTo, nullptr);
        EXPECT_EQ(operation.paths, Folder().wstring() + std::wstring(L"\\\0\0", 3));
    }
}

TEST_F(ClearFolderTest, CookiesAreClearedBeforeTheFolder) {
    EmptyCookieCache();
    MakeCookie(L"ann@vpn.example/");
    MakeFile(Folder() / L"Cookies");
    std::size_t cookiesAtTheFirstPause = 1;
    duringPause_ = [&](int pause) {
        cookiesAtTheFirstPause = pause == 1 ? CountCookies() : cookiesAtTheFirstPause;
    };
    Clear();
    EXPECT_EQ(cookiesAtTheFirstPause, 0u);
    EXPECT_FALSE(fs::exists(Folder()));
}

TEST_F(ClearFolderTest, ACookieThatCannotBeDeletedKeepsNeitherTheFolderNorTheResult) {
    EmptyCookieCache();
    MakeFile(Folder() / L"Cookies");
    {
        const EntryInUse inUse(MakeCookie(L"ann@vpn.example/"));
        Clear();
        EXPECT_EQ(CountCookies(), 1u);
    }
    EXPECT_FALSE(fs::exists(Folder()));
    EmptyCookieCache();
}

TEST_F(ClearFolderTest, NothingIsLogged) {
    Patch("SHFileOperationW", &RecordOperation);
    Clear();
    Unload();
    EXPECT_EQ(Messages(ReadTraceLines(LibraryUnderTest::TraceLogPath())), std::vector<std::string>{});
}

TEST_F(ClearFolderTest, NoHandleIsLeftOpen) {
    MakeFile(Folder() / L"Cookies");
    Clear(); // what the shell opens once is open now
    const std::size_t handles = CountHandles();
    for (int i = 0; i < 5; ++i) {
        MakeFile(Folder() / L"Cookies");
        Clear();
    }
    EXPECT_LE(CountHandles(), handles + 2); // one that each call leaves would be five
}

} // namespace
} // namespace zelto::test
