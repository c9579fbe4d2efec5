#include "tests/support/process_counts.h"

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
