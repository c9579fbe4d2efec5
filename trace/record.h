#pragma once

#include "trace/bounded_text.h"

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

// What stands before the message of a record.
struct RecordHead {
    std::uint64_t flags = 0; // TraceFlags: which blocks and fields are left out
    RecordTime time;
    std::uint32_t processId = 0;
    std::uint32_t threadId = 0;
    std::string_view moduleName; // empty: not shown; cut to 32 characters
    std::int32_t line = 0;
    std::string_view level; // empty: not shown; cut to 16 characters
};

// The longest head: 49 bytes of time with a year of 10 digits, 24 of ids, 32 + 64 + 64 + 16 of fields and
// their signs.
inline constexpr std::size_t kMaximumRecordHead = 320;

// "[2026-03-19 04:11:33.1234567 UTC+01:00] [1234:5678] [ZeltoAuth  1413    info] " with the defaults.
void AppendRecordHead(BoundedText& out, const RecordHead& head) noexcept;

// Seconds since 1970 and the 100 ns units beyond of a FILETIME (100 ns units since 1601, UTC).
struct SplitTime {
    std::int64_t seconds;
    std::uint32_t fraction;
};
SplitTime SplitFileTime(std::uint64_t fileTime) noexcept;

} // namespace zelto
