#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zelto {

// What is said to the gateway, and by it, when an IPsec sign-in begins.

// The body of the request: "UID=<user id>&REDIRECT_PORT=<port>" in UTF-8. The user id is not encoded.
std::string BuildIpsecLoginBody(std::wstring_view userId, std::uint32_t port);

// The page at which the sign-in starts, out of the gateway's answer: the text between window.location=" and
// the next double quote, as it stands there. Nothing when either is missing; may be empty.
std::optional<std::string_view> FindIpsecStartUrl(std::string_view answer);

} // namespace zelto
