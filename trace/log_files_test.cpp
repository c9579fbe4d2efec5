#include "trace/running_trace.h"

#include <algorithm>
#include <clocale>
#include <fstream>
#include <gmock/gmock.h>
#include <io.h>
#include <share.h>

namespace zelto {
namespace {

using testing::ElementsAre;

class LogFilesTest : public RunningTraceTest {};

HANDLE StreamHandle(const LogStream& stream) {
    return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream.file)));
}

void WriteFileBytes(const std::filesystem::path& file, const std::string& bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
}

TEST_F(LogFilesTest, FolderIsCreatedWithItsParents) {
    Stop();
    TraceStart((folder_.NarrowWithBackslash() + "deep\\er\\").c_str(), "host.log");
    TRACE_ERROR("made");
    Stop();
    EXPECT_THAT(MessagesIn("deep\\er\\host.log"), ElementsAre("error: made"));
    EXPECT_THAT(MessagesIn("deep\\er\\host_error.log"), ElementsAre("error: made"));
}

// Text as the system's functions take it: in the ANSI code page.
std::string Narrow(const wchar_t* text) {
    char narrow[64] = {};
    WideCharToMultiByte(CP_ACP, 0, text, -1, narrow, sizeof(narrow), nullptr, nullptr);
    return narrow;
}

// With such a locale, which a host chooses for the whole C runtime, narrow file names are UTF-8 to it.
class Utf8Locale {
public:
    Utf8Locale() : former_(std::setlocale(LC_ALL, nullptr)) {
        EXPECT_NE(std::setlocale(LC_ALL, ".UTF8"), nullptr);
    }
    Utf8Locale(const Utf8Locale&) = delete;
    Utf8Locale& operator=(const Utf8Locale&) = delete;
    ~Utf8Locale() { std::setlocale(LC_ALL, former_.c_str()); }

private:
    std::string former_;
};

TEST_F(LogFilesTest, HostsLocaleDoesNotChangeWhereTheFilesLie) {
    Stop();
    const auto folder = folder_.Path() / L"Andr\u00e9";
    {
        const Utf8Locale locale;
        TraceStart((folder_.NarrowWithBackslash() + Narrow(L"Andr\u00e9\\")).c_str(), "host.log");
        TRACE_ERROR("made");
        Stop();
    }
    EXPECT_THAT(test::Messages(test::ReadTraceLines(folder / "host.log")), ElementsAre("error: made"));
    EXPECT_THAT(test::Messages(test::ReadTraceLines(folder / "host_error.log")), ElementsAre("error: made"));
}

// A host may have the narrow functions of the system take their names in the OEM code page.
class OemFileNames {
public:
    OemFileNames() { SetFileApisToOEM(); }
    OemFileNames(const OemFileNames&) = delete;
    OemFileNames& operator=(const OemFileNames&) = delete;
    ~OemFileNames() { SetFileApisToANSI(); }
};

TEST_F(LogFilesTest, HostsChoiceOfTheOemCodePageHoldsForTheFilesToo) {
    Stop();
    const auto folder = folder_.Path() / L"Andr\u00e9";
    char narrow[64] = {};
    WideCharToMultiByte(CP_OEMCP, 0, L"Andr\u00e9\\", -1, narrow, sizeof(narrow), nullptr, nullptr);
    {
        const OemFileNames oem;
        TraceStart((folder_.NarrowWithBackslash() + narrow).c_str(), "host.log");
        TRACE_ERROR("made");
        Stop();
    }
    EXPECT_THAT(test::Messages(test::ReadTraceLines(folder / "host.log")), ElementsAre("error: made"));
    EXPECT_THAT(test::Messages(test::ReadTraceLines(folder / "host_error.log")), ElementsAre("error: made"));
}

