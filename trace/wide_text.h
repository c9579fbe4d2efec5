#pragma once

#include <cstddef>

namespace zelto {

// Number of characters before the terminating zero.
std::size_t WideLength(const wchar_t* text) noexcept;

// Number of bytes that `text` has in UTF-8, without a terminating zero.
std::size_t Utf8Length(const wchar_t* text, std::size_t length) noexcept;

// Writes `text` as UTF-8 to `bytes`, which has room for Utf8Length bytes; no terminating zero. The same bytes
// as WideCharToMultiByte gives for code page 65001 without flags: half of a surrogate pair that stands alone
// becomes U+FFFD. Where wchar_t has 32 bits, a whole code point in one character is taken as such.
void ConvertToUtf8(const wchar_t* text, std::size_t length, char* bytes) noexcept;

} // namespace zelto
