#pragma once

#include "auth/secret.h"

#include <string>

namespace zelto {

// Wipes a string's storage at the end of its own scope: of one that carries a secret only for a while, and that is
// assigned once (storage that a growing string has left behind is not seen).
class WipeGuard {
public:
    explicit WipeGuard(std::string& text) noexcept : text_(text) {}
    WipeGuard(const WipeGuard&) = delete;
    WipeGuard& operator=(const WipeGuard&) = delete;
    ~WipeGuard() { Wipe(text_.data(), text_.capacity()); }

private:
    std::string& text_;
};

} // namespace zelto
