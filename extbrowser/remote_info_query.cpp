#include "extbrowser/remote_info_query.h"

#include "net/http_client.h"
#include "trace/trace.h"

namespace zelto {

std::uint32_t GetRemoteInfo(std::string& answer, const std::wstring& szPureUrl, std::uint32_t dwRemotePort) {
    const std::uint32_t result =
        GetHttpResponse(answer, szPureUrl, L"/remote/info", dwRemotePort, HttpVerb::Get, L"", "");
    if (result != 0) {
        TRACE_ERROR("%s() GetHttpResponse() failed (%lu)", "GetRemoteInfo", result);
    }
    return result;
}

} // namespace zelto
