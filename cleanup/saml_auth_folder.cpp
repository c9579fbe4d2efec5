#include "cleanup/saml_auth_folder.h"

#include <algorithm>

namespace zelto {
namespace {

constexpr std::wstring_view kUsersTail = L"\\ZeltoClient\\SamlAuth\\";
constexpr std::wstring_view kServicesTail = L"\\SamlAuth\\";

bool Join(FolderPath& path, std::wstring_view base, std::wstring_view tail) noexcept {
    if (base.size() + tail.size() >= kFolderPathSize) {
        return false;
    }
    wchar_t* const end = std::copy(tail.begin(), tail.end(), std::copy(base.begin(), base.end(), path.text));
    std::fill(end, path.text + kFolderPathSize + 1, L'\0');
    return true;
}

// Of a drive ("C:\...", "C:" alone, since a backslash follows) or of a server ("\\...").
bool IsFullPath(std::wstring_view path) noexcept {
    return path.starts_with(L"\\\\") ||
           (path.size() >= 2 && path[1] == L':' && (path.size() == 2 || path[2] == L'\\' || path[2] == L'/'));
}

} // namespace

bool SetToUsersFolder(FolderPath& path, std::wstring_view localAppData) noexcept {
    return IsFullPath(localAppData) && Join(path, localAppData, kUsersTail);
}

bool SetToServicesFolder(FolderPath& path, std::wstring_view executable) noexcept {
    const std::size_t backslash = executable.rfind(L'\\');
    return backslash != std::wstring_view::npos && Join(path, executable.substr(0, backslash), kServicesTail);
}

} // namespace zelto
