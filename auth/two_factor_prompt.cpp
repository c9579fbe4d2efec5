#include "auth/two_factor_prompt.h"

#include "auth/launcher.h"
#include "auth/narrow_to_wide.h"
#include "auth/prompt_options.h"
#include "auth/result_codes.h"

#include <new>

namespace zelto {

std::uint32_t AskForToken(SecretText& answer, std::string_view description,
                          std::uint32_t timeoutMs) noexcept {
    try {
        const std::wstring options = TwoFactorOptions(NarrowToWide(description, kOptionsSize), timeoutMs);
        return RunZeltoAuthInSession(options, answer, kProviderZeltoAuth);
    } catch (const std::bad_alloc&) {
        return AUTH_E_FAILED;
    }
}

} // namespace zelto
