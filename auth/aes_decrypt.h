#pragma once

#include "auth/secret.h"

#include <cstddef>
#include <cstdint>

namespace zelto {

inline constexpr std::size_t kAesBlockSize = 16; // bytes of a block, of an IV and of a key

// AES-128 in CBC mode with PKCS#7 padding, by the platform's CNG.
struct AesInput {
    unsigned char* key;        // kAesBlockSize bytes
    unsigned char* iv;         // kAesBlockSize bytes, overwritten
    unsigned char* ciphertext; // `length` bytes
    std::size_t length;
};

// Decrypts into `plaintext`, which holds `input.length` bytes, and sets `plaintextLength`.
//
// Returns 0, or: -10 no AES on this system; -12 no key object; -13 not decrypted (wrong padding, or a length
// that is no multiple of the block). Failures are logged.
std::int32_t DecryptAesCbc(const AesInput& input, SecretBytes& plaintext,
                           std::size_t& plaintextLength) noexcept;

} // namespace zelto
