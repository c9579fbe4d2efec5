#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zelto {

// The page of the gateway at which an SSL-VPN sign-in starts:
// "https://host[:port]/remote/saml/start?redirect=1[&realm=realm]". A port of 0 and an empty realm are left
// out; the realm is not encoded.
std::wstring BuildSslStartUrl(std::wstring_view szPureUrl, std::uint32_t dwRemotePort,
                              std::wstring_view szRealm);

} // namespace zelto