TEST_F(LogFilesTest, FilesGoOnAtTheirEnd) {
    Stop();
    WriteFileBytes(File("host.log"), "older\r\n");
    WriteFileBytes(File("host_error.log"), "older error\r\n");
    TraceStart(folder_.NarrowWithBackslash().c_str(), "host.log");
    TRACE_ERROR("newer");
    Flush();
    {
        const TraceLockGuard lock;
        EXPECT_EQ(traceState.mainLog.size, std::filesystem::file_size(File("host.log")));
        EXPECT_EQ(traceState.errorCopy.size, std::filesystem::file_size(File("host_error.log")));
    }
    Stop();
    EXPECT_TRUE(Bytes("host.log").starts_with("older\r\n["));
    EXPECT_TRUE(Bytes("host_error.log").starts_with("older error\r\n["));
}

// Half a buffer of one stream is still unwritten when the other one comes: neither may lose or get a byte.
TEST_F(LogFilesTest, ErrorsAmongFloodsOfOthersMixNoBytes) {
    Lines all;
    Lines errors;
    for (int i = 0; i < 3000; ++i) {
        const std::string text =
            std::to_string(i) + " " + std::string(static_cast<std::size_t>(i * 37 % 900), 'x');
        if (i % 7 == 3) {
            TRACE_ERROR("%s", text.c_str());
            errors.push_back("error: " + text);
        } else {
            TRACE_INFO("%s", text.c_str());
        }
        all.push_back((i % 7 == 3 ? "error: " : "info: ") + text);
    }
    Stop();
    EXPECT_EQ(MessagesIn("host.log"), all);
    EXPECT_EQ(MessagesIn("host_error.log"), errors);
}

TEST_F(LogFilesTest, WhatIsBufferedIsWrittenBeforeTheOtherStreamUsesTheBuffer) {
    const TraceLockGuard lock;
    CloseStreams(); // the writer may have opened and filled the file
    const std::string before = Bytes("host.log");
    TRACE_INFO("in the buffer");
    TraceFlush(); // into the stdio buffer only
    EXPECT_EQ(Bytes("host.log"), before);
    TRACE_ERROR("uses the buffer");
    EXPECT_THAT(MessagesIn("host.log"), ElementsAre("info: in the buffer"));
    EXPECT_THAT(MessagesIn("host_error.log"), ElementsAre("error: uses the buffer"));
}

TEST_F(LogFilesTest, AnotherWriterIsDeniedAndAReaderIsNot) {
    TRACE_ERROR("open");
    Flush();
    EXPECT_EQ(_fsopen(File("host.log").string().c_str(), "ab", _SH_DENYNO), nullptr);
    EXPECT_EQ(_fsopen(File("host_error.log").string().c_str(), "ab", _SH_DENYNO), nullptr);
    EXPECT_THAT(MessagesIn("host.log"), ElementsAre("error: open"));
}

TEST_F(LogFilesTest, ChildProcessesDoNotInheritTheFiles) {
    TRACE_ERROR("open");
    Flush();
    const TraceLockGuard lock;
    for (const LogStream* stream : {&traceState.mainLog, &traceState.errorCopy}) {
        DWORD flags = HANDLE_FLAG_INHERIT;
        ASSERT_TRUE(GetHandleInformation(StreamHandle(*stream), &flags));
        EXPECT_EQ(flags & HANDLE_FLAG_INHERIT, 0u);
    }
}

TEST_F(LogFilesTest, FilesAreOpenedToBeReadAsWell) {
    TRACE_ERROR("open");
    Flush();
    const TraceLockGuard lock;
    for (const LogStream* stream : {&traceState.mainLog, &traceState.errorCopy}) {
        char byte = 0;
        DWORD count = 0;
        EXPECT_TRUE(ReadFile(StreamHandle(*stream), &byte, 1, &count, nullptr));
    }
}

// fflush(nullptr) would be for every stream of the process.
TEST_F(LogFilesTest, StreamsOfTheHostAreNotFlushed) {
    std::FILE* hosts = _fsopen(File("hosts.txt").string().c_str(), "wb", _SH_DENYNO);
    ASSERT_NE(hosts, nullptr);
    std::fputs("in the host's buffer", hosts);
    {
        const TraceLockGuard lock;
        CloseStreams();
        FlushStreams();
    }
    EXPECT_EQ(Bytes("hosts.txt"), "");
    std::fclose(hosts);
    EXPECT_EQ(Bytes("hosts.txt"), "in the host's buffer");
}

