#pragma once

#include <cstdint>

// The library's 32-bit results. They are part of the contract with the callers by value; any other value that
// an auth-module sign-in returns is the module's own exit code, and the external-browser flows also return
// the plain 1.

namespace zelto {

inline constexpr std::uint32_t AUTH_S_OK = 0x00000000;            // success
inline constexpr std::uint32_t AUTH_E_FAILED = 0xA7000000;        // general failure of a flow
inline constexpr std::uint32_t AUTH_E_LAUNCH_FAILED = 0xA7000001; // the auth module could not be started
inline constexpr std::uint32_t AUTH_E_INVALID_PARAMETER =
    0xA7000002;                                                   // an argument is missing or inconsistent
inline constexpr std::uint32_t AUTH_E_TIMEOUT = 0xA7000003;       // the browser did not come back in time
inline constexpr std::uint32_t AUTH_E_SHARED_MEMORY = 0xA7000004; // no memory block for the answer
inline constexpr std::uint32_t AUTH_E_BUSY = 0xA7000005;          // a sign-in of the same kind is running
inline constexpr std::uint32_t AUTH_E_CANCELLED = 0xA7000007; // cancelled by the caller, or the wait failed
inline constexpr std::uint32_t AUTH_E_PORT_UNUSABLE = 0xA7000009; // the browser's local port cannot be bound

// What the SSL-VPN flow answers when the gateway could not be asked, and the flow for a browser in another session when
// it got no local port: deliberately outside the family above.
inline constexpr std::uint32_t kGatewayFailed = 1;
inline constexpr std::uint32_t kNoLocalPort = 1;

} // namespace zelto
