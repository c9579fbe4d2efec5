#include "extbrowser/ssl_start_url.h"

#include "extbrowser/gateway_address.h"

namespace zelto {

std::wstring BuildSslStartUrl(std::wstring_view szPureUrl, std::uint32_t dwRemotePort,
                              std::wstring_view szRealm) {
    std::wstring url = GatewayOrigin(szPureUrl, dwRemotePort);
    url += L"/remote/saml/start?redirect=1";
    if (!szRealm.empty()) {
        url += L"&realm=";
        url += szRealm;
    }
    return url;
}

} // namespace zelto
