#pragma once

#include <cstdint>
#include <string>

namespace zelto {

// Asks the gateway for "/remote/info". `answer` receives the beginning of the answer's text (see
// GetHttpResponse). Returns 0, or the Win32 or WinHTTP error, which is logged here. Blocks as GetHttpResponse
// does; a port of 0 is the default one.
std::uint32_t GetRemoteInfo(std::string& answer, const std::wstring& szPureUrl, std::uint32_t dwRemotePort);

} // namespace zelto
