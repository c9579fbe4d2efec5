#include "auth/module_folder.h"

namespace zelto {

std::wstring FolderOfFile(std::wstring_view path) {
    const std::size_t backslash = path.find_last_of(L'\\');
    return backslash == std::wstring_view::npos ? std::wstring(L".\\")
                                                : std::wstring(path.substr(0, backslash + 1));
}

} // namespace zelto
