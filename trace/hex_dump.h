#pragma once

#include "trace/bounded_text.h"

#include <cstddef>

namespace zelto {

inline constexpr std::size_t kHexDumpStep = 16; // bytes that one line shows
inline constexpr std::size_t kHexDumpLine = 78; // longest line with its end, in characters

// Appends the line that shows the bytes from `offset` on, for example
// "00000010  41 42 0D                                         AB.\r\n"; `offset` is a multiple of 16 below
// `length`. The offset is printed with 8 digits, so from 4 GiB on with its lowest ones.
void AppendHexDumpLine(BoundedText& out, const void* data, std::size_t length, std::size_t offset) noexcept;

} // namespace zelto
