#include "auth/response_channel.h"

#include "auth/aes_decrypt.h"
#include "auth/response_block.h"
#include "auth/sha256.h"
#include "trace/bounded_text.h"
#include "trace/trace.h"

#include <cstring>
#include <new>
#include <string_view>
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

bool Resize(SecretBytes& bytes, std::size_t size) noexcept {
    try {
        bytes.resize(size);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

// The text at the block's start. It is measured here, once: a process that still has the block may go on writing to
// it, the last byte included, and the decoder, were it to measure, could read on behind the view.
std::string_view TextOf(const char* view) noexcept {
    constexpr std::size_t kLongest = kResponseBlockSize - 1;
    const void* const end = std::memchr(view, '\0', kLongest);
    return {view, end == nullptr ? kLongest : static_cast<std::size_t>(static_cast<const char*>(end) - view)};
}

// `size` is the capacity of `bytes` and becomes the number of decoded bytes; with no `bytes` it is only that number.
bool Decode(std::string_view text, unsigned char* bytes, DWORD& size) noexcept {
    return CryptStringToBinaryA(text.data(), static_cast<DWORD>(text.size()), CRYPT_STRING_BASE64, bytes,
                                &size, nullptr, nullptr) != FALSE;
}

// The number of bytes that the text stands for; 0 when it is empty or no base64.
std::size_t DecodedLength(std::string_view text) noexcept {
    DWORD length = 0;
    if (text.empty() || !Decode(text, nullptr, length)) { // for the decoder, length 0 means that it measures
        length = 0;
    }
    TRACE_DEBUG("decode base64 to cipher binary, cipher len=%d", length);
    return length;
}

std::int32_t DecodeRecord(std::string_view text, SecretBytes& record) noexcept {
    const std::size_t size = DecodedLength(text);
    if (size < kSmallestRecord) {
        return kRecordTooShort;
    }
    if (!Resize(record, size)) {
        return kNoMemoryForRecord;
    }
    auto decoded = static_cast<DWORD>(size);
    if (!Decode(text, record.data(), decoded)) {
        TRACE_DEBUG("failed to decode base64, err=%d", GetLastError());
        return kNotBase64;
    }
    Resize(record, decoded); // shorter, when the text has changed since it was measured
    return decoded < kSmallestRecord ? kRecordTooShort : 0;
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
    if (!Resize(plaintext, length)) {
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
    std::int32_t nRet = DecodeRecord(TextOf(view), record);
    if (nRet == 0) {
        nRet = DecryptRecord(record, blockHandle, answer);
    }
    if (nRet != 0) {
        TRACE_ERROR("Could not decrypt saml data. nRet=%d", nRet);
    }
    return nRet;
}

} // namespace zelto
