#pragma once

#include <cstdint>
#include <string_view>

namespace zelto {

// What the gateway's answer to "/remote/info" says about a sign-in in the browser. The answer is looked at as
// plain text: each value stands between its name with "='" behind it and the next "'".

// The port on 127.0.0.1 that the browser will be sent to, of "sso_port". 0 when it is missing, empty or not a
// number. Its range is not checked.
std::uint32_t ReadSsoPort(std::string_view answer);

// The gateway's time-out for the sign-in in seconds, of "remoteauthtimeout". 0 when it is missing, empty or
// not a number.
std::uint32_t ReadRemoteAuthTimeout(std::string_view answer);

} // namespace zelto
