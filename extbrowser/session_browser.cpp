#include "extbrowser/session_browser.h"

#include "extbrowser/gateway_address.h"

namespace zelto {

std::wstring BuildSessionBrowserUrl(std::wstring_view szPureUrl, std::uint32_t dwRemotePort,
                                    std::wstring_view szRealm, std::uint32_t redirectPort) {
    std::wstring url = GatewayOrigin(szPureUrl, dwRemotePort);
    if (!szRealm.empty()) {
        url += L"/";
        url += szRealm;
    }
    url += L"&redirect=1&redirport=";
    url += std::to_wstring(redirectPort);
    return url;
}

std::wstring BuildSessionBrowserCommand(std::wstring_view url) {
    std::wstring command = L"cmd.exe /c start \"\" \"";
    command += url;
    command += L"\"";
    return command;
}

} // namespace zelto
