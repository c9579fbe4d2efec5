#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zelto {

// The installation folder, with the backslash at its end, by the path of a component in it. None when the
// path has no folder or the folder is longer than 260 characters.
std::optional<std::wstring_view> InstallationFolder(std::wstring_view path) noexcept;

// The command line of the token program in `folder`, which ends in a backslash. Nothing is quoted: the token
// program takes its arguments as they stand, and the client's installation folder is one that Windows finds
// unquoted.
std::wstring BuildTokenCommandLine(std::wstring_view folder, std::wstring_view clientId,
                                   std::wstring_view tenantName);

} // namespace zelto
