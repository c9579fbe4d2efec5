#pragma once

#include <cstdint>

namespace zelto {

// Request method of the gateway HTTP client.
enum class HttpVerb : std::uint16_t {
    Get = 0,
    Post = 1,
    Put = 2,
};

// The method's name as it stands in the request line: "GET", "POST", "PUT"; the empty text for any other
// code. The table behind it is constant: any thread may ask, at any time, also while the library is being
// loaded.
const wchar_t* VerbText(HttpVerb verb) noexcept;

} // namespace zelto
