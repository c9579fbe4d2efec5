#pragma once

#include <string>
#include <string_view>

namespace zelto {

// The folder of a file: its path cut just behind the last backslash, or ".\" when it has none.
std::wstring FolderOfFile(std::wstring_view path);

// The folder of the library's own file (not of the host program), ending in a backslash; ".\" when the
// system does not tell the file's path. Throws std::bad_alloc.
std::wstring ModuleFolder();

} // namespace zelto
