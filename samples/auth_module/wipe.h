#pragma once

#include <string>
#include <windows.h>

namespace authmodule {

template <class Character>
void Wipe(std::basic_string<Character>& text) noexcept {
    SecureZeroMemory(text.data(), text.capacity() * sizeof(Character));
}

// Overwrites the text with zeros at the end of its own scope.
template <class Character>
class WipeAtEnd {
public:
    explicit WipeAtEnd(std::basic_string<Character>& text) noexcept : text_(text) {}
    WipeAtEnd(const WipeAtEnd&) = delete;
    WipeAtEnd& operator=(const WipeAtEnd&) = delete;
    ~WipeAtEnd() { Wipe(text_); }

private:
    std::basic_string<Character>& text_;
};

} // namespace authmodule
