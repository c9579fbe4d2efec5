#include "cleanup/delete_saml_auth_folder.h"

#include "cleanup/saml_auth_folder.h"

#include <windows.h>

#include <shellapi.h>

namespace zelto {
namespace {

constexpr int kMostAttempts = 15;
constexpr DWORD kPauseMs = 1000;

// No recycle bin, no window, no question.
constexpr FILEOP_FLAGS kFlags = FOF_SILENT | FOF_NOCONFIRMATION | FOF_NOCONFIRMMKDIR | FOF_NOERRORUI;
static_assert(kFlags == 0x614);

bool RunsInSessionZero() noexcept {
    DWORD session = 0;
    return ProcessIdToSessionId(GetCurrentProcessId(), &session) && session == 0;
}

bool FindUsersFolder(FolderPath& path) noexcept {
    wchar_t localAppData[kFolderPathSize] = {};
    const DWORD size = ExpandEnvironmentStringsW(L"%localappdata%", localAppData, kFolderPathSize);
    return size != 0 && size <= kFolderPathSize && SetToUsersFolder(path, localAppData);
}

bool FindServicesFolder(FolderPath& path) noexcept {
    wchar_t executable[kFolderPathSize] = {};
    const DWORD length = GetModuleFileNameW(nullptr, executable, kFolderPathSize);
    return length < kFolderPathSize && SetToServicesFolder(path, executable); // cut when it fills the buffer
}

void DeleteFolder(const FolderPath& path) noexcept {
    SHFILEOPSTRUCTW operation = {};
    operation.wFunc = FO_DELETE;
    operation.pFrom = path.text;
    operation.fFlags = kFlags;
    SHFileOperationW(&operation); // whether it has helped is seen by what is there afterwards
}

} // namespace

void DeleteSamlAuthFolder() noexcept {
    FolderPath path;
    if (!(RunsInSessionZero() ? FindServicesFolder(path) : FindUsersFolder(path))) {
        return;
    }
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        DeleteFolder(path);
        // INVALID_FILE_ATTRIBUTES, the answer when nothing is there, has this bit, too.
        if ((GetFileAttributesW(path.text) & FILE_ATTRIBUTE_DIRECTORY) == 0) {
            return;
        }
        Sleep(kPauseMs);
    }
}

} // namespace zelto
