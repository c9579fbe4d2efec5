#include "auth/response_channel.h"

#include "auth/aes_decrypt.h"
#include "auth/response_block.h"
#include "auth/sha256.h"
#include "trace/bounded_text.h"
#include "trace/trace.h"

#include <new>
#include <windows.h>

#include <wincrypt.h>

namespace zelto {
namespace {

constexpr std::size_t kSmallestRecord = kAesBlockSize + 1; // the IV and something behind it

constexpr std::int32_t kRecordTooShort = -10;
constexpr std::int32_t kNoMemoryForRecord = -11;
constexpr std::int32_t kNoMemoryForPlaintext = -12;
constexpr std::int32_t kNotBase64 = -13;
constexpr std::int32_t kNotDecrypted = -14;

bool Allocate(SecretBytes& bytes, std::size_t size) noexcept {
    try {
        bytes.resize(size);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

// The number of bytes that the text stands for; 0 when it is empty or no base64.
std::size_t DecodedLength(const char* text) noexcept {
    DWORD length = 0;
    if (!CryptStringToBinaryA(text, 0, CRYPT_STRING_BASE64, nullptr, &length, nullptr, nullptr)) {
        length = 0;
    }
    TRACE_DEBUG("decode base64 to cipher binary, cipher len=%d", length);
    return length;
}

std::int32_t DecodeRecord(const char* text, SecretBytes& record) noexcept {
    const std::size_t size = DecodedLength(text);
    if (size < kSmallestRecord) {
        return kRecordTooShort;
    }
    if (!Allocate(record, size)) {
        return kNoMemoryForRecord;
    }
    auto capacity = static_cast<DWORD>(size);
    if (!CryptStringToBinaryA(text, 0, CRYPT_STRING_BASE64, record.data(), &capacity, nullptr, nullptr)) {
        TRACE_DEBUG("failed to decode base64, err=%d", GetLastError());
        return kNotBase64;
    }
    return 0;
}

// A failure leaves the digest zero, and the answer then does not decrypt.
void DeriveKey(std::uint64_t blockHandle, unsigned char* digest) noexcept {
    const Digits text(blockHandle);
    const std::int32_t result = SHA2(text.View().data(), text.View().size(), digest);
    if (result != 0) {
        TRACE_DEBUG("decrypting share mem, SHA2() returned  %d, err=%d", result, GetLastError());
    }
}

std::int32_t DecryptRecord(SecretBytes& record, std::uint64_t blockHandle, SecretText& answer) noexcept {
    const std::size_t length = record.size() - kAesBlockSize;
    SecretBytes plaintext;
    if (!Allocate(plaintext, length)) {
        return kNoMemoryForPlaintext;
    }
    unsigned char digest[kSha256Size] = {};
    DeriveKey(blockHandle, digest);
    std::size_t plaintextLength = 0;
    const AesInput input = {digest, record.data(), record.data() + kAesBlockSize, length};
    const std::int32_t result = DecryptAesCbc(input, plaintext, plaintextLength);
    if (result != 0) {
        TRACE_DEBUG("failed to decrypt cipher, ret=%d, err=%d, len=%d", result, GetLastError(),
                    static_cast<std::uint32_t>(length));
        return kNotDecrypted;
    }
    try {
        answer = SecretText({reinterpret_cast<const char*>(plaintext.data()), plaintextLength});
        return 0;
    } catch (const std::bad_alloc&) {
        return kNoMemoryForPlaintext;
    }
}

} // namespace

std::int32_t ReadAnswer(char* view, std::uint64_t blockHandle, SecretText& answer) noexcept {
    view[kResponseBlockSize - 1] = '\0';
    SecretBytes record;
    std::int32_t nRet = DecodeRecord(view, record);
    if (nRet == 0) {
        nRet = DecryptRecord(record, blockHandle, answer);
    }
    if (nRet != 0) {
        TRACE_ERROR("Could not decrypt saml data. nRet=%d", nRet);
    }
    return nRet;
}

} // namespace zelto
