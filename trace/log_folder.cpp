#include "trace/log_folder.h"

#include <cstring>
#include <windows.h>
#include <winsock2.h>

#include <shlobj.h>

namespace zelto {
namespace {

constexpr char kLocalAppData[] = "%localappdata%";
constexpr char kProductFolder[] = "\\ZeltoClient\\";
constexpr char kTraceFolder[] = "logs\\trace\\";

bool SetToLocalAppData(FileName& folder) noexcept {
    char path[MAX_PATH];
    if (SHGetFolderPathA(nullptr, CSIDL_LOCAL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, path) != S_OK) {
        return false;
    }
    folder.Set(path, kProductFolder, kTraceFolder);
    return true;
}

void SetBesideHost(FileName& folder) noexcept {
    const FileName host = HostExecutablePath();
    const std::string_view path = host.View();
    folder.Set(path.substr(0, path.rfind('\\') + 1), kTraceFolder);
}

} // namespace

FileName ChooseLogFolder(const char* folderBase) noexcept {
    FileName folder;
    if (folderBase != nullptr && _stricmp(folderBase, kLocalAppData) == 0) {
        if (SetToLocalAppData(folder)) {
            return folder;
        }
        folderBase = nullptr;
    }
    if (folderBase == nullptr || folderBase[0] == '\0') {
        SetBesideHost(folder);
    } else {
        folder.Set(folderBase);
    }
    return folder;
}

FileName HostExecutablePath() noexcept {
    FileName path;
    GetModuleFileNameA(nullptr, path.text, sizeof(path.text)); // terminates a path that it cuts
    return path;
}

} // namespace zelto
