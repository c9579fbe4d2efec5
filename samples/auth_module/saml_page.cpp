#include "saml_page.h"

namespace authmodule {
namespace {

constexpr std::string_view kName = "name=\"SAMLResponse\"";
constexpr std::string_view kValue = "value=\"";

bool IsUnreserved(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') ||
           std::string_view("-._~").find(character) != std::string_view::npos;
}

void AppendEncoded(std::string& body, std::string_view text) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    for (const char character : text) {
        if (IsUnreserved(character)) {
            body.push_back(character);
        } else {
            const auto byte = static_cast<unsigned char>(character);
            body.append({'%', kDigits[byte >> 4], kDigits[byte & 15]});
        }
    }
}

} // namespace

std::string LoginForm(std::string_view userName, std::string_view password) {
    constexpr std::string_view kUserName = "username=";
    constexpr std::string_view kPassword = "&password=";
    std::string body; // its storage never moves: that would leave a part of the password behind
    body.reserve(kUserName.size() + kPassword.size() + 3 * (userName.size() + password.size()));
    body.append(kUserName);
    AppendEncoded(body, userName);
    body.append(kPassword);
    AppendEncoded(body, password);
    return body;
}

std::optional<std::string> SamlResponseIn(std::string_view page) {
    const std::size_t name = page.find(kName);
    if (name == std::string_view::npos) {
        return std::nullopt;
    }
    const std::size_t start = page.rfind('<', name);
    const std::size_t end = page.find('>', name);
    if (start == std::string_view::npos || end == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view tag = page.substr(start, end - start);
    const std::size_t value = tag.find(kValue);
    if (value == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view rest = tag.substr(value + kValue.size());
    return std::string(rest.substr(0, rest.find('"')));
}

} // namespace authmodule
