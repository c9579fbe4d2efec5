#include "tests/support/page_heap.h"

#include <cstring>
#include <gtest/gtest.h>

namespace zelto::test {
namespace {

bool CanBeTouched(const void* block) {
    MEMORY_BASIC_INFORMATION region = {};
    VirtualQuery(block, &region, sizeof(region));
    return region.State == MEM_COMMIT && region.Protect == PAGE_READWRITE;
}

TEST(PageHeapTest, ABlockCanBeUsedUntilItIsFreed) {
    void* block = PageHeapAllocate(5000);
    ASSERT_NE(block, nullptr);
    std::memset(block, 1, 5000);
    EXPECT_TRUE(CanBeTouched(block));
    PageHeapFree(block);
    EXPECT_FALSE(CanBeTouched(block));
    EXPECT_FALSE(CanBeTouched(static_cast<char*>(block) + 4999));
}

TEST(PageHeapTest, BehindABlockNothingCanBeTouched) {
    auto* block = static_cast<char*>(PageHeapAllocate(32));
    EXPECT_TRUE(CanBeTouched(block + 31));
    EXPECT_FALSE(CanBeTouched(block + 32));
    PageHeapFree(block);
}

TEST(PageHeapTest, MemoryIsNotGivenOutAgain) {
    void* first = PageHeapAllocate(10);
    PageHeapFree(first);
    void* second = PageHeapAllocate(10);
    EXPECT_NE(first, second);
    EXPECT_FALSE(CanBeTouched(first));
    PageHeapFree(second);
}

TEST(PageHeapTest, ReallocationKeepsTheContent) {
    auto* block = static_cast<char*>(PageHeapReallocate(nullptr, 4));
    std::memcpy(block, "abc", 4);
    auto* larger = static_cast<char*>(PageHeapReallocate(block, 9000));
    EXPECT_STREQ(larger, "abc");
    EXPECT_FALSE(CanBeTouched(block));
    PageHeapFree(larger);
}

TEST(PageHeapTest, ZeroedMemoryIsZero) {
    auto* block = static_cast<char*>(PageHeapAllocateZeroed(3, 100));
    EXPECT_EQ(std::string(block, 300), std::string(300, '\0'));
    PageHeapFree(block);
}

} // namespace
} // namespace zelto::test
