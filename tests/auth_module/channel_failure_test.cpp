// What the system can refuse while an answer is read. The answer is then not delivered, and the result stays the
// module's exit code.

#include "tests/auth_module/channel_test.h"

#include <bcrypt.h>
#include <cstdlib>
#include <wincrypt.h>

namespace zelto::test {
namespace {

using Lines = std::vector<std::string>;

constexpr char kDecoded[] = "debug: decode base64 to cipher binary, cipher len=128";
constexpr char kNotDecrypted[] = "error: Could not decrypt saml data. nRet=-14";
constexpr NTSTATUS kRefused = static_cast<NTSTATUS>(0xC0000022);

class ChannelFailureTest : public ChannelTest {
protected:
    ChannelFailureTest() { Block(SoundBlock()); }

    // Runs a prompt that delivers nothing, and gives the log from the decoded length on.
    Lines FailedReading() {
        EXPECT_EQ(Token(4), std::string("\0\xCC\xCC\xCC", 4));
        const Lines log = Log();
        for (std::size_t i = 0; i < log.size(); ++i) {
            if (log[i].rfind("debug: decode base64", 0) == 0) {
                return Lines(log.begin() + static_cast<std::ptrdiff_t>(i), log.end());
            }
        }
        return {};
    }
};

TEST_F(ChannelFailureTest, WithoutAFailureTheAnswerIsDelivered) {
    EXPECT_EQ(Token(9), std::string("RESPONSE\0", 9));
}

int decodings;

BOOL WINAPI DecodeOnce(LPCSTR text, DWORD length, DWORD flags, BYTE* bytes, DWORD* size, DWORD* skipped,
                       DWORD* used) {
    if (decodings++ == 0) {
        return CryptStringToBinaryA(text, length, flags, bytes, size, skipped, used);
    }
    SetLastError(ERROR_INVALID_DATA);
    return FALSE;
}

TEST_F(ChannelFailureTest, TheTextHasALengthButCannotBeDecoded) {
    decodings = 0;
    Patch("CryptStringToBinaryA", &DecodeOnce);
    EXPECT_EQ(FailedReading(), (Lines{kDecoded, "debug: failed to decode base64, err=13",
                                      "error: Could not decrypt saml data. nRet=-13"}));
}

// The block changes between the two calls of the decoder: what is then left has this length.
DWORD lengthLeft;

BOOL WINAPI DecodeWhatIsLeft(LPCSTR text, DWORD length, DWORD flags, BYTE* bytes, DWORD* size, DWORD* skipped,
                             DWORD* used) {
    return CryptStringToBinaryA(text, bytes == nullptr ? length : lengthLeft, flags, bytes, size, skipped,
                                used);
}

TEST_F(ChannelFailureTest, ATextThatBecomesShorterIsARecordThatIsShorter) {
    lengthLeft = 64; // 48 bytes
    Patch("CryptStringToBinaryA", &DecodeWhatIsLeft);
    const Lines log = FailedReading();
    ASSERT_EQ(log.size(), 4u);
    EXPECT_EQ(log[0], kDecoded);
    EXPECT_EQ(log[1].rfind("debug: BCryptDecrypt(32,32) failed", 0), 0u) << log[1];
    EXPECT_EQ(log[3], kNotDecrypted);
}

TEST_F(ChannelFailureTest, ATextThatBecomesTooShortIsNoRecord) {
    lengthLeft = 16;
    Patch("CryptStringToBinaryA", &DecodeWhatIsLeft);
    EXPECT_EQ(FailedReading(), (Lines{kDecoded, "error: Could not decrypt saml data. nRet=-10"}));
}

BOOL WINAPI DecodeSixteenBytes(LPCSTR text, DWORD length, DWORD flags, BYTE* bytes, DWORD* size,
                               DWORD* skipped, DWORD* used) {
    const BOOL result = CryptStringToBinaryA(text, length, flags, bytes, size, skipped, used);
    *size = bytes == nullptr ? *size : 16;
    return result;
}

TEST_F(ChannelFailureTest, ATextThatBecomesAVectorAloneIsNoRecord) {
    Patch("CryptStringToBinaryA", &DecodeSixteenBytes);
    EXPECT_EQ(FailedReading(), (Lines{kDecoded, "error: Could not decrypt saml data. nRet=-10"}));
}

Lines decodedLengths;

BOOL WINAPI NoteLength(LPCSTR, DWORD length, DWORD, BYTE*, DWORD* size, DWORD*, DWORD*) {
    decodedLengths.push_back(std::to_string(length));
    *size = 0;
    return TRUE;
}

// With the length 0 the decoder would measure a text that another process may still be writing.
TEST_F(ChannelFailureTest, TheDecoderIsAlwaysToldTheLength) {
    decodedLengths.clear();
    Patch("CryptStringToBinaryA", &NoteLength);
    for (const std::size_t size : {0u, 1u, 65'534u, 65'535u, 65'536u}) {
        Block(std::string(size, 'A') + std::string(65'536 - size, '\0'));
        Token(4);
    }
    EXPECT_EQ(decodedLengths, (Lines{"1", "65534", "65535", "65535"}));
}

BOOL WINAPI LookAtTheLastByte(LPCSTR text, DWORD, DWORD, BYTE*, DWORD* size, DWORD*, DWORD*) {
    decodedLengths.push_back(text[65'535] == '\0' ? "ends" : "goes on");
    *size = 0;
    return TRUE;
}

TEST_F(ChannelFailureTest, TheLastByteOfTheBlockIsZeroBeforeItIsRead) {
    decodedLengths.clear();
    Patch("CryptStringToBinaryA", &LookAtTheLastByte);
    Block(std::string(65'536, 'A'));
    Token(4);
    EXPECT_EQ(decodedLengths, Lines{"ends"});
}

BOOL WINAPI DecodeWithLengthOnly(LPCSTR, DWORD, DWORD, BYTE*, DWORD* size, DWORD*, DWORD*) {
    *size = 500;
    SetLastError(ERROR_INVALID_DATA);
    return FALSE;
}

TEST_F(ChannelFailureTest, AFailedLengthQueryCountsAsLengthZero) {
    Patch("CryptStringToBinaryA", &DecodeWithLengthOnly);
    EXPECT_EQ(FailedReading(), (Lines{"debug: decode base64 to cipher binary, cipher len=0",
                                      "error: Could not decrypt saml data. nRet=-10"}));
}

std::size_t refusedSize; // which allocation fails

void* __cdecl AllocateOtherSizes(std::size_t size) {
    return size == refusedSize ? nullptr : std::malloc(size);
}

TEST_F(ChannelFailureTest, NoMemoryForTheRecord) {
    refusedSize = 128;
    Patch("malloc", &AllocateOtherSizes);
    EXPECT_EQ(FailedReading(), (Lines{kDecoded, "error: Could not decrypt saml data. nRet=-11"}));
}

TEST_F(ChannelFailureTest, NoMemoryForThePlaintext) {
    refusedSize = 112;
    Patch("malloc", &AllocateOtherSizes);
    EXPECT_EQ(FailedReading(), (Lines{kDecoded, "error: Could not decrypt saml data. nRet=-12"}));
}

TEST_F(ChannelFailureTest, NoMemoryForTheAnswer) {
    refusedSize = 103; // with its terminator
    Patch("malloc", &AllocateOtherSizes);
    EXPECT_EQ(FailedReading(), (Lines{kDecoded, "error: Could not decrypt saml data. nRet=-12"}));
}

template <class... Arguments>
BOOL WINAPI Refuse(Arguments...) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

std::string keyBytes;

NTSTATUS WINAPI NoteKey(BCRYPT_ALG_HANDLE algorithm, BCRYPT_KEY_HANDLE* key, PUCHAR object, ULONG objectSize,
                        PUCHAR bytes, ULONG size, ULONG flags) {
    keyBytes.assign(reinterpret_cast<const char*>(bytes), size);
    return BCryptGenerateSymmetricKey(algorithm, key, object, objectSize, bytes, size, flags);
}

// The key bytes stay zero, so that the record does not decrypt.
class HashFailureTest : public ChannelFailureTest {
protected:
    void ExpectHashFailure(int result) {
        keyBytes.clear();
        Patch("BCryptGenerateSymmetricKey", &NoteKey);
        const Lines log = FailedReading();
        EXPECT_EQ(keyBytes, std::string(16, '\0'));
        ASSERT_GE(log.size(), 4u);
        EXPECT_EQ(log[0], kDecoded);
        EXPECT_EQ(log[1],
                  "debug: decrypting share mem, SHA2() returned  " + std::to_string(result) + ", err=5");
        EXPECT_EQ(log.back(), kNotDecrypted);
    }
};

TEST_F(HashFailureTest, NoContext) {
    Patch("CryptAcquireContextW", &Refuse<HCRYPTPROV*, LPCWSTR, LPCWSTR, DWORD, DWORD>);
    ExpectHashFailure(-2);
}

TEST_F(HashFailureTest, NoHashObject) {
    Patch("CryptCreateHash", &Refuse<HCRYPTPROV, ALG_ID, HCRYPTKEY, DWORD, HCRYPTHASH*>);
    ExpectHashFailure(-3);
}

TEST_F(HashFailureTest, HashingFails) {
    Patch("CryptHashData", &Refuse<HCRYPTHASH, const BYTE*, DWORD, DWORD>);
    ExpectHashFailure(-4);
}

TEST_F(HashFailureTest, TheDigestCannotBeRead) {
    Patch("CryptGetHashParam", &Refuse<HCRYPTHASH, DWORD, BYTE*, DWORD*, DWORD>);
    ExpectHashFailure(-5);
}

TEST_F(HashFailureTest, TheErrorIsThatOfTheFailureAndNotOfTheRelease) {
    Patch("CryptGetHashParam", &Refuse<HCRYPTHASH, DWORD, BYTE*, DWORD*, DWORD>);
    Patch(
        "CryptDestroyHash", +[](HCRYPTHASH hash) -> BOOL {
            const BOOL result = CryptDestroyHash(hash);
            SetLastError(ERROR_INVALID_HANDLE);
            return result;
        });
    Patch(
        "CryptReleaseContext", +[](HCRYPTPROV context, DWORD flags) -> BOOL {
            const BOOL result = CryptReleaseContext(context, flags);
            SetLastError(ERROR_INVALID_HANDLE);
            return result;
        });
    ExpectHashFailure(-5);
}

int contextsOpen;
int hashesOpen;

TEST_F(HashFailureTest, HashAndContextAreReleasedWhateverFails) {
    contextsOpen = hashesOpen = 0;
    Patch(
        "CryptAcquireContextW",
        +[](HCRYPTPROV* context, LPCWSTR container, LPCWSTR provider, DWORD type, DWORD flags) -> BOOL {
            EXPECT_EQ(container, nullptr);
            EXPECT_EQ(provider, nullptr);
            EXPECT_EQ(type, static_cast<DWORD>(PROV_RSA_AES));
            EXPECT_EQ(flags, CRYPT_VERIFYCONTEXT);
            ++contextsOpen;
            return CryptAcquireContextW(context, container, provider, type, flags);
        });
    Patch(
        "CryptReleaseContext", +[](HCRYPTPROV context, DWORD flags) -> BOOL {
            --contextsOpen;
            return CryptReleaseContext(context, flags);
        });
    Patch(
        "CryptCreateHash",
        +[](HCRYPTPROV context, ALG_ID algorithm, HCRYPTKEY key, DWORD flags, HCRYPTHASH* hash) -> BOOL {
            EXPECT_EQ(algorithm, static_cast<ALG_ID>(CALG_SHA_256));
            ++hashesOpen;
            return CryptCreateHash(context, algorithm, key, flags, hash);
        });
    Patch(
        "CryptDestroyHash", +[](HCRYPTHASH hash) -> BOOL {
            --hashesOpen;
            return CryptDestroyHash(hash);
        });
    Token(9);
    {
        const ImportPatch failing(library_.Module(), "CryptGetHashParam",
                                  &Refuse<HCRYPTHASH, DWORD, BYTE*, DWORD*, DWORD>);
        Token(9);
    }
    const ImportPatch failing(library_.Module(), "CryptHashData",
                              &Refuse<HCRYPTHASH, const BYTE*, DWORD, DWORD>);
    Token(9);
    EXPECT_EQ(contextsOpen, 0);
    EXPECT_EQ(hashesOpen, 0);
}

NTSTATUS WINAPI OpenNoAlgorithm(BCRYPT_ALG_HANDLE*, LPCWSTR algorithm, LPCWSTR implementation, ULONG flags) {
    EXPECT_STREQ(algorithm, L"AES");
    EXPECT_EQ(implementation, nullptr);
    EXPECT_EQ(flags, 0u);
    SetLastError(ERROR_ACCESS_DENIED);
    return kRefused;
}

TEST_F(ChannelFailureTest, ThereIsNoAes) {
    Patch("BCryptOpenAlgorithmProvider", &OpenNoAlgorithm);
    EXPECT_EQ(FailedReading(),
              (Lines{kDecoded, "debug: BCryptOpenAlgorithmProvider() failed, ret=0x0xc0000022, err=5",
                     "debug: failed to decrypt cipher, ret=-10, err=5, len=112", kNotDecrypted}));
}

int providersClosed;

NTSTATUS WINAPI CountProvider(BCRYPT_ALG_HANDLE provider, ULONG flags) {
    ++providersClosed;
    return BCryptCloseAlgorithmProvider(provider, flags);
}

NTSTATUS WINAPI MakeNoKey(BCRYPT_ALG_HANDLE, BCRYPT_KEY_HANDLE*, PUCHAR object, ULONG objectSize, PUCHAR,
                          ULONG size, ULONG flags) {
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(objectSize, 0u);
    EXPECT_EQ(size, 16u);
    EXPECT_EQ(flags, 0u);
    return kRefused;
}

TEST_F(ChannelFailureTest, ThereIsNoKeyObject) {
    providersClosed = 0;
    Patch("BCryptCloseAlgorithmProvider", &CountProvider);
    Patch("BCryptGenerateSymmetricKey", &MakeNoKey);
    const Lines log = FailedReading();
    ASSERT_EQ(log.size(), 4u);
    EXPECT_EQ(log[1].rfind("debug: BCryptGenerateSymmetricKey() failed, ret=0x0xc0000022, err=", 0), 0u)
        << log[1];
    EXPECT_EQ(log[2].rfind("debug: failed to decrypt cipher, ret=-12, err=", 0), 0u) << log[2];
    EXPECT_EQ(log[3], kNotDecrypted);
    EXPECT_EQ(providersClosed, 1);
}

int keysDestroyed;

NTSTATUS WINAPI CountKey(BCRYPT_KEY_HANDLE key) {
    EXPECT_EQ(providersClosed, 0); // first the key, then its provider
    ++keysDestroyed;
    return BCryptDestroyKey(key);
}

NTSTATUS WINAPI DecryptNothing(BCRYPT_KEY_HANDLE, PUCHAR, ULONG length, void* info, PUCHAR, ULONG ivSize,
                               PUCHAR, ULONG capacity, ULONG*, ULONG flags) {
    EXPECT_EQ(length, 112u);
    EXPECT_EQ(capacity, 112u);
    EXPECT_EQ(info, nullptr);
    EXPECT_EQ(ivSize, 16u);
    EXPECT_EQ(flags, static_cast<ULONG>(BCRYPT_BLOCK_PADDING));
    SetLastError(ERROR_ACCESS_DENIED);
    return kRefused;
}

TEST_F(ChannelFailureTest, DecryptingFails) {
    providersClosed = keysDestroyed = 0;
    Patch("BCryptCloseAlgorithmProvider", &CountProvider);
    Patch("BCryptDestroyKey", &CountKey);
    Patch("BCryptDecrypt", &DecryptNothing);
    const Lines log = FailedReading();
    ASSERT_EQ(log.size(), 4u);
    EXPECT_EQ(log[1], "debug: BCryptDecrypt(112,112) failed, ret=0x0xc0000022, err=5");
    EXPECT_EQ(log[2].rfind("debug: failed to decrypt cipher, ret=-13, err=", 0), 0u) << log[2];
    EXPECT_EQ(log[3], kNotDecrypted);
    EXPECT_EQ(keysDestroyed, 1);
    EXPECT_EQ(providersClosed, 1);
}

} // namespace
} // namespace zelto::test
