#include "auth/bounded_copy.h"
#include "auth/result_codes.h"
#include "auth/two_factor_prompt.h"
#include "auth/two_factor_worker.h"
#include "zelto_auth.h"

#include <new>

namespace zelto {
namespace {

std::uint32_t SignInNow(const char* description, char* buffer, std::uint64_t size,
                        std::uint32_t timeoutMs) noexcept {
    SecretText answer;
    const std::uint32_t result = AskForToken(answer, description, timeoutMs);
    if (result == AUTH_S_OK) {
        CopyTruncating(buffer, static_cast<std::size_t>(size), answer.View());
    }
    return result;
}

std::uint32_t SignInOnWorker(const char* description, std::uint32_t timeoutMs, TwoFactorCallback callback,
                             void* context) noexcept {
    try {
        return StartTwoFactorWorker({timeoutMs, description, callback, context});
    } catch (const std::bad_alloc&) {
        return AUTH_E_FAILED;
    }
}

} // namespace
} // namespace zelto

uint32_t TwoFactorAuthGetResponse(const char* description, char* answer, uint64_t answerSize,
                                  uint32_t timeoutMs, TwoFactorCallback callback, void* context) {
    const char* const text = description == nullptr ? "" : description;
    return callback == nullptr ? zelto::SignInNow(text, answer, answerSize, timeoutMs)
                               : zelto::SignInOnWorker(text, timeoutMs, callback, context);
}
