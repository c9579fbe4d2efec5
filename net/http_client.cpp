#include "net/http_client.h"

#include "net/received_text.h"
#include "trace/trace.h"

#include <memory>
#include <windows.h>
#include <winhttp.h>

namespace zelto {
namespace {

constexpr char kTag[] = "GetHttpResponse";
constexpr wchar_t kUserAgent[] = L"ZeltoClient Windows";
constexpr int kTimeoutMs = 10000; // each: resolve, connect, send, receive

// The gateway's certificate is often self-signed and is pinned by nobody: the sign-in itself proves the
// gateway.
constexpr DWORD kSecurityFlags = SECURITY_FLAG_IGNORE_UNKNOWN_CA | SECURITY_FLAG_IGNORE_CERT_WRONG_USAGE |
                                 SECURITY_FLAG_IGNORE_CERT_CN_INVALID |
                                 SECURITY_FLAG_IGNORE_CERT_DATE_INVALID;
static_assert(kSecurityFlags == 0x3300);

struct WinHttpCloser {
    using pointer = HINTERNET;
    void operator()(HINTERNET handle) const noexcept { WinHttpCloseHandle(handle); }
};
using WinHttpHandle = std::unique_ptr<void, WinHttpCloser>;

BOOL Send(HINTERNET request, const std::string& body) {
    void* data = body.empty() ? WINHTTP_NO_REQUEST_DATA : const_cast<char*>(body.data());
    const DWORD length = static_cast<DWORD>(body.size());
    return WinHttpSendRequest(request, WINHTTP_NO_ADDITIONAL_HEADERS, 0, data, length, length, 0);
}

// Sends the request, and once more without a client certificate when the gateway asks for one. False, with
// the error, when no answer can follow. A second failure is only logged: what the gateway then says, it says
// in an answer.
bool SendWithRetry(HINTERNET request, const std::string& body, DWORD& error) {
    if (Send(request, body)) {
        return true;
    }
    error = GetLastError();
    if (error != ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED) {
        TRACE_ERROR("%s() WinHttpSendRequest failed.", kTag);
        return false;
    }
    WinHttpSetOption(request, WINHTTP_OPTION_CLIENT_CERT_CONTEXT, WINHTTP_NO_CLIENT_CERT_CONTEXT, 0);
    if (!Send(request, body)) {
        TRACE_ERROR("%s() WinHttpSendRequest failed.", kTag);
    }
    return true;
}

// Waits for the answer and makes the one read. Returns the last error as this and the logging left it.
DWORD ReceiveAnswer(HINTERNET request, std::string& response) {
    if (!WinHttpReceiveResponse(request, nullptr)) {
        const DWORD error = GetLastError();
        TRACE_ERROR("%s() WinHttpReceiveResponse failed.", kTag);
        return error;
    }
    ReceivedBytes buffer;
    DWORD read = 0;
    SetLastError(ERROR_SUCCESS); // what an earlier step left behind is no failure of this answer
    WinHttpReadData(request, buffer.bytes, sizeof(buffer.bytes), &read);
    const DWORD error = GetLastError();
    response = TextBeforeZero(std::string_view(buffer.bytes, sizeof(buffer.bytes)));
    TRACE_INFO("%s() response=%s", kTag, response.c_str());
    return error;
}

// One request over an open connection. The request's handle is closed on return.
DWORD Exchange(HINTERNET connection, std::string& response, const std::wstring& path, HttpVerb verb,
               const std::wstring& headers, const std::string& body) {
    const WinHttpHandle request(WinHttpOpenRequest(connection, VerbText(verb), path.c_str(), nullptr,
                                                   WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES,
                                                   WINHTTP_FLAG_SECURE));
    if (!request) {
        const DWORD error = GetLastError();
        TRACE_ERROR("%s() WinHttpOpenRequest failed.", kTag);
        return error;
    }
    DWORD flags = kSecurityFlags;
    WinHttpSetOption(request.get(), WINHTTP_OPTION_SECURITY_FLAGS, &flags, sizeof(flags));
    if (!headers.empty() &&
        !WinHttpAddRequestHeaders(request.get(), headers.c_str(), static_cast<DWORD>(-1), 0)) {
        const DWORD error = GetLastError();
        TRACE_ERROR("%s() Could not add headers to req.", kTag);
        return error;
    }
    DWORD error = ERROR_SUCCESS;
    return SendWithRetry(request.get(), body, error) ? ReceiveAnswer(request.get(), response) : error;
}

} // namespace

std::uint32_t GetHttpResponse(std::string& response, const std::wstring& host, const std::wstring& path,
                              const std::uint32_t& port, const HttpVerb& verb, const std::wstring& headers,
                              const std::string& body) {
    response.clear();
    const WinHttpHandle session(WinHttpOpen(kUserAgent, WINHTTP_ACCESS_TYPE_DEFAULT_PROXY,
                                            WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0));
    if (!session) {
        const DWORD error = GetLastError();
        TRACE_ERROR("%s() WinHttpOpen() failed.", kTag);
        return error;
    }
    if (!WinHttpSetTimeouts(session.get(), kTimeoutMs, kTimeoutMs, kTimeoutMs, kTimeoutMs)) {
        TRACE_ERROR("%s() Could not set timeout value for http.", kTag);
    }
    // Declared behind the session, as the request is behind both: closed in the order request, connection,
    // session.
    const WinHttpHandle connection(
        WinHttpConnect(session.get(), host.c_str(), static_cast<INTERNET_PORT>(port), 0));
    if (!connection) {
        const DWORD error = GetLastError();
        TRACE_ERROR("%s() WinHttpConnect failed.", kTag);
        return error;
    }
    return Exchange(connection.get(), response, path, verb, headers, body);
}

} // namespace zelto
