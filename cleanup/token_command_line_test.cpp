#include "cleanup/token_command_line.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

TEST(FolderOfFile, EndsInItsBackslash) {
    EXPECT_EQ(FolderOfFile(L"C:\\Program Files\\Zelto\\key.exe"), L"C:\\Program Files\\Zelto\\");
    EXPECT_EQ(FolderOfFile(L"C:\\key.exe"), L"C:\\");
    EXPECT_EQ(FolderOfFile(L"C:\\Zelto\\"), L"C:\\Zelto\\");
}

TEST(FolderOfFile, APathWithoutAFolderHasNone) {
    EXPECT_EQ(FolderOfFile(L"key.exe"), std::nullopt);
    EXPECT_EQ(FolderOfFile(L""), std::nullopt);
}

TEST(FolderOfFile, AFolderMayHave260Characters) {
    const std::wstring folder = L"C:\\" + std::wstring(256, L'f') + L"\\";
    EXPECT_EQ(FolderOfFile(folder + L"key.exe"), folder);
    EXPECT_EQ(FolderOfFile(folder.substr(0, 259) + L"f\\key.exe"), std::nullopt);
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
