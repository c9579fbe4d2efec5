#include "auth/module_folder.h"

#include "auth/module.h"

#include <windows.h>

namespace zelto {

std::wstring ModuleFolder() {
    wchar_t path[MAX_PATH] = {};
    const DWORD length = GetModuleFileNameW(LibraryModule(), path, MAX_PATH);
    return FolderOfFile({path, length});
}

} // namespace zelto
