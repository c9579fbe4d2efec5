#pragma once

#include "trace/bounded_text.h"

#include <cstdarg>
#include <cstddef>

namespace zelto {

// Size of a message's area in bytes, a terminating zero included: the longest message has one character less.
inline constexpr std::size_t kMessageArea = 16384;

// Appends the message that `format` and `arguments` give. The library's own printf-like formatter; the CRT's
// is not used, and only a wide string of more than 4,095 bytes of UTF-8 touches the heap. Conversions:
//
//   %d %i    signed decimal          %x %X    0x and lowercase / uppercase hex digits
//   %u       unsigned decimal        %p       0x and 16 uppercase digits, of 64 bits; any width is ignored
//   %s       narrow string           %S %ws   wide string, as UTF-8
//   %c       one character           %%       a percent sign
//
// Between '%' and the conversion, in this order: one '0' or ' ' (numbers are filled with zeros, or with
// blanks as without it); a decimal width, or '*' (taken from an int argument), or '-' and digits (a width
// that numbers fill with blanks on the right, also behind a '0'); 'l' (no effect) or 'll' (numbers read 64
// bits instead of 32). A '*' argument below 0 counts like '-' and its digits. The width of %x and %X counts
// the digits only; its blanks stand before the 0x. Strings and characters are always filled with blanks on
// the left.
//
// A null string prints nothing at all, whatever its width; so does a wide string that needs heap memory when
// there is none. Any other character behind '%' prints nothing and takes no argument; what follows it is
// literal text.
//
// A message longer than kMessageArea - 1 is cut to that length; its last three characters are then "...".
void AppendMessage(BoundedText& out, const char* format, std::va_list arguments) noexcept;

} // namespace zelto
