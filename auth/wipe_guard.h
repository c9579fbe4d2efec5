#pragma once

#include "auth/secret.h"

#include <string>
#include <utility>

namespace zelto {

// Wipes a narrow or wide string's storage at the end of its own scope: of one that carries a secret only for
// a while, and that is assigned once (storage that a growing string has left behind is not seen).
template <class Char>
class WipeGuard {
public:
    explicit WipeGuard(std::basic_string<Char>& text) noexcept : text_(text) {}
    WipeGuard(const WipeGuard&) = delete;
    WipeGuard& operator=(const WipeGuard&) = delete;
    ~WipeGuard() { Wipe(text_.data(), text_.capacity() * sizeof(Char)); }

private:
    std::basic_string<Char>& text_;
};

// Moves a secret. A short one lies inside the string itself, where a plain move leaves a copy of it behind.
template <class Char>
void MoveSecret(std::basic_string<Char>& to, std::basic_string<Char> from) noexcept {
    const WipeGuard<Char> wiped(from);
    to = std::move(from);
}

} // namespace zelto
