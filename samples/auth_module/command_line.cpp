#include "command_line.h"

#include <cstddef>
#include <limits>

namespace authmodule {
namespace {

// The library writes at most so many characters: of the whole line, and of the options of a prompt.
constexpr std::size_t kLongestLine = 4095;
constexpr std::size_t kLongestPromptOptions = 259;

// The options that may stand behind the last quoted value.
struct Tail {
    bool ignoreCertificate = false;
    bool autoSelectCertificate = false;
    bool deleteCookies = false;
    bool requireCertificate = false;
    std::uint32_t timeoutSeconds = 0;
};

// Removes `prefix` from the front of `text`; false when it is not there.
bool Take(std::wstring_view& text, std::wstring_view prefix) {
    if (!text.starts_with(prefix)) {
        return false;
    }
    text.remove_prefix(prefix.size());
    return true;
}

// Removes everything up to and with the first `separator`, and gives what stood before it.
std::optional<std::wstring_view> TakeUntil(std::wstring_view& text, std::wstring_view separator) {
    const std::size_t at = text.find(separator);
    if (at == std::wstring_view::npos) {
        return std::nullopt;
    }
    const std::wstring_view before = text.substr(0, at);
    text.remove_prefix(at + separator.size());
    return before;
}

// Removes the digits at the front; none when there are none, or too many.
template <class Number>
std::optional<Number> TakeNumber(std::wstring_view& text) {
    constexpr Number kMost = std::numeric_limits<Number>::max();
    Number value = 0;
    std::size_t digits = 0;
    for (; digits < text.size() && text[digits] >= L'0' && text[digits] <= L'9'; ++digits) {
        const auto digit = static_cast<Number>(text[digits] - L'0');
        if (value > (kMost - digit) / 10) {
            return std::nullopt;
        }
        value = static_cast<Number>(value * 10 + digit);
    }
    if (digits == 0) {
        return std::nullopt;
    }
    text.remove_prefix(digits);
    return value;
}

// With `mayBeCut` a number at the text's end may have lost digits: it is taken off, and not given.
bool TakeNumberOption(std::wstring_view& text, std::wstring_view name, bool mayBeCut, std::uint32_t& value) {
    std::wstring_view rest = text;
    if (!Take(rest, name)) {
        return false;
    }
    const std::optional<std::uint32_t> number = TakeNumber<std::uint32_t>(rest);
    if (!number) {
        return false;
    }
    value = mayBeCut && rest.empty() ? value : *number;
    text = rest;
    return true;
}

bool TakeFlag(std::wstring_view& text, std::wstring_view name, bool& flag) {
    if (!Take(text, name)) {
        return false;
    }
    flag = true;
    return true;
}

constexpr std::wstring_view kIgnoreCertificate = L" --ignore-certificate=";
constexpr std::wstring_view kTimeout = L" --timeout=";
constexpr std::wstring_view kAutoSelectCertificate = L" --auto-select-cert";
constexpr std::wstring_view kDeleteCookies = L" --delete-cookies";
constexpr std::wstring_view kRequireCertificate = L" --require-certificate=1";

// Whether `text` is what the cut at the buffer's end left of one of the options.
bool IsCutOff(std::wstring_view text) {
    return kIgnoreCertificate.starts_with(text) || kTimeout.starts_with(text) ||
           kAutoSelectCertificate.starts_with(text) || kDeleteCookies.starts_with(text) ||
           kRequireCertificate.starts_with(text);
}

// None when `text` is something else than such options.
std::optional<Tail> ReadTail(std::wstring_view text, bool mayBeCut) {
    Tail tail;
    while (!text.empty()) {
        std::uint32_t ignore = 0;
        if (TakeNumberOption(text, kIgnoreCertificate, mayBeCut, ignore)) {
            tail.ignoreCertificate = ignore != 0;
        } else if (!TakeNumberOption(text, kTimeout, mayBeCut, tail.timeoutSeconds) &&
                   !TakeFlag(text, kAutoSelectCertificate, tail.autoSelectCertificate) &&
                   !TakeFlag(text, kDeleteCookies, tail.deleteCookies) &&
                   !TakeFlag(text, kRequireCertificate, tail.requireCertificate)) {
            if (!IsCutOff(text)) {
                return std::nullopt;
            }
            break;
        }
    }
    return tail;
}

// The description is the last quoted value, and nothing behind it holds a quote: whatever quotes it holds
// itself, the last one of the line ends it, unless the line was cut off before that.
void ReadDescriptionAndTail(std::wstring_view text, bool mayBeCut, Request& request) {
    const std::size_t quote = text.rfind(L'"');
    const std::optional<Tail> tail =
        quote == std::wstring_view::npos ? std::nullopt : ReadTail(text.substr(quote + 1), mayBeCut);
    request.description = tail ? text.substr(0, quote) : text;
    if (tail) {
        request.ignoreCertificate = tail->ignoreCertificate;
        request.autoSelectCertificate = tail->autoSelectCertificate;
        request.deleteCookies = tail->deleteCookies;
        request.requireCertificate = tail->requireCertificate;
        request.timeoutSeconds = tail->timeoutSeconds;
    }
}

// A value, and then the next option's opening; false when the line was cut off before that.
bool ReadValue(std::wstring_view& text, std::wstring_view nextOption, std::wstring& value) {
    const std::optional<std::wstring_view> found = TakeUntil(text, nextOption);
    value = found.value_or(text);
    return found.has_value();
}

void ReadSaml(std::wstring_view text, bool mayBeCut, Request& request) {
    if (ReadValue(text, L"\" --object-name=\"", request.samlObject) &&
        ReadValue(text, L"\" --url=\"", request.objectName) &&
        ReadValue(text, L"\" --description=\"", request.url)) {
        ReadDescriptionAndTail(text, mayBeCut, request);
    }
}

void ReadPrompt(std::wstring_view text, bool mayBeCut, Request& request) {
    if (Take(text, L" --require-username=")) {
        request.requireUserName = true;
        if (!ReadValue(text, L" --description=\"", request.userName)) {
            return;
        }
    } else if (!Take(text, L" --description=\"")) {
        return;
    }
    ReadDescriptionAndTail(text, mayBeCut, request);
}

bool ReadObject(std::wstring_view text, bool mayBeCut, Request& request) {
    const bool promptMayBeCut = mayBeCut || text.size() >= kLongestPromptOptions;
    if (Take(text, L"--object=\"saml:")) {
        request.object = Object::Saml;
        ReadSaml(text, mayBeCut, request);
        return true;
    }
    if (Take(text, L"--object=basic")) {
        request.object = Object::Basic;
    } else if (Take(text, L"--object=2fa")) {
        request.object = Object::TwoFactor;
    } else {
        return false;
    }
    ReadPrompt(text, promptMayBeCut, request);
    return true;
}

} // namespace

std::optional<Request> ReadCommandLine(std::wstring_view commandLine) {
    Request request;
    const bool mayBeCut = commandLine.size() >= kLongestLine;
    // Nothing stands before this option, unless a person started the program: then its name does.
    if (!TakeUntil(commandLine, L" --provider-name=") ||
        !ReadValue(commandLine, L" --receiver=", request.providerName)) {
        return std::nullopt;
    }
    const std::optional<std::uint64_t> receiver = TakeNumber<std::uint64_t>(commandLine);
    if (!receiver || !Take(commandLine, L" ")) {
        return std::nullopt;
    }
    request.receiver = *receiver;
    Take(commandLine, L" "); // the options of a SAML sign-in bring a blank of their own
    if (!ReadObject(commandLine, mayBeCut, request)) {
        return std::nullopt;
    }
    return request;
}

} // namespace authmodule
