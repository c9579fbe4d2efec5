#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zelto {

// Characters that the options of a prompt have room in, the terminating zero included.
inline constexpr std::size_t kOptionsSize = 260;

// The options of the auth module's command line for the two prompts, cut to 259 characters each. Time-outs are
// given in milliseconds and passed on in whole seconds. They throw std::bad_alloc.

// Asks for user name and password, with `userName` as the name offered, and for a certificate when it is
// required. Without `userName` (null) only for the certificate.
std::wstring BasicOptions(const wchar_t* userName, std::wstring_view description, std::uint32_t timeoutMs,
                          bool requireCertificate);

// Asks for a second-factor token.
std::wstring TwoFactorOptions(std::wstring_view description, std::uint32_t timeoutMs);

} // namespace zelto
