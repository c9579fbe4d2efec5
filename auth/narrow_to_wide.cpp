#include "auth/narrow_to_wide.h"

#include <windows.h>

namespace zelto {
namespace {

constexpr std::size_t kBytesPerCharacter = 4; // at most, in any code page

} // namespace

std::wstring NarrowToWide(std::string_view text, std::size_t limit) {
    text = text.substr(0, limit * kBytesPerCharacter);
    if (text.empty()) {
        return std::wstring();
    }
    std::wstring wide(text.size(), L'\0');
    const int size = static_cast<int>(text.size());
    const int length = MultiByteToWideChar(CP_ACP, 0, text.data(), size, wide.data(), size);
    wide.resize(static_cast<std::size_t>(length));
    return wide;
}

} // namespace zelto
