#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace authmodule {

// The block that the library reads: text, a zero byte behind it.
inline constexpr std::size_t kBlockSize = 65536;
inline constexpr std::size_t kMostText = kBlockSize - 1;

// The record that the text stands for: initialisation vector, then AES-128-CBC with PKCS#7 padding.
inline constexpr std::size_t kIvSize = 16;
inline constexpr std::size_t kKeySize = 16; // of the SHA-256 digest of KeyText
inline constexpr std::size_t kCipherBlock = 16;

constexpr std::size_t CiphertextSize(std::size_t answerSize) {
    return (answerSize / kCipherBlock + 1) * kCipherBlock; // padding is at least one byte
}

constexpr std::size_t TextSize(std::size_t answerSize) {
    return (kIvSize + CiphertextSize(answerSize) + 2) / 3 * 4; // base64
}

constexpr bool FitsIntoBlock(std::size_t answerSize) {
    return answerSize < kBlockSize && TextSize(answerSize) <= kMostText;
}

// What the key is made from: the handle's value in decimal.
inline std::string KeyText(std::uint64_t receiver) {
    return std::to_string(receiver);
}

} // namespace authmodule
