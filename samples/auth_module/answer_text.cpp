#include "answer_text.h"

namespace authmodule {
namespace {

constexpr std::string_view kServerIp = "\nServerIp:";

} // namespace

// Both reserve first: growing would leave parts of a secret behind.

std::string BasicAnswer(std::string_view userName, std::string_view password, std::string_view certificate) {
    std::string answer;
    answer.reserve(userName.size() + password.size() + certificate.size() + 2);
    answer.append(userName).append("\n").append(password).append("\n").append(certificate);
    return answer;
}

std::string SamlAnswer(std::string_view samlResponse, std::string_view serverIp) {
    std::string answer;
    answer.reserve(samlResponse.size() + kServerIp.size() + serverIp.size());
    answer.append(samlResponse);
    if (!serverIp.empty()) {
        answer.append(kServerIp).append(serverIp);
    }
    return answer;
}

} // namespace authmodule
