// Where the token program is found: real installations, each with the sample token program.

#include "cleanup/installer_codes.h"
#include "tests/azure_token/installed_client.h"
#include "tests/support/import_patch.h"
#include "tests/support/library_under_test.h"
#include "tests/support/temp_folder.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>
#include <windows.h>

#include <msi.h>

namespace zelto::test {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kFailed = 0xA7000000;

class TokenInstallationTest : public ::testing::Test {
protected:
    TokenInstallationTest() { RemoveAllClients(); }

    // A folder of this name for a client.
    fs::path Folder(const wchar_t* name) const { return root_.Path() / name; }

    std::uint32_t Fetch() {
        return library_.SamlAuthGetAzureToken(L"client", L"tenant", 0, token_, sizeof(token_));
    }

    void ExpectFound() {
        EXPECT_EQ(Fetch(), 0u);
        EXPECT_STREQ(token_, "sample-token.client.tenant");
    }

    void ExpectNotFound() {
        EXPECT_EQ(Fetch(), kFailed);
        EXPECT_STREQ(token_, "old");
    }

    // Runs the export and gives the command line that it ran, which tells the client it has found.
    std::wstring CommandLine();

    TempFolder root_;
    LibraryUnderTest library_;
    char token_[256] = "old";
};

std::wstring commandLine;

BOOL WINAPI RecordCommandLine(LPCWSTR, LPWSTR line, SECURITY_ATTRIBUTES*, SECURITY_ATTRIBUTES*, BOOL, DWORD,
                              LPVOID, LPCWSTR, STARTUPINFOW*, PROCESS_INFORMATION*) {
    commandLine = line;
    return FALSE;
}

std::wstring TokenInstallationTest::CommandLine() {
    commandLine.clear();
    const ImportPatch patch(library_.Module(), "CreateProcessW", &RecordCommandLine);
    EXPECT_EQ(Fetch(), kFailed);
    return commandLine;
}

std::wstring CommandIn(const fs::path& folder) {
    return folder.wstring() + L"\\AzureToken2.exe client tenant --from-ploxe";
}

TEST_F(TokenInstallationTest, NoClientIsInstalled) {
    ExpectNotFound();
}

TEST_F(TokenInstallationTest, TheClientOfTheFirstUpgradeCode) {
    const InstalledClient client(L"client1", Folder(L"one"));
    ExpectFound();
}

TEST_F(TokenInstallationTest, TheClientOfTheSecondUpgradeCode) {
    const InstalledClient client(L"client2", Folder(L"two"));
    ExpectFound();
}

TEST_F(TokenInstallationTest, TheClientOfTheThirdUpgradeCode) {
    const InstalledClient client(L"client3", Folder(L"three"));
    ExpectFound();
}

TEST_F(TokenInstallationTest, TheClientOfTheFourthUpgradeCode) {
    const InstalledClient client(L"client4", Folder(L"four"));
    ExpectFound();
}

TEST_F(TokenInstallationTest, AFifthUpgradeCodeIsNeverConsulted) {
    const InstalledClient client(L"client5", Folder(L"five"));
    EXPECT_NE(FirstProduct(kUpgradeCodes[4]), L""); // it is installed
    ExpectNotFound();
}

TEST_F(TokenInstallationTest, AFolderWithBlanks) {
    const InstalledClient client(L"client1", Folder(L"Zelto Client of Ann"));
    EXPECT_EQ(CommandLine(), CommandIn(client.Folder())); // not quoted
    ExpectFound();
}

TEST_F(TokenInstallationTest, AFolderBeyondAscii) {
    const InstalledClient client(L"client1", Folder(L"j\u00f6rg"));
    EXPECT_EQ(CommandLine(), CommandIn(client.Folder()));
    ExpectFound();
}

TEST_F(TokenInstallationTest, OfSeveralClientsTheOneWithTheEarlierUpgradeCode) {
    const InstalledClient later(L"client4", Folder(L"four"));
    const InstalledClient earlier(L"client2", Folder(L"two"));
    EXPECT_EQ(CommandLine(), CommandIn(earlier.Folder()));
}

TEST_F(TokenInstallationTest, AClientWithoutTheComponentCountsAsNotFound) {
    const InstalledClient client(L"client1", Folder(L"one"), L"Client");
    EXPECT_NE(FirstProduct(kUpgradeCodes[0]), L"");
    ExpectNotFound();
}

TEST_F(TokenInstallationTest, AClientWithoutTheComponentIsPassedOverForTheNext) {
    const InstalledClient without(L"client1", Folder(L"one"), L"Client");
    const InstalledClient with(L"client3", Folder(L"three"));
    EXPECT_EQ(CommandLine(), CommandIn(with.Folder()));
}

TEST_F(TokenInstallationTest, AKeyFileThatIsGoneCountsAsNotFound) {
    const InstalledClient client(L"client1", Folder(L"one"));
    fs::remove(client.Folder() / L"AzureToken2.exe");
    ExpectNotFound();
}

TEST_F(TokenInstallationTest, OfSeveralProductsWithOneUpgradeCodeTheFirst) {
    const InstalledClient one(L"client1", Folder(L"one"));
    const InstalledClient another(L"client1b", Folder(L"another"));
    wchar_t path[MAX_PATH] = {};
    DWORD size = MAX_PATH;
    ASSERT_EQ(
        MsiGetComponentPathW(FirstProduct(kUpgradeCodes[0]).c_str(), kTokenProgramComponent, path, &size),
        INSTALLSTATE_LOCAL);
    EXPECT_EQ(CommandLine(), CommandIn(fs::path(path).parent_path()));
}

TEST_F(TokenInstallationTest, ASecondProductWithTheSameUpgradeCodeIsNotConsulted) {
    const InstalledClient one(L"client1", Folder(L"one"));
    const InstalledClient another(L"client1b", Folder(L"another"));
    wchar_t path[MAX_PATH] = {};
    DWORD size = MAX_PATH;
    ASSERT_EQ(
        MsiGetComponentPathW(FirstProduct(kUpgradeCodes[0]).c_str(), kTokenProgramComponent, path, &size),
        INSTALLSTATE_LOCAL);
    fs::remove(path); // the first is no longer found; the other one still would be
    ExpectNotFound();
}

// Answers of Windows Installer that its real state cannot be brought to.
struct ScriptedInstaller {
    INSTALLSTATE state = INSTALLSTATE_LOCAL;
    std::wstring path;

