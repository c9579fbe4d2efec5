#pragma once

#include "auth/secret.h"

#include <mutex>
#include <string>
#include <string_view>

namespace zelto {

// The browser's raw request: at most 1024 bytes, up to the first zero byte; empty while there is none.
//
// Shared (std::shared_ptr) by the flow, the listener and the listener's readers, because each of them may
// outlive the others: a reader whose browser is slow stores its text after everybody else has gone, and
// nobody is harmed. It carries the credential that the gateway has given the browser: wiped at its end.
struct CallbackRequest {
    std::mutex lock; // protects the others
    std::string text;
    bool abandoned = false; // the flow has gone: nobody will ask for the text

    CallbackRequest() = default;
    CallbackRequest(const CallbackRequest&) = delete;
    CallbackRequest& operator=(const CallbackRequest&) = delete;
    ~CallbackRequest() { Wipe(text.data(), text.capacity()); }
};

// A copy of the request text as it stands now, which the caller wipes; to be asked when the listener reported
// HttpUtilsError::Success.
std::string RequestText(CallbackRequest& request);

// True while there is no request text.
bool HasNoRequestText(CallbackRequest& request);

// Replaces the request text; the one that stood there is wiped. Throws std::bad_alloc.
void StoreRequestText(CallbackRequest& request, std::string_view text);

// True when the flow that wanted the request has gone.
bool IsAbandoned(CallbackRequest& request);

// Abandons the request at the end of its scope, in the flow that wanted it. A listener that still waits then
// ends, within half a second, also when it has missed the exit event that was signalled only for a moment.
class AbandonGuard {
public:
    explicit AbandonGuard(CallbackRequest& request) noexcept : request_(request) {}
    AbandonGuard(const AbandonGuard&) = delete;
    AbandonGuard& operator=(const AbandonGuard&) = delete;
    ~AbandonGuard();

private:
    CallbackRequest& request_; // outlives the guard
};

} // namespace zelto
