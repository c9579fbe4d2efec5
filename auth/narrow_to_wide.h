#pragma once

#include <string>
#include <string_view>

namespace zelto {

// Narrow text in the process's code page as wide text. Bytes that mean nothing there become replacement
// characters. Only as much is read as a text of `limit` wide characters can need. Throws std::bad_alloc.
std::wstring NarrowToWide(std::string_view text, std::size_t limit);

} // namespace zelto
