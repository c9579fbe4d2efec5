#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zelto {

// Splits the gateway as the client shows it to the user, "[scheme://]host[:port][/realm]", and cannot fail:
// malformed text gives empty or partial parts.
//
//   szPureUrl     the host alone: from behind "://" up to the first ":", or to the first "/" when there is
//                 no ":". The first ":" counts wherever it stands, also behind the "/": L"gw/abc:1" has the
//                 host L"gw/abc", the port 1 and the realm L"abc:1".
//   szRealm       everything behind the first "/"; left as it was when there is none.
//   dwRemotePort  the number behind the ":", up to the "/" that follows it (0 when none begins there); left
//                 as it was when there is no ":". Callers begin with 0, which means that no port was named.
void ParseRemoteGateway(std::wstring_view gateway, std::wstring& szPureUrl, std::wstring& szRealm,
                        std::uint32_t& dwRemotePort);

// What every address at the gateway begins with: "https://host[:port]". A port of 0 is left out.
std::wstring GatewayOrigin(std::wstring_view szPureUrl, std::uint32_t dwRemotePort);

} // namespace zelto
