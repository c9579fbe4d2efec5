#include "auth/module_command_line.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

TEST(ModuleCommandLineTest, BeginsWithABlankAndEndsWithTheOptions) {
    EXPECT_EQ(ModuleCommandLine(L"WebView2", 1024, L"--object=2fa"),
              L" --provider-name=WebView2 --receiver=1024 --object=2fa");
}

TEST(ModuleCommandLineTest, AReceiverMayNeedAll64Bits) {
    EXPECT_EQ(ModuleCommandLine(L"", 18446744073709551615u, L""),
              L" --provider-name= --receiver=18446744073709551615 ");
}

TEST(ModuleCommandLineTest, IsCutTo4095Characters) {
    const std::wstring head = L" --provider-name=Electron --receiver=8 ";
    const std::size_t room = 4095 - head.size();
    EXPECT_EQ(ModuleCommandLine(L"Electron", 8, std::wstring(room, L'x')).size(), 4095u);
    EXPECT_EQ(ModuleCommandLine(L"Electron", 8, std::wstring(room - 1, L'x')).size(), 4094u);
    EXPECT_EQ(ModuleCommandLine(L"Electron", 8, std::wstring(room + 1, L'x')),
              head + std::wstring(room, L'x'));
    EXPECT_EQ(ModuleCommandLine(L"Electron", 8, std::wstring(100'000, L'x')),
              head + std::wstring(room, L'x'));
}

} // namespace
} // namespace zelto
