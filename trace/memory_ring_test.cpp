#include "trace/memory_ring.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>

namespace zelto {
namespace {

class MemoryRingTest : public testing::Test {
protected:
    MemoryRingTest() : ring_(std::make_unique<MemoryRing>()) {
        std::memset(ring_.get(), 0xCC, sizeof(MemoryRing));
        ClearRing(*ring_);
    }
    std::unique_ptr<MemoryRing> ring_;
};

TEST_F(MemoryRingTest, IsFoundByItsName) {
    EXPECT_EQ(std::memcmp(ring_.get(), "TraceMemLogHead", 16), 0);
    EXPECT_EQ(ring_->counter, 0u);
}

TEST_F(MemoryRingTest, StartsWithZerosOnly) {
    const std::string_view slots(ring_->slots[0], sizeof(ring_->slots));
    EXPECT_EQ(slots.find_first_not_of('\0'), std::string_view::npos);
}

TEST_F(MemoryRingTest, RecordsTakeSlotAfterSlot) {
    PutInRing(*ring_, "first");
    PutInRing(*ring_, "second");
    EXPECT_EQ(ring_->counter, 2u);
    EXPECT_STREQ(ring_->slots[0], "first");
    EXPECT_STREQ(ring_->slots[1], "second");
}

TEST_F(MemoryRingTest, Record1025OverwritesSlotZero) {
    for (int i = 1; i <= 1025; ++i) {
        PutInRing(*ring_, "record " + std::to_string(i));
    }
    EXPECT_EQ(ring_->counter, 1025u);
    EXPECT_STREQ(ring_->slots[0], "record 1025");
    EXPECT_STREQ(ring_->slots[1], "record 2");
    EXPECT_STREQ(ring_->slots[1023], "record 1024");
}

TEST_F(MemoryRingTest, ShorterRecordReplacesALongerOne) {
    PutInRing(*ring_, std::string(1000, 'x'));
    ring_->counter = 0;
    PutInRing(*ring_, "short");
    EXPECT_STREQ(ring_->slots[0], "short");
}

TEST_F(MemoryRingTest, LongRecordIsCutTo1023Characters) {
    PutInRing(*ring_, "next slot is clean");
    ring_->counter = 0;
    PutInRing(*ring_, std::string(1023, 'a'));
    PutInRing(*ring_, std::string(1024, 'b'));
    EXPECT_EQ(std::string(ring_->slots[0]), std::string(1023, 'a'));
    EXPECT_EQ(std::string(ring_->slots[1]), std::string(1023, 'b'));
    EXPECT_EQ(ring_->slots[2][0], '\0');
}

} // namespace
} // namespace zelto
