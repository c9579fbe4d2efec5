#pragma once

#include <cstddef>
#include <string_view>

namespace zelto {

// How many bytes of an answer or a request are taken; the rest is cut off.
inline constexpr std::size_t kMostReceivedBytes = 1024;

// The bytes up to the first zero byte, or all of them when there is none.
std::string_view TextBeforeZero(std::string_view bytes);

} // namespace zelto
