#include "trace/crash_dump_name.h"

#include <gtest/gtest.h>
#include <string>

namespace zelto {
namespace {

constexpr RecordTime kTime = {2026, 3, 9, 4, 1, 3, 9'999'999, 0};

std::string NameOf(std::string_view host) {
    return std::string(CrashDumpName(host, 1234, 56, kTime).View());
}

TEST(CrashDumpNameTest, ExecutableIdsAndLocalTime) {
    EXPECT_EQ(NameOf("C:\\Program Files\\Client\\client.exe"),
              "C:\\Program Files\\Client\\client.exe [1234.56] 2026-03-09 04.01.03.dmp");
    EXPECT_EQ(CrashDumpName("C:\\a.exe", 4, 4'000'000'000, {2026, 12, 31, 23, 59, 58, 0, 0}).View(),
              "C:\\a.exe [4.4000000000] 2026-12-31 23.59.58.dmp");
}

TEST(CrashDumpNameTest, ExecutableWithoutAnExtension) {
    EXPECT_EQ(NameOf("\\client"), "\\client [1234.56] 2026-03-09 04.01.03.dmp");
}

TEST(CrashDumpNameTest, PathWithoutABackslashGivesNoName) {
    EXPECT_EQ(NameOf("client.exe"), "");
    EXPECT_EQ(NameOf("C:/Client/client.exe"), "");
    EXPECT_EQ(NameOf(""), "");
}

TEST(CrashDumpNameTest, NameIsCutAt260Characters) {
    const std::string host = "C:\\" + std::string(230, 'x');
    EXPECT_EQ(NameOf(host), host + " [1234.56] 2026-03-09 04.01");
    EXPECT_EQ(NameOf(host).size(), 260u);
}

} // namespace
} // namespace zelto
