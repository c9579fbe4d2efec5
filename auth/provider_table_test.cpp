#include "auth/provider_table.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

void ExpectRow(ProviderKind kind, const wchar_t* name, const wchar_t* executable) {
    const ProviderEntry* row = FindProvider(kind);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->name, name);
    EXPECT_EQ(row->executable, executable);
}

TEST(ProviderTableTest, ZeltoAuthIsKindZero) {
    ExpectRow(0, L"ZeltoAuth", L"ZeltoAuth.exe");
}

TEST(ProviderTableTest, ElectronHasItsOwnExecutable) {
    ExpectRow(1, L"Electron", L"Zeltoclient.exe");
}

TEST(ProviderTableTest, WebView2SharesTheExecutable) {
    ExpectRow(2, L"WebView2", L"ZeltoAuth.exe");
}

TEST(ProviderTableTest, WebBrowserSharesTheExecutable) {
    ExpectRow(3, L"WebBrowser", L"ZeltoAuth.exe");
}

TEST(ProviderTableTest, OtherKindsAreReportedAndNotCreated) {
    for (const ProviderKind kind : {4u, 7u, 256u, 0x01000000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(FindProvider(kind), nullptr) << kind;
        EXPECT_EQ(FindProvider(kind), nullptr) << kind;
    }
}

} // namespace
} // namespace zelto
