// Which folder SamlAuthClearCookies deletes.

#include "tests/cleanup/clearing_test.h"
#include "tests/cleanup/file_holder_process.h"

#include <algorithm>
#include <fstream>

namespace zelto::test {
namespace {

namespace fs = std::filesystem;

class ClearFolderPathTest : public ClearingTest {
protected:
    // Makes a folder so that its path, with `tail` and the backslash at its end, has so many characters. Gives it
    // without the tail.
    fs::path MakeFolderWithLength(std::size_t length, const fs::path& tail) const {
        const std::size_t baseLength = length - tail.native().size() - 2;
        fs::path base = localAppData_.Path();
        while (base.native().size() + 102 < baseLength) {
            base /= std::wstring(100, L'p');
        }
        base /= std::wstring(baseLength - base.native().size() - 1, L'q');
        const fs::path folder = base / tail;
        EXPECT_EQ(folder.native().size() + 1, length);
        // Wine's and Windows' own limit is below that of the file system: made by its long name.
        fs::create_directories(L"\\\\?\\" + folder.native());
        return base;
    }

    // The same for the user's folder, and for the one that a service has beside its executable.
    fs::path MakeUsersFolderWithLength(std::size_t length) {
        const fs::path tail = fs::path(L"ZeltoClient") / L"SamlAuth";
        const fs::path base = MakeFolderWithLength(length, tail);
        SetLocalAppData(base);
        return base / tail;
    }
    fs::path MakeServicesFolderWithLength(std::size_t length) {
        const fs::path base = MakeFolderWithLength(length, L"SamlAuth");
        RunInSessionZero();
        executable_ = (base / L"s.exe").native();
        Patch("GetModuleFileNameW", &TellExecutable);
        return base / L"SamlAuth";
    }

    static DWORD WINAPI TellExecutable(HMODULE, LPWSTR buffer, DWORD size) {
        EXPECT_LT(executable_.size(), size);
        std::copy_n(executable_.c_str(), executable_.size() + 1, buffer);
        return static_cast<DWORD>(executable_.size());
    }

    static inline std::wstring executable_;

    // Makes a file in the user's folder with a name of `n` so long that its path has so many characters.
    fs::path MakeFileWithLength(std::size_t length) const {
        const fs::path file = Folder() / std::wstring(length - Folder().native().size() - 1, L'n');
        fs::create_directories(Folder());
        std::ofstream(fs::path(L"\\\\?\\" + file.native())) << "content";
        return file;
    }

    static bool Exists(const fs::path& path) {
        return GetFileAttributesW((L"\\\\?\\" + path.native()).c_str()) != INVALID_FILE_ATTRIBUTES;
    }
};

TEST_F(ClearFolderPathTest, InAUsersSessionTheServicesFolderStays) {
    MakeFile(Folder() / L"Cookies");
    MakeFile(ServicesFolder() / L"Cookies");
    Clear();
    EXPECT_FALSE(fs::exists(Folder()));
    EXPECT_TRUE(fs::exists(ServicesFolder() / L"Cookies"));
}

TEST_F(ClearFolderPathTest, InSessionZeroItIsTheOneBesideTheExecutable) {
    RunInSessionZero();
    MakeFile(Folder() / L"Cookies");
    MakeFile(ServicesFolder() / L"Default" / L"Cookies");
    Clear();
    EXPECT_TRUE(fs::exists(Folder() / L"Cookies"));
    EXPECT_FALSE(fs::exists(ServicesFolder()));
    EXPECT_TRUE(fs::exists(ServicesFolder().parent_path()));
    EXPECT_EQ(pauses_, AllPauses());
}

TEST_F(ClearFolderPathTest, InSessionZeroDeepTreesAndReadOnlyFilesAreDeleted) {
    RunInSessionZero();
    fs::path deepest = ServicesFolder();
    for (int depth = 0; depth < 20; ++depth) {
        deepest /= L"d";
        MakeFile(deepest / L"file");
    }
    ASSERT_TRUE(SetFileAttributesW((deepest / L"file").c_str(), FILE_ATTRIBUTE_READONLY));
    Clear();
    EXPECT_FALSE(fs::exists(ServicesFolder()));
}

TEST_F(ClearFolderPathTest, InSessionZeroAFileThatAnotherProcessLetsGoOfIsDeletedThen) {
    RunInSessionZero();
    MakeFile(ServicesFolder() / L"Cookies");
    FileHolder holder(ServicesFolder() / L"Cookies");
    duringPause_ = [&](int pause) {
        if (pause == 2) {
            EXPECT_TRUE(fs::exists(ServicesFolder() / L"Cookies"));
            holder.LetGo();
        }
    };
    Clear();
    EXPECT_FALSE(fs::exists(ServicesFolder()));
    EXPECT_EQ(pauses_, AllPauses());
}

BOOL WINAPI RefuseToTellTheSession(DWORD, DWORD*) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
}

TEST_F(ClearFolderPathTest, AnUnknownSessionCountsAsAUsers) {
    Patch("ProcessIdToSessionId", &RefuseToTellTheSession);
    MakeFile(Folder() / L"Cookies");
    Clear();
    EXPECT_FALSE(fs::exists(Folder()));
}

TEST_F(ClearFolderPathTest, APathOf259CharactersIsDeleted) {
    const fs::path folder = MakeUsersFolderWithLength(259);
    ASSERT_TRUE(Exists(folder));
    Clear();
    EXPECT_FALSE(Exists(folder));
}

TEST_F(ClearFolderPathTest, APathOf260CharactersIsLeftAlone) {
    const fs::path folder = MakeUsersFolderWithLength(260);
    Clear();
    EXPECT_TRUE(Exists(folder));
    EXPECT_TRUE(pauses_.empty());
}

TEST_F(ClearFolderPathTest, InSessionZeroAPathOf259CharactersIsDeleted) {
    const fs::path folder = MakeServicesFolderWithLength(259);
    ASSERT_TRUE(Exists(folder));
    Clear();
    EXPECT_FALSE(Exists(folder));
    EXPECT_EQ(pauses_, AllPauses());
}

TEST_F(ClearFolderPathTest, InSessionZeroAPathOf260CharactersIsLeftAlone) {
    const fs::path folder = MakeServicesFolderWithLength(260);
    Clear();
    EXPECT_TRUE(Exists(folder));
    EXPECT_TRUE(pauses_.empty());
}

TEST_F(ClearFolderPathTest, ALocalAppDataOfThousandsOfCharactersIsLeftAlone) {
    SetLocalAppData(std::wstring(5000, L'x'));
    Clear();
    EXPECT_TRUE(pauses_.empty());
}

// Runs the call in a folder that has what must not be deleted.
class ClearFolderNoPathTest : public ClearFolderPathTest {
protected:
    ClearFolderNoPathTest() {
        GetCurrentDirectoryW(MAX_PATH, former_);
        SetCurrentDirectoryW(current_.Path().c_str());
    }
    ~ClearFolderNoPathTest() override { SetCurrentDirectoryW(former_); }

