#include "extbrowser/utf8_to_wide.h"

#include <exception>
#include <windows.h>

namespace zelto {
namespace {

constexpr int kUpToTerminator = -1;

} // namespace

std::wstring Utf8ToWide(const std::string& text) noexcept {
    const int needed = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), kUpToTerminator, nullptr, 0);
    if (needed < 1) {
        return {};
    }
    try {
        std::wstring wide(static_cast<std::size_t>(needed), L'\0');
        MultiByteToWideChar(CP_UTF8, 0, text.c_str(), kUpToTerminator, wide.data(), needed);
        wide.resize(wide.find(L'\0')); // present also when the second call failed: all is zero then
        return wide;
    } catch (const std::exception&) {
        return {};
    }
}

} // namespace zelto
