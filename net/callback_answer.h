#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace zelto {

// Head of every answer to the browser: exactly these 45 bytes. The blank before the header's name, the
// missing hyphen in it and the blank before the line end are meant; browsers take the answer as a page all
// the same.
inline constexpr std::string_view kCallbackAnswerHead = "HTTP/1.1 200 OK\r\n ContentType: text/html \r\n\r\n";
static_assert(kCallbackAnswerHead.size() == 45);

// Page kind of a reader task: this one asks for the ZTNA page, any other for the VPN page.
inline constexpr std::uint32_t kPageKindVpn = 0;
inline constexpr std::uint32_t kPageKindZtna = 1;

// Resource number of the page for a page kind.
std::uint32_t CallbackPageId(std::uint32_t pageKind) noexcept;

// The whole answer: head, then page. An empty page leaves the head alone.
std::string CallbackAnswer(std::string_view page);

} // namespace zelto
