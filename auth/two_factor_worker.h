#pragma once

#include "zelto_auth.h"

#include <cstdint>
#include <string>

namespace zelto {

// What one asynchronous two-factor sign-in is asked to do.
struct TwoFactorRequest {
    std::uint32_t timeoutMs = 0;
    std::string description;
    TwoFactorCallback callback = nullptr;
    void* context = nullptr;
};

// Starts the one worker thread on `request`; it runs the prompt and reports through the callback. AUTH_E_BUSY
// while an earlier worker has not ended; 0 otherwise, also when no thread could be started (the callback then
// never comes). Any thread may call it.
std::uint32_t StartTwoFactorWorker(TwoFactorRequest request) noexcept;

} // namespace zelto
