#pragma once

#include "trace/bounded_text.h"

#include <atomic>
#include <cstdint>
#include <string_view>

namespace zelto {

// The moment of a record, in local time.
struct RecordTime {
    std::int32_t year = 0;
    std::int32_t month = 0; // 1 to 12
    std::int32_t day = 0;
    std::int32_t hour = 0;
    std::int32_t minute = 0;
    std::int32_t second = 0;
    std::uint32_t fraction = 0;        // in 100 ns, below 10,000,000
    std::int32_t secondsWestOfUtc = 0; // what is added to local time to get UTC; negative east of UTC
};

// The longest block, with ten digits wherever a number takes them.
inline constexpr std::size_t kMaximumTimeBlock = 112;

// "[2026-03-19 04:11:33.1234567 UTC+01:00] "
void AppendTimeBlock(BoundedText& out, const RecordTime& time) noexcept;

// Seconds since 1970 and the 100 ns units beyond of a FILETIME (100 ns units since 1601, UTC).
struct SplitTime {
    std::int64_t seconds;
    std::uint32_t fraction;
};
SplitTime SplitFileTime(std::uint64_t fileTime) noexcept;

// The blocks of one second differ in their fraction only, so the last one is kept and used again, as long as
// nothing has changed that it was made of.

// A block whose year has four digits has this length. All others are made anew each time.
inline constexpr std::size_t kPlainTimeBlock = 40;

// All that a block depends on, but for its fraction.
struct TimeBlockKey {
    std::int64_t seconds;      // since 1970, UTC
    std::int32_t zoneSeconds;  // west of UTC, without the daylight-saving hour
    std::int32_t zoneDaylight; // not 0: the zone has a daylight rule
    std::uint64_t zoneReading; // which reading of the time zone it was made with
    friend bool operator==(const TimeBlockKey&, const TimeBlockKey&) = default;
};

// The block that was made last. Any thread may call both at any time; nobody ever waits: while one thread keeps a
// block, the others get none.
class LastTimeBlock {
public:
    // Writes what is kept for `key`, with the fraction (below 10,000,000) put in: kPlainTimeBlock characters. False
    // when nothing is kept for it.
    bool Put(char* text, const TimeBlockKey& key, std::uint32_t fraction) const noexcept;
    // `block` has kPlainTimeBlock characters; any fraction.
    void Keep(const TimeBlockKey& key, std::string_view block) noexcept;

private:
    static constexpr std::size_t kKeyWords = sizeof(TimeBlockKey) / 8;
    static constexpr std::size_t kTextWords = kPlainTimeBlock / 8;
    static_assert(sizeof(TimeBlockKey) == kKeyWords * 8 && kPlainTimeBlock == kTextWords * 8);

    std::atomic<std::uint32_t> version_{0};       // odd while the words are being written; 0: nothing kept
    std::atomic<std::uint64_t> key_[kKeyWords]{}; // the bytes of the key
    std::atomic<std::uint64_t> text_[kTextWords]{};
};

} // namespace zelto
