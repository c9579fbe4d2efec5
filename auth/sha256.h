#pragma once

#include <cstddef>
#include <cstdint>

namespace zelto {

inline constexpr std::size_t kSha256Size = 32; // bytes of a digest

// SHA-256 of `length` bytes, by the CryptoAPI, into the kSha256Size bytes at `digest`.
//
// Returns 0, or: -1 null data, zero length or null digest; -2 no cryptographic context; -3 the hash object
// could not be created; -4 hashing failed; -5 the digest could not be read. The thread's last error tells why.
std::int32_t SHA2(const void* data, std::size_t length, unsigned char* digest) noexcept;

} // namespace zelto
