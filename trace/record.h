#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace zelto {

// What stands before the message of a record, behind its time block.
struct RecordHead {
    std::uint64_t flags = 0; // TraceFlags: which blocks and fields are left out
    std::uint32_t processId = 0;
    std::uint32_t threadId = 0;
    std::string_view moduleName; // empty: not shown; cut to 32 characters
    std::int32_t line = 0;
    std::string_view level; // empty: not shown; cut to 16 characters
};

// The longest head: 24 bytes of ids, 32 + 64 + 64 + 16 of fields and their signs.
inline constexpr std::size_t kMaximumRecordHead = 208;

// "[1234:5678] [ZeltoAuth  1413    info] " with the defaults.
// Written to `text`, which has room for the longest one; returns where it ends.
char* PutRecordHead(char* text, const RecordHead& head) noexcept;

} // namespace zelto
