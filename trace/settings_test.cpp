#include "trace/settings.h"

#include "trace/log_deletion.h"
#include "trace/running_trace.h"
#include "trace/shifted_counter.h"
#include "trace/test_key.h"

#include <cstdlib>
#include <fstream>
#include <gmock/gmock.h>
#include <regex>

namespace zelto {
namespace {

using testing::ElementsAre;

class SettingsTest : public RunningTraceTest {
protected:
    void Apply(std::uint64_t flags, std::uint64_t sizeLimitMiB) {
        const TraceLockGuard lock;
        ApplyTraceSettings({flags, sizeLimitMiB});
    }

    void Make(const char* name, std::chrono::seconds age = std::chrono::seconds(0)) {
        std::ofstream(File(name), std::ios::binary) << name;
        std::filesystem::last_write_time(File(name), std::filesystem::file_time_type::clock::now() - age);
    }

    // The names of the files in the folder, sorted.
    Lines Files() const {
        Lines names;
        for (const auto& entry : std::filesystem::directory_iterator(folder_.Path())) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    // The stop alone reads the key: to the writer the 11 seconds never pass.
    void SetKeyPathForTheStop() {
        counter_.FreezeAfter(-3600 * counter_.Frequency());
        const TraceLockGuard lock;
        traceState.registryKeyPath.Set(key_.Path());
    }

    test::TestKey key_;
    test::ShiftedCounter counter_;
};

TEST_F(SettingsTest, MissingKeyGivesNoFlagsAnd512MiB) {
    const TraceSettings settings = ReadTraceSettings("Software\\ZeltoTraceTestNowhere");
    EXPECT_EQ(settings.flags, 0u);
    EXPECT_EQ(settings.sizeLimitMiB, 512u);
}

TEST_F(SettingsTest, MissingValuesGiveNoFlagsAnd512MiB) {
    const TraceSettings settings = ReadTraceSettings(key_.Path());
    EXPECT_EQ(settings.flags, 0u);
    EXPECT_EQ(settings.sizeLimitMiB, 512u);
}

TEST_F(SettingsTest, ValuesAreRead) {
    key_.SetDword("flag", 0xFFFFFFFF);
    key_.SetDword("size", 0);
    const TraceSettings settings = ReadTraceSettings(key_.Path());
    EXPECT_EQ(settings.flags, 0xFFFFFFFFu);
    EXPECT_EQ(settings.sizeLimitMiB, 0u);
}

TEST_F(SettingsTest, ValuesOfAnotherTypeCountAsMissing) {
    key_.SetText("flag", "511");
    key_.SetQword("size", 7);
    const TraceSettings settings = ReadTraceSettings(key_.Path());
    EXPECT_EQ(settings.flags, 0u);
    EXPECT_EQ(settings.sizeLimitMiB, 512u);
}

TEST_F(SettingsTest, ValuesThatAreTooShortCountAsMissing) {
    key_.SetShortDword("flag", 0x1FF);
    key_.SetShortDword("size", 7);
    const TraceSettings settings = ReadTraceSettings(key_.Path());
    EXPECT_EQ(settings.flags, 0u);
    EXPECT_EQ(settings.sizeLimitMiB, 512u);
}

REGSAM accessAskedFor;
decltype(&RegOpenKeyExA) openKey;
LSTATUS WINAPI RecordAccess(HKEY root, LPCSTR path, DWORD options, REGSAM access, PHKEY key) {
    accessAskedFor = access;
    return openKey(root, path, options, access, key);
}

// Whoever runs the host may read the settings; to change them takes an administrator.
TEST_F(SettingsTest, KeyIsOpenedToBeReadOnly) {
    const test::ImportPatch patch(OwnModule(), "RegOpenKeyExA", &RecordAccess);
    openKey = patch.Original<std::remove_pointer_t<decltype(openKey)>>();
    ReadTraceSettings(key_.Path());
    EXPECT_EQ(accessAskedFor, static_cast<REGSAM>(KEY_QUERY_VALUE));
}

TEST_F(SettingsTest, ValuesAreReadOneByOne) {
    key_.SetDword("size", 3);
    EXPECT_EQ(ReadTraceSettings(key_.Path()).flags, 0u);
    EXPECT_EQ(ReadTraceSettings(key_.Path()).sizeLimitMiB, 3u);
}

TEST_F(SettingsTest, CurrentFlagsStayWhereNoneCanBeRead) {
    EXPECT_EQ(ReadFlagsOr("Software\\ZeltoTraceTestNowhere", 0x123), 0x123u);
    EXPECT_EQ(ReadFlagsOr(key_.Path(), 0x123), 0x123u);
    key_.SetText("flag", "511");
    EXPECT_EQ(ReadFlagsOr(key_.Path(), 0x123), 0x123u);
    key_.SetDword("flag", 0x8);
    EXPECT_EQ(ReadFlagsOr(key_.Path(), 0x123), 0x8u);
}

TEST_F(SettingsTest, ChangeIsLoggedToTheLetter) {
    Apply(0x10F, 3);
    Stop();
    const std::vector<test::TraceLine> lines = test::ReadTraceLines(File("host_1.log"));
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].line, 689);
    EXPECT_EQ(lines[0].level, "info");
    EXPECT_TRUE(std::regex_match(
        lines[0].text,
        std::regex(
            R"(\(Thu Mar 19 04:11:33 2026, \d+s\) setting changed at )"
            R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} type: 0x10f size: 3 memory: 0x0000000000000000)")))
        << lines[0].text;
    EXPECT_EQ(lines[1].text, "trace stopped");
}

TEST_F(SettingsTest, ChangeIsLoggedWithLocalTimeAndUptime) {
    const test::ImportPatch time(OwnModule(), "GetLocalTime", &GiveLocalTime);
    const test::ImportPatch uptime(OwnModule(), "GetTickCount", &GiveTickCount);
    Apply(0x10F, 0);
    Flush();
    EXPECT_THAT(MessagesIn("host.log"),
                ElementsAre(testing::HasSubstr(std::string(", ") + kGivenUptime + ") setting changed at " +
                                               kGivenLocalTime + " type: ")));
}

TEST_F(SettingsTest, ChangeIsLoggedWithInfoForcedOn) {
    Apply(0x108, 0);
    EXPECT_EQ(TraceFlags.load(), 0x108u);
    Flush();
    const Lines messages = MessagesIn("host.log");
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_NE(messages[0].find(" type: 0x109 size: 0 memory: "), std::string::npos) << messages[0];
}

TEST_F(SettingsTest, SameSettingsChangeNothing) {
    TRACE_INFO("pending");
    const TraceLockGuard lock;
    const std::uint64_t pending = traceState.pendingUsed;
    ApplyTraceSettings({kTraceDefaultFlags, 0});
    EXPECT_EQ(traceState.pendingUsed, pending);
}

TEST_F(SettingsTest, WhatWasLoggedBeforeGoesToTheOldFile) {
    TRACE_ERROR("before");
    Apply(kTraceDefaultFlags, 2);
    TRACE_ERROR("after");
    Stop();
    EXPECT_THAT(MessagesIn("host.log"), ElementsAre("error: before"));
    EXPECT_THAT(MessagesIn("host_error.log"), ElementsAre("error: before"));
    EXPECT_THAT(MessagesIn("host_1.log"), ElementsAre(testing::HasSubstr(" size: 2 "), "error: after"));
    EXPECT_THAT(MessagesIn("host_1_error.log"), ElementsAre("error: after"));
}

TEST_F(SettingsTest, RingComesAndGoesWithItsFlag) {
    Apply(kTraceDefaultFlags | kTraceMemoryRing, 0);
    {
        const TraceLockGuard lock;
        ASSERT_NE(traceState.ring, nullptr);
        EXPECT_STREQ(traceState.ring->name, "TraceMemLogHead");
        EXPECT_EQ(traceState.ring->counter, 1u); // the settings line itself
        char address[32];
        std::snprintf(address, sizeof(address), "memory: 0x%016llX",
                      reinterpret_cast<unsigned long long>(traceState.ring));
        EXPECT_NE(std::string(traceState.ring->slots[0]).find(address), std::string::npos);
    }
    Apply(kTraceDefaultFlags | kTraceMemoryRing, 1);
    {
        const TraceLockGuard lock;
        ASSERT_NE(traceState.ring, nullptr);
        EXPECT_EQ(traceState.ring->counter, 2u); // still the same ring
    }
    Apply(kTraceDefaultFlags, 1);
    const TraceLockGuard lock;
    EXPECT_EQ(traceState.ring, nullptr);
}

decltype(&std::malloc) allocate;
void* AllocateNoRing(std::size_t size) {
    return size == sizeof(MemoryRing) ? nullptr : allocate(size);
}

TEST_F(SettingsTest, WithoutMemoryForTheRingTheRestGoesOn) {
    const test::ImportPatch patch(OwnModule(), "malloc", &AllocateNoRing);
    allocate = patch.Original<void*(std::size_t)>();
    Apply(kTraceDefaultFlags | kTraceMemoryRing, 0);
    EXPECT_EQ(traceState.ring, nullptr);
    TRACE_INFO("in the file");
    Stop();
    EXPECT_THAT(MessagesIn("host.log"),
                ElementsAre(testing::HasSubstr(" memory: 0x0000000000000000"), "info: in the file"));
}

void* ringToFree;
int freedRings;
decltype(&std::free) freeBlock;
void CountFreedRing(void* block) {
    freedRings += block != nullptr && block == ringToFree ? 1 : 0;
    freeBlock(block);
}

TEST_F(SettingsTest, StopFreesTheRing) {
    Apply(kTraceDefaultFlags | kTraceMemoryRing, 0);
    ringToFree = traceState.ring;
    freedRings = 0;
    const test::ImportPatch patch(OwnModule(), "free", &CountFreedRing);
    freeBlock = patch.Original<void(void*)>();
    Stop();
    EXPECT_EQ(traceState.ring, nullptr);
    EXPECT_EQ(freedRings, 1);
}

int closedKeys;
decltype(&RegCloseKey) closeKey;
LSTATUS WINAPI CountClosedKey(HKEY key) {
    ++closedKeys;
    return closeKey(key);
}

TEST_F(SettingsTest, TheKeyIsClosedAgain) {
    const test::ImportPatch patch(OwnModule(), "RegCloseKey", &CountClosedKey);
    closeKey = patch.Original<std::remove_pointer_t<decltype(closeKey)>>();
    key_.SetDword("flag", 1);
    closedKeys = 0;
    ReadTraceSettings(key_.Path());
    EXPECT_EQ(closedKeys, 1);
}

TEST_F(SettingsTest, SwitchingFileOutputOffDeletesTheLogsButNotThePlainErrorCopy) {
    TRACE_ERROR("in both");
    Flush();
    Make("host_1.log");
    Make("host_2.log", std::chrono::hours(1));
    Make("host_1_error.log", std::chrono::hours(1));
    Make("host_2_error.log");
    Make("other.log");
    const TraceLockGuard lock; // the writer's next pass opens the main log anew
    Apply(0xF, 0);
    EXPECT_THAT(Files(), ElementsAre("host_1_error.log", "host_error.log", "other.log"));
    EXPECT_EQ(traceState.names.main.View(), folder_.NarrowWithBackslash() + "host_1.log");
    EXPECT_EQ(traceState.names.errorCopy.View(), folder_.NarrowWithBackslash() + "host_2_error.log");
    traceState.names.main = {}; // the stop writes nothing: no output is enabled
}

TEST_F(SettingsTest, LogsThatAreDeletedAreNamedByTheNewFlags) {
    const std::string withPid = "host_pid_" + std::to_string(GetCurrentProcessId()) + ".log";
    Make("host.log");
    Make(withPid.c_str());
    const TraceLockGuard lock; // the writer's next pass opens the main log anew
    Apply(0xF | kTracePidInFileNames, 0);
    EXPECT_THAT(Files(), ElementsAre("host.log"));
    traceState.names.main = {};
}

TEST_F(SettingsTest, NamesAreThoseOfTheNewSizeWhenTheLogsAreDeletedToo) {
    Apply(kTraceDefaultFlags, 1);
    Apply(0xF, 0);
    const TraceLockGuard lock;
    EXPECT_EQ(traceState.names.main.View(), folder_.NarrowWithBackslash() + "host.log");
    EXPECT_EQ(traceState.names.errorCopy.View(), folder_.NarrowWithBackslash() + "host_error.log");
    traceState.names.main = {};
}

// Which of the two error copies goes is chosen with a limit of 1 MiB.
TEST_F(SettingsTest, FullErrorCopyOutlivesTheDeletion) {
    Make("host_1_error.log");
    std::filesystem::resize_file(File("host_1_error.log"), 1u << 20);
    Make("host_2_error.log", std::chrono::hours(1));
    const TraceLockGuard lock; // the writer's next pass opens the main log anew
    Apply(0xF, 0);
    EXPECT_THAT(Files(), ElementsAre("host_1_error.log"));
    traceState.names.main = {};
}

TEST_F(SettingsTest, NewSizeAloneDeletesNothing) {
    const TraceLockGuard lock; // the writer's next pass would make a file that is gone
    Apply(0xF, 0);
    Make("host_1.log");
    Apply(0xF, 2);
    EXPECT_THAT(Files(), ElementsAre("host_1.log"));
    traceState.names.main = {};
}

TEST_F(SettingsTest, DeletingNothingIsHarmless) {
    Stop();
    std::filesystem::remove(File("host.log"));
    const auto folder = folder_.NarrowWithBackslash();
    traceState.folder.Set(folder);
    traceState.baseName.Set("host.log");
    DeleteAllLogFiles();
    EXPECT_EQ(Files(), Lines());
    traceState.baseName.Set("");
    traceState.names = {};
    DeleteAllLogFiles();
    EXPECT_FALSE(traceState.names.main.IsSet());
}

TEST_F(SettingsTest, StopDeletesTheLogsWhenTheRegistrySwitchesThemOff) {
    TRACE_ERROR("in both");
    key_.SetDword("flag", 0xF);
    SetKeyPathForTheStop();
    Stop();
    EXPECT_THAT(Files(), ElementsAre("host_error.log"));
    EXPECT_FALSE(traceState.registryKeyPath.IsSet());
}

TEST_F(SettingsTest, StopKeepsTheLogsWhenTheRegistryCannotBeRead) {
    TRACE_ERROR("in both");
    SetKeyPathForTheStop();
    Stop();
    EXPECT_THAT(Files(), ElementsAre("host.log", "host_error.log"));
}

} // namespace
} // namespace zelto
