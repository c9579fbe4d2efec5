#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace authmodule {

// The body of a login form, application/x-www-form-urlencoded. Both texts are UTF-8.
std::string LoginForm(std::string_view userName, std::string_view password);

// The value of the hidden field "SAMLResponse", by which an identity provider hands its response over in a
// page; none when the page has no such field. The value is base64, so there is nothing in it to unescape.
std::optional<std::string> SamlResponseIn(std::string_view page);

} // namespace authmodule
