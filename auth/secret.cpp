#include "auth/secret.h"

#include <cstring>

namespace zelto {
namespace {

// Called through a volatile pointer: the compiler cannot know that this is memset, nor leave the call out.
void* (*const volatile overwrite)(void*, int, std::size_t) = std::memset;

} // namespace

void Wipe(void* bytes, std::size_t size) noexcept {
    if (size != 0) {
        overwrite(bytes, 0, size);
    }
}

SecretText::SecretText(std::string_view text) {
    if (!text.empty()) {
        characters_.reserve(text.size() + 1);
        characters_.assign(text.begin(), text.end());
        characters_.push_back('\0');
    }
}

std::string_view SecretText::View() const noexcept {
    return characters_.empty() ? std::string_view()
                               : std::string_view(characters_.data(), characters_.size() - 1);
}

const char* SecretText::CString() const noexcept {
    return characters_.empty() ? "" : characters_.data();
}

} // namespace zelto
