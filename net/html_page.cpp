#include "net/html_page.h"

namespace zelto {
namespace {

// RT_HTML, spelt for the wide function.
const wchar_t* HtmlType() noexcept {
    return MAKEINTRESOURCEW(23);
}

} // namespace

BOOL LoadHtmlPage(HMODULE module, std::uint32_t id, std::string& page) {
    page.clear();
    if (module == nullptr) { // to FindResourceW that would be the host's executable
        return FALSE;
    }
    const HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(id), HtmlType());
    if (found == nullptr) {
        return FALSE;
    }
    const HGLOBAL loaded = LoadResource(module, found);
    const void* bytes = loaded == nullptr ? nullptr : LockResource(loaded);
    if (bytes == nullptr) {
        return FALSE;
    }
    page.assign(static_cast<const char*>(bytes), SizeofResource(module, found));
    return TRUE;
}

} // namespace zelto
