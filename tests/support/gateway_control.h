#pragma once

#include <cstdint>
#include <string>

namespace zelto::test {

// The simulated gateway that runs beside the test program (see with_gateway.py). Every function throws
// std::runtime_error when no gateway is there.

// The port of its TLS side, and of its control side.
std::uint16_t GatewayPort();
std::uint16_t GatewayControlPort();

// "https://127.0.0.1:<port>" as a wide string, for the exports.
std::wstring GatewayAddress();

// Merges a JSON object into the gateway's settings, for example {"fault":"no_sso_port"}.
void SetGateway(const std::string& json);

// Back to the defaults, and the request log emptied.
void ResetGateway();

// The requests so far, a JSON object a line.
std::string GatewayLog();

// The ids that the gateway has issued, as it answers "GET /ids".
std::string GatewayIds();

} // namespace zelto::test
