#pragma once

#include <string>
#include <string_view>

namespace authmodule {

// The answer's narrow text is UTF-8. Unpaired surrogates become U+FFFD.
std::string ToUtf8(std::wstring_view text);

// Invalid bytes become U+FFFD.
std::wstring FromUtf8(std::string_view text);

} // namespace authmodule
