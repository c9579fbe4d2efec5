#include "net/callback_answer.h"

#include "resources/resource_ids.h"

namespace zelto {

std::uint32_t CallbackPageId(std::uint32_t pageKind) noexcept {
    return pageKind == kPageKindZtna ? ZELTO_PAGE_ZTNA : ZELTO_PAGE_VPN;
}

std::string CallbackAnswer(std::string_view page) {
    std::string answer(kCallbackAnswerHead);
    answer += page;
    return answer;
}

} // namespace zelto
