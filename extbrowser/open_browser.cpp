#include "extbrowser/open_browser.h"

#include "trace/trace.h"

#include <windows.h>

#include <shellapi.h>

namespace zelto {

void OpenBrowser(const std::wstring& url) {
    TRACE_INFO("Browser opens url %ws", url.c_str());
    ShellExecuteW(nullptr, L"open", url.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
}

} // namespace zelto
