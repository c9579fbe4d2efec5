#include "auth/module_folder.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

TEST(FolderOfFileTest, KeepsTheLastBackslash) {
    EXPECT_EQ(FolderOfFile(L"C:\\Program Files\\Client\\ZeltoAuth.dll"), L"C:\\Program Files\\Client\\");
    EXPECT_EQ(FolderOfFile(L"C:\\ZeltoAuth.dll"), L"C:\\");
    EXPECT_EQ(FolderOfFile(L"C:\\Client\\"), L"C:\\Client\\");
}

TEST(FolderOfFileTest, APathWithoutBackslashIsInTheCurrentFolder) {
    EXPECT_EQ(FolderOfFile(L"ZeltoAuth.dll"), L".\\");
    EXPECT_EQ(FolderOfFile(L"C:/Client/ZeltoAuth.dll"), L".\\");
    EXPECT_EQ(FolderOfFile(L""), L".\\");
}

} // namespace
} // namespace zelto
