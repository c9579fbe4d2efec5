#include "auth/bounded_copy.h"

#include <algorithm>
#include <cstring>

namespace zelto {
namespace {

template <class Char>
void Copy(Char* buffer, std::size_t size, std::basic_string_view<Char> text) noexcept {
    if (buffer == nullptr || size == 0) {
        return;
    }
    const std::size_t length = std::min(text.size(), size - 1);
    if (length != 0) {
        std::memcpy(buffer, text.data(), length * sizeof(Char));
    }
    buffer[length] = Char();
}

} // namespace

void CopyTruncating(char* buffer, std::size_t size, std::string_view text) noexcept {
    Copy(buffer, size, text);
}

void CopyTruncating(wchar_t* buffer, std::size_t size, std::wstring_view text) noexcept {
    Copy(buffer, size, text);
}

} // namespace zelto
