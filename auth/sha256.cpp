#include "auth/sha256.h"

#include <windows.h>

#include <wincrypt.h>

namespace zelto {
namespace {

// A context and a hash object; both released with the thread's last error kept.
class Hash {
public:
    Hash() = default;
    Hash(const Hash&) = delete;
    Hash& operator=(const Hash&) = delete;
    ~Hash() {
        const DWORD lastError = GetLastError();
        if (hash_ != 0) {
            CryptDestroyHash(hash_);
        }
        if (context_ != 0) {
            CryptReleaseContext(context_, 0);
        }
        SetLastError(lastError);
    }

    bool OpenContext() noexcept {
        return CryptAcquireContextW(&context_, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT) != FALSE;
    }
    bool Create() noexcept { return CryptCreateHash(context_, CALG_SHA_256, 0, 0, &hash_) != FALSE; }
    bool Add(const void* data, std::size_t length) noexcept {
        return CryptHashData(hash_, static_cast<const BYTE*>(data), static_cast<DWORD>(length), 0) != FALSE;
    }
    bool Read(unsigned char* digest) noexcept {
        DWORD size = kSha256Size;
        return CryptGetHashParam(hash_, HP_HASHVAL, digest, &size, 0) != FALSE;
    }

private:
    HCRYPTPROV context_ = 0;
    HCRYPTHASH hash_ = 0;
};

} // namespace

std::int32_t SHA2(const void* data, std::size_t length, unsigned char* digest) noexcept {
    if (data == nullptr || length == 0 || digest == nullptr) {
        return -1;
    }
    Hash hash;
    if (!hash.OpenContext()) {
        return -2;
    }
    if (!hash.Create()) {
        return -3;
    }
    if (!hash.Add(data, length)) {
        return -4;
    }
    return hash.Read(digest) ? 0 : -5;
}

} // namespace zelto
