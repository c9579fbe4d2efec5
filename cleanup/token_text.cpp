#include "cleanup/token_text.h"

#include "auth/bounded_copy.h"

#include <algorithm>

namespace zelto {

std::optional<std::string_view> FindToken(std::string_view output) noexcept {
    const std::size_t separator = output.find('|');
    if (separator == std::string_view::npos) {
        return std::nullopt;
    }
    return output.substr(separator + 1);
}

void CopyToken(char* buffer, std::size_t size, std::string_view token) noexcept {
    const std::size_t end = std::min(token.find('\0'), token.size());
    const std::string_view text(token.data(), end);
    CopyTruncating(buffer, size, FitsBuffer(size, text) ? text : std::string_view());
}

} // namespace zelto
