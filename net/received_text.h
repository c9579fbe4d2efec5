#pragma once

#include "auth/secret.h"

#include <cstddef>
#include <string_view>

namespace zelto {

// How many bytes of an answer or a request are taken; the rest is cut off.
inline constexpr std::size_t kMostReceivedBytes = 1024;

// Where they are received: wiped at its end, since there may be secrets among them.
struct ReceivedBytes {
    ReceivedBytes() = default;
    ReceivedBytes(const ReceivedBytes&) = delete;
    ReceivedBytes& operator=(const ReceivedBytes&) = delete;
    ~ReceivedBytes() { Wipe(bytes, sizeof(bytes)); }

    char bytes[kMostReceivedBytes] = {};
};

// The bytes up to the first zero byte, or all of them when there is none.
std::string_view TextBeforeZero(std::string_view bytes);

} // namespace zelto
