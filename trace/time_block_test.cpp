#include "trace/time_block.h"

#include <atomic>
#include <climits>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace zelto {
namespace {

std::string TimeOf(const RecordTime& time) {
    char memory[kMaximumTimeBlock];
    BoundedText out(memory, sizeof(memory));
    AppendTimeBlock(out, time);
    return std::string(out.View());
}

TEST(TimeBlockTest, TimeFieldsArePadded) {
    EXPECT_EQ(TimeOf({2026, 3, 19, 4, 11, 33, 1234567, -3600}), "[2026-03-19 04:11:33.1234567 UTC+01:00] ");
    EXPECT_EQ(TimeOf({987, 1, 2, 3, 4, 5, 6, 0}), "[0987-01-02 03:04:05.0000006 UTC+00:00] ");
    EXPECT_EQ(TimeOf({12345, 12, 31, 23, 59, 59, 9999999, 0}), "[12345-12-31 23:59:59.9999999 UTC+00:00] ");
}

TEST(TimeBlockTest, OffsetIsPlusToTheEastAndMinusToTheWest) {
    RecordTime time = {2026, 1, 1, 0, 0, 0, 0, 0};
    time.secondsWestOfUtc = -19800;
    EXPECT_EQ(TimeOf(time), "[2026-01-01 00:00:00.0000000 UTC+05:30] ");
    time.secondsWestOfUtc = 12600;
    EXPECT_EQ(TimeOf(time), "[2026-01-01 00:00:00.0000000 UTC-03:30] ");
    time.secondsWestOfUtc = -45900;
    EXPECT_EQ(TimeOf(time), "[2026-01-01 00:00:00.0000000 UTC+12:45] ");
    time.secondsWestOfUtc = -3599; // of a minute that is not full, nothing is shown
    EXPECT_EQ(TimeOf(time), "[2026-01-01 00:00:00.0000000 UTC+00:59] ");
}

TEST(TimeBlockTest, LongestBlockFitsItsMemory) {
    EXPECT_EQ(
        TimeOf({INT_MAX, INT_MAX, INT_MAX, INT_MAX, INT_MAX, INT_MAX, UINT_MAX, INT_MIN}),
        "[2147483647-2147483647-2147483647 2147483647:2147483647:2147483647.4294967295 UTC+596523:14] ");
}

TEST(TimeBlockTest, NumberBelowZeroHasTenDigitsToo) {
    EXPECT_EQ(TimeOf({-1, -1, -1, -1, -1, -1, 0, 0}),
              "[4294967295-4294967295-4294967295 4294967295:4294967295:4294967295.0000000 UTC+00:00] ");
}

TEST(TimeBlockTest, FileTimeIsSplitAt1970) {
    const SplitTime epoch = SplitFileTime(116444736000000000u);
    EXPECT_EQ(epoch.seconds, 0);
    EXPECT_EQ(epoch.fraction, 0u);
    const SplitTime later = SplitFileTime(116444736000000000u + 1773889893u * 10000000ull + 1234567u);
    EXPECT_EQ(later.seconds, 1773889893);
    EXPECT_EQ(later.fraction, 1234567u);
    const SplitTime before = SplitFileTime(116444736000000000u - 1);
    EXPECT_EQ(before.seconds, -1);
    EXPECT_EQ(before.fraction, 9999999u);
}

constexpr char kBlock[] = "[2026-03-19 04:11:33.0000000 UTC+01:00] ";
constexpr TimeBlockKey kKey = {1773889893, -3600, 0, 7};

// What is kept for `key`, with the fraction 1234567; empty when nothing is.
std::string Kept(const LastTimeBlock& last, const TimeBlockKey& key, std::uint32_t fraction = 1234567) {
    char memory[kPlainTimeBlock];
    return last.Put(memory, key, fraction) ? std::string(memory, sizeof(memory)) : std::string();
}

TEST(TimeBlockTest, FractionIsPutInItsPlace) {
    LastTimeBlock last;
    last.Keep(kKey, kBlock);
    EXPECT_EQ(Kept(last, kKey, 9999999), "[2026-03-19 04:11:33.9999999 UTC+01:00] ");
    EXPECT_EQ(Kept(last, kKey, 42), "[2026-03-19 04:11:33.0000042 UTC+01:00] ");
}

TEST(TimeBlockTest, KeptBlockIsForItsKeyOnly) {
    LastTimeBlock last;
    EXPECT_EQ(Kept(last, {}), "");
    last.Keep(kKey, kBlock);
    EXPECT_EQ(Kept(last, kKey), "[2026-03-19 04:11:33.1234567 UTC+01:00] ");
    EXPECT_EQ(Kept(last, {kKey.seconds + 1, -3600, 0, 7}), "");
    EXPECT_EQ(Kept(last, {kKey.seconds, -7200, 0, 7}), "");
    EXPECT_EQ(Kept(last, {kKey.seconds, -3600, 1, 7}), "");
    EXPECT_EQ(Kept(last, {kKey.seconds, -3600, 0, 8}), "");
    EXPECT_EQ(Kept(last, kKey), "[2026-03-19 04:11:33.1234567 UTC+01:00] ");
}

TEST(TimeBlockTest, LaterBlockTakesThePlaceOfTheKeptOne) {
    LastTimeBlock last;
    last.Keep(kKey, kBlock);
    const TimeBlockKey next = {kKey.seconds + 1, -3600, 0, 7};
    last.Keep(next, "[2026-03-19 04:11:34.0000000 UTC+01:00] ");
    EXPECT_EQ(Kept(last, kKey), "");
    EXPECT_EQ(Kept(last, next), "[2026-03-19 04:11:34.1234567 UTC+01:00] ");
}

// Each block says in all its digits which key it is for; a mixture would show.
TEST(TimeBlockTest, ThreadsNeverSeeHalfABlock) {
    LastTimeBlock last;
    std::atomic<int> seen{0};
    const auto blockOf = [](int digit) {
        std::string block(kPlainTimeBlock, static_cast<char>('0' + digit));
        return block.replace(21, 7, "1234567");
    };
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 30'000; ++i) {
                const int digit = (i + thread) % 10;
                const TimeBlockKey key = {digit, digit, digit, static_cast<std::uint64_t>(digit)};
                last.Keep(key, blockOf(digit));
                const std::string kept = Kept(last, key);
                if (!kept.empty()) {
                    ASSERT_EQ(kept, blockOf(digit));
                    ++seen;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_GT(seen, 1000);
}

} // namespace
} // namespace zelto
