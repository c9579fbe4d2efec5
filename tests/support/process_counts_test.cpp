#include "tests/support/process_counts.h"

#include "tests/support/temp_folder.h"

#include <fstream>
#include <gtest/gtest.h>
#include <thread>
#include <vector>
#include <windows.h>

namespace zelto::test {
namespace {

TEST(ProcessCountsTest, SeesALeakedHandle) {
    CountHandles();
    const std::size_t before = CountHandles();
    const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    EXPECT_EQ(CountHandles(), before + 1);
    CloseHandle(event);
    EXPECT_EQ(CountHandles(), before);
}

TEST(ProcessCountsTest, LeavesOutLogFilesOnly) {
    const TempFolder folder;
    const std::size_t handles = CountHandles();
    const std::size_t withLogs = CountHandlesAndLogFiles();

    const std::ofstream log(folder.Path() / "host.log");
    EXPECT_EQ(CountHandles(), handles);
    EXPECT_EQ(CountHandlesAndLogFiles(), withLogs + 1);

    const std::ofstream other(folder.Path() / "host.logs");
    EXPECT_EQ(CountHandles(), handles + 1);
    EXPECT_EQ(CountHandlesAndLogFiles(), withLogs + 2);
}

TEST(ProcessCountsTest, SeesAThread) {
    const std::size_t before = CountThreads();
    const HANDLE go = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::thread waiting([go] { WaitForSingleObject(go, INFINITE); });
    EXPECT_EQ(CountThreads(), before + 1);
    SetEvent(go);
    waiting.join();
    CloseHandle(go);
}

TEST(ProcessCountsTest, SeesPrivateMemory) {
    const std::size_t before = CountProcess().privateBytes;
    const std::vector<char> block(32u << 20, 'x');
    EXPECT_GT(CountProcess().privateBytes, before + (16u << 20) + static_cast<unsigned char>(block[5]) - 'x');
}

} // namespace
} // namespace zelto::test