    void ExpectLeftAlone(const wchar_t* folder) {
        const fs::path file = current_.Path() / folder / L"ZeltoClient" / L"SamlAuth" / L"Cookies";
        MakeFile(file);
        Clear();
        EXPECT_TRUE(fs::exists(file));
        EXPECT_TRUE(pauses_.empty());
    }

    TempFolder current_;
    wchar_t former_[MAX_PATH] = {};
};

TEST_F(ClearFolderNoPathTest, AnUnsetLocalAppDataIsNoFolder) {
    SetEnvironmentVariableW(L"LOCALAPPDATA", nullptr);
    ExpectLeftAlone(L"%localappdata%");
}

TEST_F(ClearFolderNoPathTest, AnEmptyLocalAppDataIsNoFolder) {
    SetLocalAppData(L"");
    ExpectLeftAlone(L"");
}

TEST_F(ClearFolderNoPathTest, ALocalAppDataInTheHostsFolderIsNoFolder) {
    SetLocalAppData(L"data");
    ExpectLeftAlone(L"data");
}

DWORD WINAPI RefuseToExpand(LPCWSTR, LPWSTR, DWORD) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
}

TEST_F(ClearFolderPathTest, WithoutLocalAppDataNothingIsDeleted) {
    Patch("ExpandEnvironmentStringsW", &RefuseToExpand);
    MakeFile(Folder() / L"Cookies");
    Clear();
    EXPECT_TRUE(fs::exists(Folder() / L"Cookies"));
    EXPECT_TRUE(pauses_.empty());
}

// The answer for a path that is cut: the buffer's size.
DWORD WINAPI CutExecutablePath(HMODULE, LPWSTR buffer, DWORD size) {
    std::fill(buffer, buffer + size - 1, L'x');
    buffer[2] = L'\\';
    buffer[size - 1] = L'\0';
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return size;
}

TEST_F(ClearFolderPathTest, AnExecutableWhosePathIsCutHasNoFolder) {
    RunInSessionZero();
    Patch("GetModuleFileNameW", &CutExecutablePath);
    Clear();
    EXPECT_TRUE(pauses_.empty());
}

DWORD WINAPI RefuseToTellTheExecutable(HMODULE, LPWSTR, DWORD) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
}

TEST_F(ClearFolderPathTest, AnExecutableWithoutAPathHasNoFolder) {
    RunInSessionZero();
    Patch("GetModuleFileNameW", &RefuseToTellTheExecutable);
    MakeFile(ServicesFolder() / L"Cookies");
    Clear();
    EXPECT_TRUE(fs::exists(ServicesFolder() / L"Cookies"));
    EXPECT_TRUE(pauses_.empty());
}

// As long as the shell goes.
TEST_F(ClearFolderPathTest, AFileWhosePathHas259CharactersIsDeleted) {
    const fs::path file = MakeFileWithLength(259);
    ASSERT_TRUE(Exists(file));
    Clear();
    EXPECT_FALSE(Exists(file));
    EXPECT_FALSE(Exists(Folder()));
}

// One that the shell can't delete is tried to the end; what is beside the folder is not touched.
TEST_F(ClearFolderPathTest, AFileWhosePathHasMoreCharactersIsTriedToTheEnd) {
    const fs::path beside = Folder().parent_path() / L"beside";
    MakeFile(beside);
    const fs::path file = MakeFileWithLength(Folder().native().size() + 251);
    ASSERT_TRUE(Exists(file));
    Clear();
    EXPECT_EQ(pauses_, AllPauses());
    EXPECT_TRUE(fs::exists(beside));
    std::error_code ignored;
    fs::remove_all(L"\\\\?\\" + Folder().native(), ignored);
}

// With a backslash behind it, the system finds no file of that name: nothing is deleted, and nothing counts
// as a folder that is still there.
TEST_F(ClearFolderPathTest, AFileWithTheFoldersNameStays) {
    MakeFile(Folder());
    Clear();
    EXPECT_TRUE(fs::is_regular_file(Folder()));
    EXPECT_EQ(pauses_, AllPauses());
}

TEST_F(ClearFolderPathTest, InSessionZeroAFileWithTheFoldersNameStays) {
    RunInSessionZero();
    MakeFile(ServicesFolder());
    Clear();
    EXPECT_TRUE(fs::is_regular_file(ServicesFolder()));
    EXPECT_EQ(pauses_, AllPauses());
}

} // namespace
} // namespace zelto::test