std::size_t WriteHalf(const void*, std::size_t size, std::size_t count, std::FILE*) {
    return size * count / 2;
}

TEST_F(LogFilesTest, SizeGrowsByWhatWasWritten) {
    TRACE_INFO("opens the file");
    Flush();
    const TraceLockGuard lock;
    const std::uint64_t before = traceState.mainLog.size;
    const test::ImportPatch patch(OwnModule(), "fwrite", &WriteHalf);
    TRACE_INFO("the disk is full");
    const std::uint64_t pending = traceState.pendingUsed;
    TraceFlush();
    EXPECT_EQ(traceState.mainLog.size, before + pending / 2);
}

std::int64_t NoPosition(std::FILE*) {
    return -1;
}

TEST_F(LogFilesTest, FileWhoseEndIsUnknownCountsAsEmpty) {
    const test::ImportPatch patch(OwnModule(), "_ftelli64", &NoPosition);
    const TraceLockGuard lock;
    CloseStreams(); // the writer may have opened the file
    TRACE_INFO("opens the file");
    const std::uint64_t pending = traceState.pendingUsed;
    TraceFlush();
    EXPECT_EQ(traceState.mainLog.size, pending);
}

TEST_F(LogFilesTest, RecordsAreDroppedWhileTheFileIsLocked) {
    Stop();
    std::FILE* other = _fsopen(File("host.log").string().c_str(), "ab", _SH_DENYWR);
    ASSERT_NE(other, nullptr);
    TraceStart(folder_.NarrowWithBackslash().c_str(), "host.log");
    TRACE_ERROR("dropped");
    Flush();
    {
        const TraceLockGuard lock;
        EXPECT_EQ(traceState.pendingUsed, 0u);
        EXPECT_EQ(traceState.mainLog.file, nullptr);
    }
    std::fclose(other);
    TRACE_INFO("written");
    Stop();
    EXPECT_EQ(Lines({"info: written"}), test::Messages(test::ReadTraceLines(File("host.log"))));
    EXPECT_THAT(MessagesIn("host_error.log"), ElementsAre("error: dropped"));
}

TEST_F(LogFilesTest, ErrorCopyThatIsLockedHarmsTheMainLogNot) {
    std::FILE* other = _fsopen(File("host_error.log").string().c_str(), "ab", _SH_DENYWR);
    TRACE_ERROR("main log only");
    std::fclose(other);
    TRACE_ERROR("both");
    Stop();
    EXPECT_THAT(MessagesIn("host.log"), ElementsAre("error: main log only", "error: both"));
    EXPECT_THAT(MessagesIn("host_error.log"), ElementsAre("error: both"));
}

TEST_F(LogFilesTest, FolderThatCannotBeCreatedDropsRecords) {
    Stop();
    WriteFileBytes(File("file"), "in the way");
    TraceStart((folder_.NarrowWithBackslash() + "file\\deeper\\").c_str(), "host.log");
    for (int i = 0; i < 20; ++i) {
        TRACE_ERROR("%s", std::string(16000, 'd').c_str());
    }
    Flush();
    {
        const TraceLockGuard lock;
        EXPECT_EQ(traceState.pendingUsed, 0u);
    }
    Stop();
    EXPECT_EQ(Bytes("file"), "in the way");
}

TEST_F(LogFilesTest, StopClosesNothingAndTheNextStartDoes) {
    TRACE_ERROR("open");
    TraceStop();
    EXPECT_EQ(_fsopen(File("host.log").string().c_str(), "ab", _SH_DENYNO), nullptr);
    EXPECT_EQ(_fsopen(File("host_error.log").string().c_str(), "ab", _SH_DENYNO), nullptr);
    const test::TempFolder other;
    TraceStart(other.NarrowWithBackslash().c_str(), "other.log");
    TRACE_INFO("elsewhere");
    Stop();
    EXPECT_THAT(MessagesIn("host.log"), ElementsAre("error: open"));
    EXPECT_EQ(test::Messages(test::ReadTraceLines(other.Path() / "other.log")), Lines({"info: elsewhere"}));
}

} // namespace
} // namespace zelto
