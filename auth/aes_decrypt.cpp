#include "auth/aes_decrypt.h"

#include "trace/trace.h"

#include <windows.h>

#include <bcrypt.h>

namespace zelto {
namespace {

struct Provider {
    BCRYPT_ALG_HANDLE handle = nullptr;

    Provider() = default;
    Provider(const Provider&) = delete;
    Provider& operator=(const Provider&) = delete;
    ~Provider() {
        if (handle != nullptr) {
            BCryptCloseAlgorithmProvider(handle, 0);
        }
    }
};

struct Key {
    BCRYPT_KEY_HANDLE handle = nullptr;

    Key() = default;
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;
    ~Key() {
        if (handle != nullptr) {
            BCryptDestroyKey(handle);
        }
    }
};

} // namespace

std::int32_t DecryptAesCbc(const AesInput& input, SecretBytes& plaintext,
                           std::size_t& plaintextLength) noexcept {
    Provider provider;
    NTSTATUS status = BCryptOpenAlgorithmProvider(&provider.handle, BCRYPT_AES_ALGORITHM, nullptr, 0);
    if (!BCRYPT_SUCCESS(status)) {
        TRACE_DEBUG("BCryptOpenAlgorithmProvider() failed, ret=0x%lx, err=%d", status, GetLastError());
        return -10;
    }
    Key key; // the provider's own chaining mode is CBC
    status =
        BCryptGenerateSymmetricKey(provider.handle, &key.handle, nullptr, 0, input.key, kAesBlockSize, 0);
    if (!BCRYPT_SUCCESS(status)) {
        TRACE_DEBUG("BCryptGenerateSymmetricKey() failed, ret=0x%lx, err=%d", status, GetLastError());
        return -12;
    }
    const auto length = static_cast<ULONG>(input.length);
    ULONG decrypted = 0;
    status = BCryptDecrypt(key.handle, input.ciphertext, length, nullptr, input.iv, kAesBlockSize,
                           plaintext.data(), length, &decrypted, BCRYPT_BLOCK_PADDING);
    if (!BCRYPT_SUCCESS(status)) {
        TRACE_DEBUG("BCryptDecrypt(%d,%d) failed, ret=0x%lx, err=%d", length, length, status, GetLastError());
        return -13;
    }
    plaintextLength = decrypted;
    return 0;
}

} // namespace zelto
