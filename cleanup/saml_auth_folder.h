#pragma once

#include <cstddef>
#include <string_view>

namespace zelto {

// Room for a path of the folder, terminator included, in characters.
inline constexpr std::size_t kFolderPathSize = 260;

// A zero-terminated path. One character more than its room, which stays 0: the shell takes lists of paths,
// and a list ends with a second terminator.
struct FolderPath {
    wchar_t text[kFolderPathSize + 1] = {};
};

// The embedded browser's folder of a user, "…\ZeltoClient\SamlAuth\", below the folder of local application
// data. False, and `path` unchanged, when it does not fit, because a cut path would name somebody else's
// folder; or when `localAppData` is no full path, as when the user has none, because it would name one in the
// host's current folder.
bool SetToUsersFolder(FolderPath& path, std::wstring_view localAppData) noexcept;

// The embedded browser's folder of a service, "…\SamlAuth\", beside its executable. False, and `path`
// unchanged, when it does not fit or `executable` is no full path.
bool SetToServicesFolder(FolderPath& path, std::wstring_view executable) noexcept;

} // namespace zelto