    std::vector<std::wstring> upgradeCodes;
    std::vector<std::wstring> componentCodes;
    std::vector<DWORD> indexes;
    std::vector<DWORD> sizes;
} installer;

UINT WINAPI EnumRelated(LPCWSTR upgradeCode, DWORD, DWORD index, LPWSTR product) {
    installer.upgradeCodes.emplace_back(upgradeCode);
    installer.indexes.push_back(index);
    std::copy_n(upgradeCode, 39, product); // any GUID will do
    return ERROR_SUCCESS;
}

INSTALLSTATE WINAPI ComponentPath(LPCWSTR product, LPCWSTR component, LPWSTR path, DWORD* size) {
    EXPECT_EQ(installer.upgradeCodes.back(), product);
    installer.componentCodes.emplace_back(component);
    installer.sizes.push_back(*size);
    std::copy_n(installer.path.c_str(), installer.path.size() + 1, path);
    return installer.state;
}

class ScriptedInstallerTest : public TokenInstallationTest {
protected:
    ScriptedInstallerTest()
        : client_(L"client1", Folder(L"one")),
          related_(library_.Module(), "MsiEnumRelatedProductsW", &EnumRelated),
          component_(library_.Module(), "MsiGetComponentPathW", &ComponentPath) {
        installer = {};
        installer.path = (client_.Folder() / L"AzureToken2.exe").wstring();
    }

    const InstalledClient client_;
    const ImportPatch related_;
    const ImportPatch component_;
};

TEST_F(ScriptedInstallerTest, TheFirstHitIsTheLastQuestion) {
    ExpectFound();
    EXPECT_EQ(installer.upgradeCodes, std::vector<std::wstring>{kUpgradeCodes[0]});
    EXPECT_EQ(installer.componentCodes, std::vector<std::wstring>{kTokenProgramComponent});
    EXPECT_EQ(installer.indexes, std::vector<DWORD>{0});
    EXPECT_EQ(installer.sizes, std::vector<DWORD>{260});
}

TEST_F(ScriptedInstallerTest, EveryStateButLocalCountsAsNotFound) {
    for (const INSTALLSTATE state :
         {INSTALLSTATE_NOTUSED, INSTALLSTATE_BADCONFIG, INSTALLSTATE_INCOMPLETE, INSTALLSTATE_SOURCEABSENT,
          INSTALLSTATE_MOREDATA, INSTALLSTATE_INVALIDARG, INSTALLSTATE_UNKNOWN, INSTALLSTATE_BROKEN,
          INSTALLSTATE_ADVERTISED, INSTALLSTATE_ABSENT, INSTALLSTATE_SOURCE, INSTALLSTATE_DEFAULT}) {
        SCOPED_TRACE(state);
        installer.state = state;
        installer.upgradeCodes.clear();
        ExpectNotFound();
        EXPECT_EQ(installer.upgradeCodes,
                  (std::vector<std::wstring>(std::begin(kUpgradeCodes), std::begin(kUpgradeCodes) + 4)));
    }
}

TEST_F(ScriptedInstallerTest, ALocalPathThatIsGoneCountsAsNotFound) {
    installer.path += L".gone";
    ExpectNotFound();
    EXPECT_EQ(installer.upgradeCodes.size(), 4u);
}

TEST_F(ScriptedInstallerTest, AnEmptyPathCountsAsNotFound) {
    installer.path.clear();
    ExpectNotFound();
}

// The host's current folder is nobody's installation folder.
TEST_F(ScriptedInstallerTest, APathWithoutAFolderIsNoInstallation) {
    wchar_t before[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, before);
    SetCurrentDirectoryW(client_.Folder().c_str());
    installer.path = L"AzureToken2.exe";
    ExpectNotFound();
    SetCurrentDirectoryW(before);
}

} // namespace
} // namespace zelto::test
