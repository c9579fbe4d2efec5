#pragma once

#include <string>
#include <string_view>

namespace zelto {

// What the browser's last redirect of an IPsec sign-in carries, out of its raw request. Both are UTF-8, empty
// when their marker or what ends them is missing, and for the caller to wipe.

// The text between "tokenid=" and the next "&", as it stands there.
std::string ReadTokenId(std::string_view request);

// The text between "username=" and the next blank, URL-decoded.
std::string ReadUserName(std::string_view request);

} // namespace zelto
