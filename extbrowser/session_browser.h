#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zelto {

// The page at which the browser of a sign-in in another session starts:
// "https://host[:port][/realm]&redirect=1&redirport=port". A port of 0 and an empty realm are left out,
// nothing is encoded. The last two parameters always follow an "&": the realm must carry the start page's
// query.
std::wstring BuildSessionBrowserUrl(std::wstring_view szPureUrl, std::uint32_t dwRemotePort,
                                    std::wstring_view szRealm, std::uint32_t redirectPort);

// The command that opens `url` in the default browser of whoever runs it. The empty pair of quotes is the
// window's title, which "start" would otherwise take the address for.
std::wstring BuildSessionBrowserCommand(std::wstring_view url);

} // namespace zelto
