#pragma once

#include <cstdint>
#include <string>

namespace zelto {

// Posts `body` to the gateway's "/saml_login?" and takes the page at which the sign-in starts out of its
// answer. False when the request failed, the answer names no page, or an empty one; the first two are logged
// here. Blocks as GetHttpResponse does; a port of 0 is the default one.
bool QueryIpsecExtBrowserSamlStartUrl(std::wstring& startUrl, const std::wstring& host, std::uint32_t port,
                                      const std::string& body);

} // namespace zelto
