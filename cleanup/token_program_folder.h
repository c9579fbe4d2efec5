#pragma once

#include <optional>
#include <string>

namespace zelto {

// The client's installation folder, with the backslash at its end, as Windows Installer knows it: that of the
// first of the client's products (cleanup/installer_codes.h) whose component is on this machine. None when
// there is no such product. Throws std::bad_alloc.
std::optional<std::wstring> FindTokenProgramFolder();

} // namespace zelto
