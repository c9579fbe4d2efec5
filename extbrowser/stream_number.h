#pragma once

#include <cstdint>
#include <string_view>

namespace zelto {

// Reads an unsigned 32-bit decimal number as an input string stream of the classic locale does (num_get,
// [facet.num.get.virtuals]): leading blanks are skipped, a sign is allowed, reading stops at the first
// character that is no digit. No digit at all gives 0, a value too large for 32 bits gives the maximum
// 4294967295, and a negative number that fits wraps around. Only the six ASCII blanks count as blanks, and
// only '0' to '9' as digits.
std::uint32_t ReadStreamNumber(std::string_view text) noexcept;
std::uint32_t ReadStreamNumber(std::wstring_view text) noexcept;

} // namespace zelto
