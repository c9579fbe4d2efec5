#include "extbrowser/ssl_start_url.h"

namespace zelto {

std::wstring BuildSslStartUrl(std::wstring_view szPureUrl, std::uint32_t dwRemotePort,
                              std::wstring_view szRealm) {
    std::wstring url = L"https://";
    url += szPureUrl;
    if (dwRemotePort != 0) {
        url += L":";
        url += std::to_wstring(dwRemotePort);
    }
    url += L"/remote/saml/start?redirect=1";
    if (!szRealm.empty()) {
        url += L"&realm=";
        url += szRealm;
    }
    return url;
}

} // namespace zelto
