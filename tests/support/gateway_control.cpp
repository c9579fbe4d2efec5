#include "tests/support/gateway_control.h"

#include "tests/support/scripted_browser.h"

#include <cstdlib>
#include <stdexcept>

namespace zelto::test {
namespace {

std::uint16_t PortFromEnvironment(const char* name) {
    const char* text = std::getenv(name);
    if (text == nullptr) {
        throw std::runtime_error(std::string(name) +
                                 " is not set: run this program beside the simulated gateway");
    }
    return static_cast<std::uint16_t>(std::strtoul(text, nullptr, 10));
}

// One request to the control side; returns the answer's body and throws unless the status is 200.
std::string Control(const std::string& method, const std::string& path, const std::string& body) {
    const std::string answer = RequestOnce(
        GatewayControlPort(), method + " " + path + " HTTP/1.0\r\nHost: 127.0.0.1\r\nContent-Length: " +
                                  std::to_string(body.size()) + "\r\n\r\n" + body);
    const std::size_t end = answer.find("\r\n\r\n");
    if (answer.find(" 200 ") > answer.find("\r\n") || end == std::string::npos) {
        throw std::runtime_error("the gateway refused " + method + " " + path + ": " + answer);
    }
    return answer.substr(end + 4);
}

} // namespace

std::uint16_t GatewayPort() {
    return PortFromEnvironment("ZELTO_GATEWAY_PORT");
}

std::uint16_t GatewayControlPort() {
    return PortFromEnvironment("ZELTO_GATEWAY_CONTROL_PORT");
}

std::wstring GatewayAddress() {
    return L"https://127.0.0.1:" + std::to_wstring(GatewayPort());
}

void SetGateway(const std::string& json) {
    Control("POST", "/settings", json);
}

void ResetGateway() {
    Control("POST", "/reset", "");
}

std::string GatewayLog() {
    return Control("GET", "/log", "");
}

std::string GatewayIds() {
    return Control("GET", "/ids", "");
}

} // namespace zelto::test
