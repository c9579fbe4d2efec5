#pragma once

#include <string>

namespace zelto {

// UTF-8 to UTF-16, up to the first zero character. Bytes that are no UTF-8 become U+FFFD
// (MultiByteToWideChar without MB_ERR_INVALID_CHARS). Empty when the text cannot be converted or there is no
// memory for the result.
std::wstring Utf8ToWide(const std::string& text) noexcept;

} // namespace zelto
