#pragma once

#include <cstdint>

namespace zelto {

// What is known of one of two rotation files; all 0 when it does not exist.
struct FileFacts {
    std::int64_t modified = 0; // FILETIME of the last write, as a signed number
    std::uint64_t size = 0;    // in bytes
};

// Which of two rotation files the log goes on with, and whether it starts anew.
enum class FileChoice {
    TakeFirst,             // goes on at the end of the first
    TakeSecond,            // goes on at the end of the second
    DeleteFirstTakeFirst,  // the second is full: the first starts empty
    DeleteSecondTakeSecond // the first is full: the second starts empty
};

// The younger file goes on while it is below the limit; the first one counts as the younger when both are of
// an age. Limit (limitMiB × 2^20) and sizes are compared as signed 32-bit values: at 2,048 MiB the limit is
// below every size, and from 4,096 MiB on only its low 12 bits count. That width is part of the format.
FileChoice ChooseFile(const FileFacts& first, const FileFacts& second, std::uint64_t limitMiB) noexcept;

} // namespace zelto
