#include "cleanup/saml_auth_folder.h"

#include <gtest/gtest.h>
#include <string>

namespace zelto {
namespace {

// Also checks that everything behind the text is zero: the list of paths ends there.
std::wstring TextAndListEnd(const FolderPath& path) {
    const std::wstring text = path.text;
    for (std::size_t i = text.size(); i <= kFolderPathSize; ++i) {
        EXPECT_EQ(path.text[i], L'\0') << i;
    }
    return text;
}

std::wstring FolderOfLength(std::size_t length) {
    return L"C:\\" + std::wstring(length - 3, L'x');
}

constexpr std::size_t kUsersTail = 22;    // "\ZeltoClient\SamlAuth\"
constexpr std::size_t kServicesTail = 10; // "\SamlAuth\"

TEST(SamlAuthFolder, OfAUserLiesBelowLocalApplicationData) {
    FolderPath path;
    EXPECT_TRUE(SetToUsersFolder(path, L"C:\\Users\\ann\\AppData\\Local"));
    EXPECT_EQ(TextAndListEnd(path), L"C:\\Users\\ann\\AppData\\Local\\ZeltoClient\\SamlAuth\\");
}

TEST(SamlAuthFolder, OfAUserWhoseDataLieOnAServer) {
    FolderPath path;
    EXPECT_TRUE(SetToUsersFolder(path, L"\\\\server\\profiles\\ann"));
    EXPECT_EQ(TextAndListEnd(path), L"\\\\server\\profiles\\ann\\ZeltoClient\\SamlAuth\\");
}

// It would lie in the host's current folder, or in the root of its drive.
TEST(SamlAuthFolder, OfAUserWithoutAFullPathIsNone) {
    FolderPath path;
    for (const wchar_t* const localAppData :
         {L"", L"%localappdata%", L"data", L"C", L"\\data", L"C:data", L"..\\data"}) {
        EXPECT_FALSE(SetToUsersFolder(path, localAppData)) << std::wstring(localAppData).size();
    }
    EXPECT_EQ(TextAndListEnd(path), L"");
}

TEST(SamlAuthFolder, OfAServiceLiesBesideItsExecutable) {
    FolderPath path;
    EXPECT_TRUE(SetToServicesFolder(path, L"C:\\Program Files\\Zelto\\service.exe"));
    EXPECT_EQ(TextAndListEnd(path), L"C:\\Program Files\\Zelto\\SamlAuth\\");
}

TEST(SamlAuthFolder, OfAServiceInTheRootOfADrive) {
    FolderPath path;
    EXPECT_TRUE(SetToServicesFolder(path, L"C:\\service.exe"));
    EXPECT_EQ(TextAndListEnd(path), L"C:\\SamlAuth\\");
}

TEST(SamlAuthFolder, APathOf259CharactersFits) {
    FolderPath path;
    EXPECT_TRUE(SetToUsersFolder(path, FolderOfLength(259 - kUsersTail)));
    EXPECT_EQ(TextAndListEnd(path).size(), 259u);
    EXPECT_TRUE(SetToServicesFolder(path, FolderOfLength(259 - kServicesTail) + L"\\a.exe"));
    EXPECT_EQ(TextAndListEnd(path).size(), 259u);
}

TEST(SamlAuthFolder, APathOf260CharactersIsNoneRatherThanACutOne) {
    FolderPath path;
    EXPECT_FALSE(SetToUsersFolder(path, FolderOfLength(260 - kUsersTail)));
    EXPECT_FALSE(SetToServicesFolder(path, FolderOfLength(260 - kServicesTail) + L"\\a.exe"));
    EXPECT_EQ(TextAndListEnd(path), L"");
}

TEST(SamlAuthFolder, AnExecutableWithoutAFolderHasNone) {
    FolderPath path;
    EXPECT_FALSE(SetToServicesFolder(path, L"service.exe"));
    EXPECT_FALSE(SetToServicesFolder(path, L""));
}

TEST(SamlAuthFolder, AShorterPathLeavesNothingOfALongerOne) {
    FolderPath path;
    EXPECT_TRUE(SetToUsersFolder(path, FolderOfLength(200)));
    EXPECT_TRUE(SetToUsersFolder(path, L"C:"));
    EXPECT_EQ(TextAndListEnd(path), L"C:\\ZeltoClient\\SamlAuth\\");
}

} // namespace
} // namespace zelto
