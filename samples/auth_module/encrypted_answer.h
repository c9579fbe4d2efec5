#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace authmodule {

// The text for the block: base64 of a fresh random initialisation vector and the encrypted answer, under the
// key that the library derives from the same handle value. None when the answer does not fit, or Windows
// refuses.
std::optional<std::string> EncryptAnswer(std::string_view answer, std::uint64_t receiver);

} // namespace authmodule
