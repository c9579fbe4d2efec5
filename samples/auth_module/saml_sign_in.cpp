// clang-format off: in this order, winhttp.h declares what the connection's addresses are.
#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>
#include <winhttp.h>
// clang-format on

#include "saml_sign_in.h"

#include "saml_page.h"
#include "utf8.h"
#include "wipe.h"

#include <memory>

namespace authmodule {
namespace {

constexpr int kTimeoutMs = 10000; // each: resolve, connect, send, receive
constexpr std::size_t kMostAnswerBytes = 1024 * 1024;
constexpr DWORD kIgnoreAll = SECURITY_FLAG_IGNORE_UNKNOWN_CA | SECURITY_FLAG_IGNORE_CERT_WRONG_USAGE |
                             SECURITY_FLAG_IGNORE_CERT_CN_INVALID | SECURITY_FLAG_IGNORE_CERT_DATE_INVALID;

struct InternetCloser {
    using pointer = HINTERNET;
    void operator()(HINTERNET handle) const noexcept { WinHttpCloseHandle(handle); }
};
using Internet = std::unique_ptr<void, InternetCloser>;

struct Address {
    std::wstring host;
    std::wstring path; // with its query
    INTERNET_PORT port = 0;
};

// False when the text is no https address.
bool ReadAddress(const std::wstring& url, Address& address) {
    URL_COMPONENTS parts{};
    parts.dwStructSize = sizeof(parts);
    parts.dwHostNameLength = parts.dwUrlPathLength = parts.dwExtraInfoLength = static_cast<DWORD>(-1);
    if (!WinHttpCrackUrl(url.c_str(), 0, 0, &parts) || parts.nScheme != INTERNET_SCHEME_HTTPS) {
        return false;
    }
    address.host.assign(parts.lpszHostName, parts.dwHostNameLength);
    address.path.assign(parts.lpszUrlPath, parts.dwUrlPathLength);
    address.path.append(parts.lpszExtraInfo, parts.dwExtraInfoLength);
    address.path.resize(std::min(address.path.size(), address.path.find(L'#')));
    address.port = parts.nPort;
    return true;
}

bool Post(HINTERNET request, std::string& body) {
    const auto size = static_cast<DWORD>(body.size());
    return WinHttpSendRequest(request, L"Content-Type: application/x-www-form-urlencoded",
                              static_cast<DWORD>(-1), body.data(), size, size, 0) &&
           WinHttpReceiveResponse(request, nullptr);
}

// Posts, and once more without a client certificate when the server would like one.
bool PostWithRetry(HINTERNET request, std::string& body) {
    if (Post(request, body)) {
        return true;
    }
    return GetLastError() == ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED &&
           WinHttpSetOption(request, WINHTTP_OPTION_CLIENT_CERT_CONTEXT, WINHTTP_NO_CLIENT_CERT_CONTEXT, 0) &&
           Post(request, body);
}

DWORD StatusOf(HINTERNET request) {
    DWORD status = 0;
    DWORD size = sizeof(status);
    WinHttpQueryHeaders(request, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                        WINHTTP_HEADER_NAME_BY_INDEX, &status, &size, WINHTTP_NO_HEADER_INDEX);
    return status;
}

std::string BodyOf(HINTERNET request) {
    std::string body;
    char buffer[8192];
    DWORD read = 0;
    while (body.size() < kMostAnswerBytes && WinHttpReadData(request, buffer, sizeof(buffer), &read) &&
           read > 0) {
        body.append(buffer, read);
    }
    SecureZeroMemory(buffer, sizeof(buffer));
    return body;
}

// The address at the other end of the connection, as text.
std::string ServerIpOf(HINTERNET request) {
    WINHTTP_CONNECTION_INFO info{};
    info.cbSize = sizeof(info);
    DWORD size = sizeof(info);
    if (!WinHttpQueryOption(request, WINHTTP_OPTION_CONNECTION_INFO, &info, &size)) {
        return std::string();
    }
    const auto* const generic = reinterpret_cast<const sockaddr*>(&info.RemoteAddress);
    const void* const address =
        generic->sa_family == AF_INET6
            ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in6*>(generic)->sin6_addr)
            : &reinterpret_cast<const sockaddr_in*>(generic)->sin_addr;
    char text[INET6_ADDRSTRLEN] = "";
    inet_ntop(generic->sa_family, address, text, sizeof(text));
    return text;
}

SamlSignIn Failed(std::wstring sentence) {
    return {{}, {}, std::move(sentence)};
}

SamlSignIn NotReached(const Address& address, DWORD error) {
    if (error == ERROR_WINHTTP_SECURE_FAILURE) {
        return Failed(L"The certificate of " + address.host + L" cannot be trusted.");
    }
    return Failed(address.host + L" cannot be reached (error " + std::to_wstring(error) + L").");
}

SamlSignIn ReadAnswer(HINTERNET request) {
    const DWORD status = StatusOf(request);
    if (status == HTTP_STATUS_DENIED) {
        return Failed(L"The user name or the password is wrong.");
    }
    std::string serverIp = ServerIpOf(request); // while there is a connection: it may end with the body
    std::string page = BodyOf(request);
    const WipeAtEnd wipePage(page);
    std::optional<std::string> response = SamlResponseIn(page);
    if (status != HTTP_STATUS_OK || !response) {
        return Failed(L"The identity provider gave no response (status " + std::to_wstring(status) + L").");
    }
    return {std::move(*response), std::move(serverIp), {}};
}

} // namespace

SamlSignIn SignInAt(const std::wstring& url, bool ignoreCertificate, const std::wstring& userName,
                    const std::wstring& password) {
    Address address;
    if (!ReadAddress(url, address)) {
        return Failed(L"The sign-in's address is no https address.");
    }
    // Each is declared behind what it depends on, and so closed before it.
    const Internet session(WinHttpOpen(L"ZeltoAuth sample auth module", WINHTTP_ACCESS_TYPE_DEFAULT_PROXY,
                                       WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0));
    if (!session) {
        return NotReached(address, GetLastError());
    }
    WinHttpSetTimeouts(session.get(), kTimeoutMs, kTimeoutMs, kTimeoutMs, kTimeoutMs);
    const Internet connection(WinHttpConnect(session.get(), address.host.c_str(), address.port, 0));
    const Internet request(connection ? WinHttpOpenRequest(connection.get(), L"POST", address.path.c_str(),
                                                           nullptr, WINHTTP_NO_REFERER,
                                                           WINHTTP_DEFAULT_ACCEPT_TYPES, WINHTTP_FLAG_SECURE)
                                      : nullptr);
    if (!request) {
        return NotReached(address, GetLastError());
    }
    if (ignoreCertificate) {
        DWORD flags = kIgnoreAll;
        WinHttpSetOption(request.get(), WINHTTP_OPTION_SECURITY_FLAGS, &flags, sizeof(flags));
    }
    std::string narrowPassword = ToUtf8(password);
    const WipeAtEnd wipePassword(narrowPassword);
    std::string body = LoginForm(ToUtf8(userName), narrowPassword);
    const WipeAtEnd wipeBody(body);
    if (!PostWithRetry(request.get(), body)) {
        return NotReached(address, GetLastError());
    }
    return ReadAnswer(request.get());
}

} // namespace authmodule
