#include "encrypted_answer.h"

#include "record_layout.h"

#include <array>
#include <memory>
#include <vector>
#include <windows.h>

#include <bcrypt.h>
#include <wincrypt.h>

namespace authmodule {
namespace {

using Bytes = std::vector<unsigned char>;
using Digest = std::array<unsigned char, 32>;

struct AlgorithmCloser {
    using pointer = BCRYPT_ALG_HANDLE;
    void operator()(BCRYPT_ALG_HANDLE handle) const noexcept { BCryptCloseAlgorithmProvider(handle, 0); }
};
using Algorithm = std::unique_ptr<void, AlgorithmCloser>;

struct HashDestroyer {
    using pointer = BCRYPT_HASH_HANDLE;
    void operator()(BCRYPT_HASH_HANDLE handle) const noexcept { BCryptDestroyHash(handle); }
};
using Hash = std::unique_ptr<void, HashDestroyer>;

struct KeyDestroyer {
    using pointer = BCRYPT_KEY_HANDLE;
    void operator()(BCRYPT_KEY_HANDLE handle) const noexcept { BCryptDestroyKey(handle); }
};
using Key = std::unique_ptr<void, KeyDestroyer>;

Algorithm OpenAlgorithm(const wchar_t* name) {
    BCRYPT_ALG_HANDLE handle = nullptr;
    return Algorithm(BCRYPT_SUCCESS(BCryptOpenAlgorithmProvider(&handle, name, nullptr, 0)) ? handle
                                                                                            : nullptr);
}

// Windows' functions take input that they do not change by pointers to what they could.
unsigned char* Input(std::string_view text) {
    return reinterpret_cast<unsigned char*>(const_cast<char*>(text.data()));
}

bool Sha256(std::string_view text, Digest& digest) {
    const Algorithm algorithm = OpenAlgorithm(BCRYPT_SHA256_ALGORITHM);
    BCRYPT_HASH_HANDLE handle = nullptr;
    if (!algorithm ||
        !BCRYPT_SUCCESS(BCryptCreateHash(algorithm.get(), &handle, nullptr, 0, nullptr, 0, 0))) {
        return false;
    }
    const Hash hash(handle);
    return BCRYPT_SUCCESS(BCryptHashData(hash.get(), Input(text), static_cast<ULONG>(text.size()), 0)) &&
           BCRYPT_SUCCESS(BCryptFinishHash(hash.get(), digest.data(), static_cast<ULONG>(digest.size()), 0));
}

bool UseCbc(BCRYPT_ALG_HANDLE algorithm) {
    wchar_t mode[] = BCRYPT_CHAIN_MODE_CBC;
    return BCRYPT_SUCCESS(BCryptSetProperty(algorithm, BCRYPT_CHAINING_MODE,
                                            reinterpret_cast<unsigned char*>(mode), sizeof(mode), 0));
}

// Fills in the record: the vector first, then the ciphertext.
bool Encrypt(std::string_view answer, Digest& digest, Bytes& record) {
    const Algorithm algorithm = OpenAlgorithm(BCRYPT_AES_ALGORITHM);
    BCRYPT_KEY_HANDLE handle = nullptr;
    if (!algorithm || !UseCbc(algorithm.get()) ||
        !BCRYPT_SUCCESS(
            BCryptGenerateSymmetricKey(algorithm.get(), &handle, nullptr, 0, digest.data(), kKeySize, 0))) {
        return false;
    }
    const Key key(handle);
    std::array<unsigned char, kIvSize> vector{};
    if (!BCRYPT_SUCCESS(BCryptGenRandom(nullptr, vector.data(), kIvSize, BCRYPT_USE_SYSTEM_PREFERRED_RNG))) {
        return false;
    }
    record.assign(vector.begin(), vector.end()); // before encrypting, which overwrites it
    record.resize(kIvSize + CiphertextSize(answer.size()));
    const auto size = static_cast<ULONG>(record.size() - kIvSize);
    ULONG written = 0;
    return BCRYPT_SUCCESS(BCryptEncrypt(key.get(), Input(answer), static_cast<ULONG>(answer.size()), nullptr,
                                        vector.data(), kIvSize, record.data() + kIvSize, size, &written,
                                        BCRYPT_BLOCK_PADDING)) &&
           written == size;
}

std::optional<std::string> Base64(const Bytes& bytes) {
    constexpr DWORD kFormat = CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF;
    const auto size = static_cast<DWORD>(bytes.size());
    DWORD length = 0; // with the terminator
    if (!CryptBinaryToStringA(bytes.data(), size, kFormat, nullptr, &length)) {
        return std::nullopt;
    }
    std::string text(length, '\0');
    if (!CryptBinaryToStringA(bytes.data(), size, kFormat, text.data(), &length)) {
        return std::nullopt;
    }
    text.resize(length); // this time without
    return text;
}

} // namespace

std::optional<std::string> EncryptAnswer(std::string_view answer, std::uint64_t receiver) {
    Digest digest{};
    Bytes record;
    if (!FitsIntoBlock(answer.size()) || !Sha256(KeyText(receiver), digest) ||
        !Encrypt(answer, digest, record)) {
        return std::nullopt;
    }
    return Base64(record);
}

} // namespace authmodule
