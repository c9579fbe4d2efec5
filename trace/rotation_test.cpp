#include "trace/rotation.h"

#include "trace/running_trace.h"

#include <chrono>
#include <fstream>
#include <gmock/gmock.h>
#include <regex>

namespace zelto {
namespace {

constexpr std::size_t kMiB = 1u << 20;

class RotationTest : public RunningTraceTest {
protected:
    // Puts a size limit into force, as a change of the settings does.
    void Limit(std::uint64_t sizeLimitMiB) {
        const TraceLockGuard lock;
        TraceFlush();
        CloseStreams();
        traceState.sizeLimitMiB = sizeLimitMiB;
        ASSERT_TRUE(TraceBuildNames(traceState.folder.View(), traceState.baseName.View(), sizeLimitMiB));
    }

    std::string MainName() {
        const TraceLockGuard lock;
        return std::filesystem::path(traceState.names.main.text).filename().string();
    }
    std::string ErrorName() {
        const TraceLockGuard lock;
        return std::filesystem::path(traceState.names.errorCopy.text).filename().string();
    }

    // Logs numbered records of 16,000 characters until `bytes` have been logged, and writes them out.
    void Fill(std::size_t bytes) {
        for (std::size_t filled = 0; filled < bytes; filled += 16000) {
            TRACE_INFO("%06d%s", next_++, std::string(15994, 'x').c_str());
        }
        Flush();
    }

    // A file of `size` bytes, last written `age` ago.
    void Make(const char* name, std::size_t size, std::chrono::seconds age) {
        std::ofstream(File(name), std::ios::binary) << std::string(size, '-');
        std::filesystem::last_write_time(File(name), std::filesystem::file_time_type::clock::now() - age);
    }

