#include "auth/bounded_copy.h"

#include <algorithm>
#include <cstring>

namespace zelto {

void CopyTruncating(char* buffer, std::size_t size, std::string_view text) noexcept {
    if (buffer == nullptr || size == 0) {
        return;
    }
    const std::size_t length = std::min(text.size(), size - 1);
    if (length != 0) {
        std::memcpy(buffer, text.data(), length);
    }
    buffer[length] = '\0';
}

} // namespace zelto
