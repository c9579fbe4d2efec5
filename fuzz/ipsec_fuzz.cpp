// What an IPsec sign-in takes out of the browser's request and the gateway's answer, against a second way of finding it
// that shares nothing with the code under test.

#include "extbrowser/ipsec_login.h"
#include "extbrowser/ipsec_redirect.h"
#include "extbrowser/url_decode.h"

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace {

bool IsHexadecimal(char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}

// One byte at a time through three states: plain, behind a "%", behind a "%" and one digit.
class DecodingMachine {
public:
    void Take(char c) {
        if (held_.empty()) {
            HoldOrPass(c);
        } else if (!IsHexadecimal(c)) {
            out_ += held_;
            held_.clear();
            HoldOrPass(c);
        } else if (held_.size() == 1) {
            held_ += c;
        } else {
            const char digits[] = {held_[1], c, '\0'};
            out_ += static_cast<char>(std::strtoul(digits, nullptr, 16));
            held_.clear();
        }
    }

    std::string End() { return out_ + held_; }

private:
    void HoldOrPass(char c) { (c == '%' ? held_ : out_) += c; }

    std::string held_; // nothing, "%", or "%" and a digit
    std::string out_;
};

std::string DecodeByMachine(const std::string& text) {
    DecodingMachine machine;
    for (const char c : text) {
        machine.Take(c);
    }
    return machine.End();
}

// The end of the first `marker` from `from` on; null when there is none.
const char* Behind(const char* from, const char* end, const char* marker) {
    const auto length = static_cast<std::ptrdiff_t>(std::strlen(marker));
    for (; end - from >= length; ++from) {
        if (std::memcmp(from, marker, static_cast<std::size_t>(length)) == 0) {
            return from + length;
        }
    }
    return nullptr;
}

struct Found {
    bool found;
    std::string text;
};

Found Between(const std::string& text, const char* startMarker, const char* endMarker) {
    const char* const end = text.data() + text.size();
    const char* const start = Behind(text.data(), end, startMarker);
    const char* const stop = start == nullptr ? nullptr : Behind(start, end, endMarker);
    if (stop == nullptr) {
        return {false, {}};
    }
    return {true, std::string(start, stop - std::strlen(endMarker))};
}

void Require(bool holds) {
    if (!holds) {
        std::abort(); // the fuzzer keeps the input
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A view of the fuzzer's own block, where reading behind the end is seen, and a copy for the other side.
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::string text(input);
    Require(zelto::UrlDecode(input) == DecodeByMachine(text));
    Require(zelto::ReadTokenId(input) == Between(text, "tokenid=", "&").text);
    Require(zelto::ReadUserName(input) == DecodeByMachine(Between(text, "username=", " ").text));
    const Found expected = Between(text, "window.location=\"", "\"");
    const auto url = zelto::FindIpsecStartUrl(input);
    Require(url.has_value() == expected.found && url.value_or("") == expected.text);
    return 0;
}