    int next_ = 0;
};

std::regex HeaderForm(const char* sizeLimit) {
    char address[32];
    std::snprintf(address, sizeof(address), "%016llX",
                  reinterpret_cast<unsigned long long>(&traceState.ring));
    return std::regex(std::string(R"(\(Time Zone: [^)]+\) \(Thu Mar 19 04:11:33 2026, \d+s\) log rotated at )"
                                  R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} type: 0x1ff size: )") +
                      sizeLimit + " memory: 0x" + address + "\r\n");
}

std::string FirstLine(const std::string& bytes) {
    return bytes.substr(0, bytes.find('\n') + 1);
}

TEST_F(RotationTest, RotatesAtTheLimitAndStartsWithAHeader) {
    Limit(2);
    EXPECT_EQ(MainName(), "host_1.log");
    Fill(2 * kMiB - 200'000);
    EXPECT_EQ(MainName(), "host_1.log");
    Fill(250'000);
    EXPECT_EQ(MainName(), "host_2.log");
    const std::string header = FirstLine(Bytes("host_2.log"));
    EXPECT_TRUE(std::regex_match(header, HeaderForm("2"))) << header;
    const TraceLockGuard lock;
    EXPECT_EQ(traceState.mainLog.size, std::filesystem::file_size(File("host_2.log")));
}

TEST_F(RotationTest, HeaderTellsTimeZoneLocalTimeAndUptime) {
    char zone[256] = {};
    std::size_t length = 0;
    ASSERT_EQ(_get_tzname(&length, zone, sizeof(zone), 0), 0);
    Limit(1);
    {
        const test::ImportPatch time(OwnModule(), "GetLocalTime", &GiveLocalTime);
        const test::ImportPatch uptime(OwnModule(), "GetTickCount", &GiveTickCount);
        Fill(kMiB + 50'000);
    }
    const std::string header = FirstLine(Bytes("host_2.log"));
    EXPECT_TRUE(header.starts_with(std::string("(Time Zone: ") + zone + ") (")) << header;
    EXPECT_NE(
        header.find(std::string(", ") + kGivenUptime + ") log rotated at " + kGivenLocalTime + " type: "),
        std::string::npos)
        << header;
}

TEST_F(RotationTest, FilesAlternateAndStartEmptyAtTheirTurn) {
    Limit(1);
    Fill(kMiB + 50'000);
    EXPECT_EQ(MainName(), "host_2.log");
    TRACE_INFO("in the second");
    Fill(kMiB + 50'000);
    EXPECT_EQ(MainName(), "host_1.log");
    EXPECT_TRUE(std::regex_match(FirstLine(Bytes("host_1.log")), HeaderForm("1")));
    EXPECT_NE(Bytes("host_2.log").find("in the second"), std::string::npos);
    TRACE_INFO("in the first again");
    Flush();
    EXPECT_NE(Bytes("host_1.log").find("in the first again\r\n"), std::string::npos);
    Fill(kMiB + 50'000);
    EXPECT_EQ(Bytes("host_2.log").find("in the second"), std::string::npos);
}

TEST_F(RotationTest, NoRecordIsLostBetweenTwoFiles) {
    Limit(1);
    Fill(kMiB + kMiB / 2);
    Lines expected;
    for (int i = 0; i < next_; ++i) {
        char text[16];
        std::snprintf(text, sizeof(text), "info: %06d", i);
        expected.push_back(text);
    }
    Lines found;
    for (const char* name : {"host_1.log", "host_2.log"}) {
        for (const std::string& message : MessagesIn(name)) {
            found.push_back(message.substr(0, 12));
        }
    }
    EXPECT_EQ(found, expected);
}

TEST_F(RotationTest, ErrorCopyRotatesByItself) {
    Limit(1);
    const std::string text(16000, 'e');
    for (int i = 0; i < 64; ++i) {
        TRACE_ERROR("%s", text.c_str());
    }
    EXPECT_EQ(ErrorName(), "host_1_error.log");
    TRACE_ERROR("%s", std::string(16000, 'l').c_str());
    TRACE_ERROR("%s", std::string(16000, 'l').c_str());
    EXPECT_EQ(ErrorName(), "host_2_error.log");
    TRACE_ERROR("first of the second");
    const std::string bytes = Bytes("host_2_error.log");
    EXPECT_TRUE(std::regex_match(FirstLine(bytes), HeaderForm("1"))) << FirstLine(bytes);
    EXPECT_TRUE(bytes.ends_with("first of the second\r\n"));
}

TEST_F(RotationTest, WithoutFileOutputTheNextFileIsDeletedButNotOpened) {
    Limit(1);
    Make("host_2.log", 100, std::chrono::hours(1));
    const TraceLockGuard lock; // the last of Fill rotates, and nothing is written after it
    TraceFlags = (kTraceDefaultFlags & ~kTraceFileOutput) | kTraceDebuggerOutput;
    Fill(kMiB + 50'000);
    TraceFlags = kTraceDefaultFlags;
    EXPECT_EQ(traceState.mainLog.file, nullptr);
    EXPECT_EQ(traceState.mainLog.size, 0u);
    EXPECT_EQ(MainName(), "host_2.log");
    EXPECT_FALSE(std::filesystem::exists(File("host_2.log")));
}

std::FILE* OpenNothing(const wchar_t*, const wchar_t*, int) {
    return nullptr;
}

TEST_F(RotationTest, WhatIsLoggedWhileTheNextFileCannotBeOpenedIsLost) {
    const TraceLockGuard lock; // the writer opens a file whenever there is none
    Limit(1);
    {
        const test::ImportPatch patch(OwnModule(), "_wfsopen", &OpenNothing);
        Fill(kMiB - 200'000); // nothing is open: what is pending is dropped, and no size adds up
        EXPECT_EQ(MainName(), "host_1.log");
    }
    Fill(kMiB - 200'000);
    EXPECT_EQ(MainName(), "host_1.log");
    {
        const test::ImportPatch patch(OwnModule(), "_wfsopen", &OpenNothing);
        Fill(250'000); // the first of it still fits, rotates, and finds no file
        EXPECT_EQ(MainName(), "host_2.log");
        EXPECT_EQ(traceState.mainLog.file, nullptr);
        EXPECT_EQ(traceState.mainLog.size, 0u);
        EXPECT_EQ(traceState.pendingUsed, 0u);
    }
    TRACE_INFO("goes on");
    Flush();
    EXPECT_THAT(MessagesIn("host_2.log"), testing::ElementsAre("info: goes on")); // opened late: no header
}

TEST_F(RotationTest, NoLimitNoRotation) {
    Fill(3 * kMiB);
    EXPECT_EQ(MainName(), "host.log");
    EXPECT_GT(std::filesystem::file_size(File("host.log")), 3 * kMiB);
}

TEST_F(RotationTest, YoungerFileGoesOn) {
    Make("host_1.log", 1000, std::chrono::hours(2));
    Make("host_2.log", 1000, std::chrono::hours(1));
    Make("host_1_error.log", 1000, std::chrono::hours(1));
    Make("host_2_error.log", 1000, std::chrono::hours(2));
    Limit(1);
    EXPECT_EQ(MainName(), "host_2.log");
    EXPECT_EQ(ErrorName(), "host_1_error.log");
    TRACE_ERROR("goes on");
    Stop();
    EXPECT_TRUE(Bytes("host_2.log").starts_with(std::string(1000, '-') + "["));
    EXPECT_TRUE(Bytes("host_1_error.log").starts_with(std::string(1000, '-') + "["));
    EXPECT_EQ(std::filesystem::file_size(File("host_1.log")), 1000u);
    EXPECT_EQ(std::filesystem::file_size(File("host_2_error.log")), 1000u);
}

TEST_F(RotationTest, FileThatIsYoungerByOneSecondGoesOn) {
    Make("host_1.log", 1000, std::chrono::seconds(11));
    Make("host_2.log", 1000, std::chrono::seconds(10));
    Limit(1);
    EXPECT_EQ(MainName(), "host_2.log");
}

TEST_F(RotationTest, FullYoungerFileMakesTheOtherStartEmpty) {
    Make("host_1.log", 1000, std::chrono::hours(2));
    Make("host_2.log", kMiB, std::chrono::hours(1));
    Make("host_1_error.log", kMiB, std::chrono::hours(1));
    Make("host_2_error.log", 1000, std::chrono::hours(2));
    const TraceLockGuard lock; // the writer's next pass opens the main log anew
    Limit(1);
    EXPECT_EQ(MainName(), "host_1.log");
    EXPECT_EQ(ErrorName(), "host_2_error.log");
    EXPECT_FALSE(std::filesystem::exists(File("host_1.log")));
    EXPECT_FALSE(std::filesystem::exists(File("host_2_error.log")));
    EXPECT_TRUE(std::filesystem::exists(File("host_2.log")));
    EXPECT_TRUE(std::filesystem::exists(File("host_1_error.log")));
}

TEST_F(RotationTest, ChoosingClosesTheMainLogOnly) {
    TRACE_ERROR("open");
    Flush();
    const TraceLockGuard lock;
    ASSERT_NE(traceState.mainLog.file, nullptr);
    ASSERT_TRUE(TraceBuildNames(traceState.folder.View(), "host.log", 1));
    EXPECT_EQ(traceState.mainLog.file, nullptr);
    EXPECT_NE(traceState.errorCopy.file, nullptr);
}

TEST_F(RotationTest, NamesThatCannotBeBuiltStayAsTheyWere) {
    const TraceLockGuard lock;
    const std::string folder = folder_.NarrowWithBackslash();
    SetLastError(0);
    EXPECT_FALSE(TraceBuildNames("C:\\no\\backslash", "other.log", 0));
    EXPECT_EQ(GetLastError(), 21u);
    EXPECT_FALSE(TraceBuildNames(folder, "", 0));
    EXPECT_EQ(GetLastError(), 87u);
    EXPECT_FALSE(TraceBuildNames(folder, "a\\b.log", 1));
    EXPECT_EQ(GetLastError(), 87u);
    EXPECT_EQ(traceState.names.main.View(), folder + "host.log");
}

TEST_F(RotationTest, PidIsTheOwnProcess) {
    const TraceLockGuard lock;
    TraceFlags = kTraceDefaultFlags | kTracePidInFileNames;
    ASSERT_TRUE(TraceBuildNames("C:\\t\\", "host.log", 0));
    TraceFlags = kTraceDefaultFlags;
    EXPECT_EQ(traceState.names.main.View(),
              "C:\\t\\host_pid_" + std::to_string(GetCurrentProcessId()) + ".log");
}

} // namespace
} // namespace zelto
