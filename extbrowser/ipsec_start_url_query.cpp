#include "extbrowser/ipsec_start_url_query.h"

#include "auth/wipe_guard.h"
#include "extbrowser/ipsec_login.h"
#include "extbrowser/utf8_to_wide.h"
#include "net/http_client.h"
#include "trace/trace.h"

namespace zelto {

bool QueryIpsecExtBrowserSamlStartUrl(std::wstring& startUrl, const std::wstring& host, std::uint32_t port,
                                      const std::string& body) {
    std::string answer;
    const WipeGuard answerWiped(answer);
    if (GetHttpResponse(answer, host, L"/saml_login?", port, HttpVerb::Post,
                        L"Content-Type: application/x-www-form-urlencoded\r\n", body) != 0) {
        return false;
    }
    const auto url = FindIpsecStartUrl(answer);
    if (!url) {
        TRACE_ERROR("%s() could not extract the start url in response.(%s)",
                    "QueryIpsecExtBrowserSamlStartUrl", answer.c_str());
        return false;
    }
    std::string address(*url);
    const WipeGuard addressWiped(address);
    MoveSecret(startUrl, Utf8ToWide(address));
    return !startUrl.empty();
}

} // namespace zelto
