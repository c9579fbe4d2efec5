#pragma once

#include "auth/secret.h"

#include <cstdint>
#include <string_view>

namespace zelto {

// Asks for a second-factor token through the auth module: `answer` is replaced by it. `description` is narrow
// text in the process's code page. Returns the launcher's result (auth/launcher.h), AUTH_E_FAILED without memory.
std::uint32_t AskForToken(SecretText& answer, std::string_view description, std::uint32_t timeoutMs) noexcept;

} // namespace zelto
