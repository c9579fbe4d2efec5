#pragma once

#include "net/http_verb.h"

#include <cstdint>
#include <string>

namespace zelto {

// Sends one request to the gateway over TLS and reads the beginning of its answer. Blocks for up to four
// time-outs of 10 seconds: resolve, connect, send, receive. Any thread may call it; calls share nothing.
//
//   response  cleared on entry; receives at most the first 1024 bytes of the answer's body, up to the first
//             zero byte. Only one read is made: what it does not deliver is not received.
//   host      name or address, without scheme and port.
//   path      object path with any query, e.g. L"/remote/info".
//   port      TCP port; its low 16 bits count, and 0 stands for 443.
//   headers   extra request headers, each ending in "\r\n"; empty for none.
//   body      request body; empty for none.
//
// Returns 0 when an answer was received, otherwise the Win32 or WinHTTP error (ERROR_WINHTTP_..., 12xxx). The
// HTTP status does not count: an error page is an answer. The server's certificate is deliberately not
// validated, and a server that asks for a client certificate is asked once more without one. A failure is
// logged here.
std::uint32_t GetHttpResponse(std::string& response, const std::wstring& host, const std::wstring& path,
                              const std::uint32_t& port, const HttpVerb& verb, const std::wstring& headers,
                              const std::string& body);

} // namespace zelto
