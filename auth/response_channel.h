#pragma once

#include "auth/secret.h"

#include <cstdint>

namespace zelto {

// Reads the auth module's answer out of its memory block (auth/response_block.h), after the module has ended:
// base64 text of an initialisation vector and an AES-encrypted answer, with a key that both sides derive from
// the block's handle value. See docs/auth-module.md.
//
//   view         the mapped block; its last byte is set to 0.
//   blockHandle  the handle value that the module was given.
//   answer       replaced by the answer; left alone on failure.
//
// Returns 0, or, logged as "nRet": -10 no record of at least 17 bytes; -11, -12 no memory; -13 not base64; -14
// not decrypted.
std::int32_t ReadAnswer(char* view, std::uint64_t blockHandle, SecretText& answer) noexcept;

} // namespace zelto
