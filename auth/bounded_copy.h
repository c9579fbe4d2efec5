#pragma once

#include <cstddef>
#include <string_view>

namespace zelto {

// Copies `text` into the caller's buffer of `size` characters, cut to size - 1, and always terminates it. A
// null buffer or a size of 0 is left alone. Unlike the CRT's bounded copies it never calls the
// invalid-parameter handler, which would end the host process.
void CopyTruncating(char* buffer, std::size_t size, std::string_view text) noexcept;
void CopyTruncating(wchar_t* buffer, std::size_t size, std::wstring_view text) noexcept;

// True when `text` and its terminator fit a buffer of `size` characters.
constexpr bool FitsBuffer(std::size_t size, std::string_view text) noexcept {
    return text.size() < size;
}
constexpr bool FitsBuffer(std::size_t size, std::wstring_view text) noexcept {
    return text.size() < size;
}

} // namespace zelto
