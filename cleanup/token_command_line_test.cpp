#include "cleanup/token_command_line.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

TEST(InstallationFolder, EndsInItsBackslash) {
    EXPECT_EQ(InstallationFolder(L"C:\\Program Files\\Zelto\\key.exe"), L"C:\\Program Files\\Zelto\\");
    EXPECT_EQ(InstallationFolder(L"C:\\key.exe"), L"C:\\");
    EXPECT_EQ(InstallationFolder(L"C:\\Zelto\\"), L"C:\\Zelto\\");
}

TEST(InstallationFolder, APathWithoutAFolderHasNone) {
    EXPECT_EQ(InstallationFolder(L"key.exe"), std::nullopt);
    EXPECT_EQ(InstallationFolder(L""), std::nullopt);
}

TEST(InstallationFolder, AFolderMayHave260Characters) {
    const std::wstring folder = L"C:\\" + std::wstring(256, L'f') + L"\\";
    EXPECT_EQ(InstallationFolder(folder + L"key.exe"), folder);
    EXPECT_EQ(InstallationFolder(folder.substr(0, 259) + L"f\\key.exe"), std::nullopt);
}

TEST(BuildTokenCommandLine, InsertsEverythingAsItIs) {
    EXPECT_EQ(BuildTokenCommandLine(L"C:\\Program Files\\Zelto\\", L"a b\"c", L"my tenant"),
              L"C:\\Program Files\\Zelto\\AzureToken2.exe a b\"c my tenant --from-ploxe");
}

TEST(BuildTokenCommandLine, EmptyArgumentsLeaveTheirBlanks) {
    EXPECT_EQ(BuildTokenCommandLine(L"C:\\", L"", L""), L"C:\\AzureToken2.exe   --from-ploxe");
}

} // namespace
} // namespace zelto
