#include "extbrowser/ipsec_login.h"

#include "extbrowser/extract_between.h"
#include "trace/wide_text.h"

namespace zelto {

std::string BuildIpsecLoginBody(std::wstring_view userId, std::uint32_t port) {
    std::string uid(Utf8Length(userId.data(), userId.size()), '\0');
    ConvertToUtf8(userId.data(), userId.size(), uid.data());
    return "UID=" + uid + "&REDIRECT_PORT=" + std::to_string(port);
}

std::optional<std::string_view> FindIpsecStartUrl(std::string_view answer) {
    return FindBetween(answer, "window.location=\"", "\"");
}

} // namespace zelto
