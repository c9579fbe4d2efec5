#include "net/callback_request.h"

namespace zelto {

std::string RequestText(CallbackRequest& request) {
    const std::lock_guard guard(request.lock);
    return request.text;
}

bool HasNoRequestText(CallbackRequest& request) {
    const std::lock_guard guard(request.lock);
    return request.text.empty();
}

void StoreRequestText(CallbackRequest& request, std::string_view text) {
    const std::lock_guard guard(request.lock);
    Wipe(request.text.data(), request.text.size());
    request.text.clear();
    request.text.append(text);
}

bool IsAbandoned(CallbackRequest& request) {
    const std::lock_guard guard(request.lock);
    return request.abandoned;
}

AbandonGuard::~AbandonGuard() {
    const std::lock_guard guard(request_.lock);
    request_.abandoned = true;
}

} // namespace zelto
