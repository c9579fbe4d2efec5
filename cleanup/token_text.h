#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace zelto {

// The token in the token program's output: everything behind the first "|", which may be nothing. None when
// there is no "|". A part of `output`.
std::optional<std::string_view> FindToken(std::string_view output) noexcept;

// Copies the token into the caller's buffer of `size` characters, up to its first zero byte, and terminates
// it. A token that does not fit leaves the empty string. A buffer of size 0 is left alone.
void CopyToken(char* buffer, std::size_t size, std::string_view token) noexcept;

} // namespace zelto
