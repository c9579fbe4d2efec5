#pragma once

#include <string>
#include <string_view>

namespace authmodule {

// The answers as the library takes them apart: lines with a line feed between them and none at the end. The
// parts are UTF-8 and hold no line feed. A two-factor answer is the token itself.
std::string BasicAnswer(std::string_view userName, std::string_view password, std::string_view certificate);

// Without a server's address, the line for it is left out.
std::string SamlAnswer(std::string_view samlResponse, std::string_view serverIp);

} // namespace authmodule
