#include "trace/file_names.h"

#include "trace/trace.h"

#include <gtest/gtest.h>
#include <string>

namespace zelto {
namespace {

constexpr char kFolder[] = "C:\\logs\\trace\\";

TEST(FileNamesTest, PlainNames) {
    LogFileNames names;
    BuildPlainNames(names, kFolder, "host.exe_ZeltoAuth.log", {});
    EXPECT_EQ(names.main.View(), "C:\\logs\\trace\\host.exe_ZeltoAuth.log");
    EXPECT_EQ(names.errorCopy.View(), "C:\\logs\\trace\\host.exe_ZeltoAuth_error.log");
    EXPECT_FALSE(names.rotationA.IsSet());
}

TEST(FileNamesTest, RotationNames) {
    LogFileNames names;
    BuildRotationNames(names, kFolder, "host.log", {});
    EXPECT_EQ(names.rotationA.View(), "C:\\logs\\trace\\host_1.log");
    EXPECT_EQ(names.rotationB.View(), "C:\\logs\\trace\\host_2.log");
    EXPECT_EQ(names.errorRotationA.View(), "C:\\logs\\trace\\host_1_error.log");
    EXPECT_EQ(names.errorRotationB.View(), "C:\\logs\\trace\\host_2_error.log");
    EXPECT_FALSE(names.main.IsSet());
}

TEST(FileNamesTest, PidStandsBeforeTheExtension) {
    LogFileNames names;
    const PidPart pid = MakePidPart(kTracePidInFileNames, 4321);
    BuildPlainNames(names, kFolder, "host.log", pid);
    BuildRotationNames(names, kFolder, "host.log", pid);
    EXPECT_EQ(names.main.View(), "C:\\logs\\trace\\host_pid_4321.log");
    EXPECT_EQ(names.errorCopy.View(), "C:\\logs\\trace\\host_error_pid_4321.log");
    EXPECT_EQ(names.rotationA.View(), "C:\\logs\\trace\\host_1_pid_4321.log");
    EXPECT_EQ(names.rotationB.View(), "C:\\logs\\trace\\host_2_pid_4321.log");
    EXPECT_EQ(names.errorRotationA.View(), "C:\\logs\\trace\\host_1_error_pid_4321.log");
    EXPECT_EQ(names.errorRotationB.View(), "C:\\logs\\trace\\host_2_error_pid_4321.log");
}

TEST(FileNamesTest, PidPartNeedsItsFlag) {
    EXPECT_STREQ(MakePidPart(kTraceDefaultFlags, 4321).text, "");
    EXPECT_STREQ(MakePidPart(kTracePidInFileNames, 4294967295u).text, "_pid_4294967295");
}

TEST(FileNamesTest, NameWithoutADotIsAllExtension) {
    LogFileNames names;
    const PidPart pid = MakePidPart(kTracePidInFileNames, 7);
    BuildPlainNames(names, kFolder, "trace", pid);
    BuildRotationNames(names, kFolder, "trace", pid);
    EXPECT_EQ(names.main.View(), "C:\\logs\\trace\\_pid_7trace");
    EXPECT_EQ(names.errorCopy.View(), "C:\\logs\\trace\\_error_pid_7trace");
    EXPECT_EQ(names.rotationA.View(), "C:\\logs\\trace\\_1_pid_7trace");
}

TEST(FileNamesTest, OnlyTheLastDotSplits) {
    LogFileNames names;
    BuildPlainNames(names, kFolder, "a.b.", {});
    EXPECT_EQ(names.errorCopy.View(), "C:\\logs\\trace\\a.b_error.");
    BuildPlainNames(names, kFolder, ".log", {});
    EXPECT_EQ(names.errorCopy.View(), "C:\\logs\\trace\\_error.log");
}

TEST(FileNamesTest, FolderNeedsItsBackslash) {
    EXPECT_EQ(CheckNames("C:\\logs", "host.log"), 21u);
    EXPECT_EQ(CheckNames("", "host.log"), 21u);
    EXPECT_EQ(CheckNames("C:\\logs", ""), 21u);
}

TEST(FileNamesTest, FileNameIsNotEmptyAndHasNoBackslash) {
    EXPECT_EQ(CheckNames(kFolder, ""), 87u);
    EXPECT_EQ(CheckNames(kFolder, "a\\b.log"), 87u);
    EXPECT_EQ(CheckNames(kFolder, "\\b.log"), 87u);
    EXPECT_EQ(CheckNames(kFolder, "b.log\\"), 87u);
    EXPECT_EQ(CheckNames(kFolder, "b.log"), 0u);
    EXPECT_EQ(CheckNames(kFolder, "b"), 0u);
}

TEST(FileNamesTest, LongNameIsCutTo260Characters) {
    FileName name;
    name.Set(std::string(200, 'a'), std::string(100, 'b'));
    EXPECT_EQ(name.View(), std::string(200, 'a') + std::string(60, 'b'));
    name.Set("short");
    EXPECT_EQ(name.View(), "short");
}

TEST(FileNamesTest, NamesAreComparedAsText) {
    FileName longer;
    FileName shorter;
    longer.Set("C:\\ab");
    longer.Set("C:\\a");
    shorter.Set("C:\\a");
    EXPECT_TRUE(longer == shorter);
    shorter.Set("C:\\b");
    EXPECT_FALSE(longer == shorter);
}

} // namespace
} // namespace zelto
