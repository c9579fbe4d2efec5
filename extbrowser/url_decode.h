#pragma once

#include <string>
#include <string_view>

namespace zelto {

// Each "%" with two hexadecimal digits behind it, of either case, becomes the byte that they name; every
// other byte stays as it is: also a "+", a "%" that has no two such digits behind it, and one among the last
// two bytes. What a sequence gives is not decoded once more. The result may hold zero bytes.
std::string UrlDecode(std::string_view text);

} // namespace zelto
