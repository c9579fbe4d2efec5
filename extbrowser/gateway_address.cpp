#include "extbrowser/gateway_address.h"

#include "extbrowser/stream_number.h"

namespace zelto {
namespace {

constexpr std::size_t kNone = std::wstring_view::npos;
constexpr std::wstring_view kSchemeEnd = L"://";

// Up to the slash, or to the end when the slash stands before the colon.
std::wstring_view PortText(std::wstring_view address, std::size_t colon, std::size_t slash) {
    const std::size_t start = colon + 1;
    const bool slashFollows = slash != kNone && slash > colon;
    return address.substr(start, slashFollows ? slash - start : kNone);
}

} // namespace

void ParseRemoteGateway(std::wstring_view gateway, std::wstring& szPureUrl, std::wstring& szRealm,
                        std::uint32_t& dwRemotePort) {
    const std::size_t scheme = gateway.find(kSchemeEnd);
    const auto address = scheme == kNone ? gateway : gateway.substr(scheme + kSchemeEnd.size());

    const std::size_t slash = address.find(L'/');
    const std::size_t colon = address.find(L':');
    szPureUrl = address.substr(0, colon != kNone ? colon : slash);
    if (slash != kNone) {
        szRealm = address.substr(slash + 1);
    }
    if (colon != kNone) {
        dwRemotePort = ReadStreamNumber(PortText(address, colon, slash));
    }
}

std::wstring GatewayOrigin(std::wstring_view szPureUrl, std::uint32_t dwRemotePort) {
    std::wstring origin = L"https://";
    origin += szPureUrl;
    if (dwRemotePort != 0) {
        origin += L":";
        origin += std::to_wstring(dwRemotePort);
    }
    return origin;
}

} // namespace zelto
