// After each of the exports the answer is nowhere in the process's memory but in the caller's buffers.

#include "tests/auth_module/auth_module_test.h"

#include "tests/auth_module/secret_search.h"
#include "tests/support/shortage.h"

#include <atomic>
#include <bcrypt.h>
#include <cstring>

namespace zelto::test {
namespace {

constexpr std::uint32_t kFailed = 0xA7000000;

const MaskedSecret firstSecret(1);
const MaskedSecret secondSecret(2);

// Takes wipes of a secret out: the one with the number `skippedWipe`, counted from 1, or all with -1.
int skippedWipe;
std::atomic<int> wipes;

bool HoldsASecret(const unsigned char* bytes, std::size_t size) {
    for (std::size_t i = 0; i + 16 <= size; ++i) {
        if (firstSecret.HasWindowAt(bytes + i) || secondSecret.HasWindowAt(bytes + i)) {
            return true;
        }
    }
    return false;
}

void* __cdecl SetUnlessSkipped(void* bytes, int value, std::size_t size) {
    if (value == 0 && HoldsASecret(static_cast<const unsigned char*>(bytes), size)) {
        const int number = ++wipes;
        if (skippedWipe == number || skippedWipe == -1) {
            return bytes;
        }
    }
    return std::memset(bytes, value, size);
}

// Decrypts zeros: the processor's registers still hold a block of what this thread has decrypted last, and the system may
// keep a thread's registers where the process can read them.
void DecryptSomethingElse() {
    BCRYPT_ALG_HANDLE algorithm = nullptr;
    BCRYPT_KEY_HANDLE key = nullptr;
    unsigned char zeros[112] = {};
    unsigned char output[112] = {};
    ULONG size = 0;
    BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_AES_ALGORITHM, nullptr, 0);
    BCryptGenerateSymmetricKey(algorithm, &key, nullptr, 0, zeros, 16, 0);
    BCryptDecrypt(key, zeros, sizeof(zeros), nullptr, zeros, 16, output, sizeof(output), &size, 0);
    BCryptDestroyKey(key);
    BCryptCloseAlgorithmProvider(algorithm, 0);
}

class WipingTest : public AuthModuleTest {
protected:
    WipingTest() {
        skippedWipe = wipes = 0;
        // What the library frees stays as it left it, and nobody else writes over it.
        Patch("free", +[](void*) {});
    }
    ~WipingTest() override { TakePatchesAway(); }

    // The action that answers with first secret, `middle`, second secret and `end`.
    static std::string SecretAnswer(const std::string& middle, const std::string& end,
                                    const std::string& action = "answer ") {
        return action + firstSecret.Hex() + Answer(middle).substr(7) + secondSecret.Hex() +
               Answer(end).substr(7);
    }

    std::size_t Copies() {
        DecryptSomethingElse();
        const std::size_t first = FindCopies(firstSecret, buffers_).size();
        return first + FindCopies(secondSecret, buffers_).size();
    }

    // The caller's own.
    const std::array<Region, 6> buffers_ = {
        Region{response_.data(), response_.size()}, {serverIp_.data(), serverIp_.size()},
        {userName_.data(), userName_.size()},       {password_.data(), password_.size()},
        {certificate_.data(), certificate_.size()}, {token_.data(), token_.size()}};
};

// The search itself.
TEST_F(WipingTest, FindsACopyWhereverItIs) {
    EXPECT_EQ(Copies(), 0u);
    const std::string hex = firstSecret.Hex();
    const std::unique_ptr<char[]> heap(new char[MaskedSecret::kSize]);
    for (std::size_t i = 0; i < MaskedSecret::kSize; ++i) {
        heap[i] = static_cast<char>(std::strtoul(hex.substr(2 * i, 2).c_str(), nullptr, 16));
    }
    EXPECT_EQ(Copies(), 5u); // its windows
    char stack[20] = {};
    std::memcpy(stack, heap.get() + 8, sizeof(stack));
    EXPECT_EQ(Copies(), 6u);
    std::memset(stack, 0, sizeof(stack));
    std::memset(heap.get(), 0, MaskedSecret::kSize);
    EXPECT_EQ(Copies(), 0u);
}

TEST_F(WipingTest, SamlSuccess) {
    Script({SecretAnswer("", "\nServerIp:10.0.0.1\nOther:x")});
    EXPECT_EQ(Saml(), kOk);
    EXPECT_TRUE(firstSecret.Is(response_.data()));
    EXPECT_TRUE(secondSecret.Is(response_.data() + MaskedSecret::kSize));
    EXPECT_STREQ(serverIp_.data(), "10.0.0.1");
    EXPECT_EQ(Copies(), 0u);
}

TEST_F(WipingTest, SamlSuccessThroughEachOfTheThree) {
    Script({SecretAnswer("", "\nServerIp:10.0.0.1")});
    for (const SamlExport function :
         {library_.SamlAuthGetResponseUsingElectron, library_.SamlAuthGetResponseUsingWebBrowser,
          library_.SamlAuthGetResponseUsingWebView2}) {
        EXPECT_EQ(Saml(function), kOk);
        EXPECT_TRUE(firstSecret.Is(response_.data()));
        EXPECT_EQ(Copies(), 0u);
    }
}

TEST_F(WipingTest, SamlResponseThatIsCut) {
    responseSize_ = 20;
    Script({SecretAnswer("", "\nServerIp:10.0.0.1")});
    EXPECT_EQ(Saml(), kOk);
    EXPECT_EQ(Copies(), 0u);
}

TEST_F(WipingTest, SamlFailureOfTheModule) {
    Script({SecretAnswer("", "\nServerIp:10.0.0.1"), "exit 1"});
    EXPECT_EQ(Saml(), 1u);
    EXPECT_STREQ(response_.data(), "old");
    EXPECT_EQ(Copies(), 0u);
}

TEST_F(WipingTest, SamlAnswerThatDoesNotDecrypt) {
    Script({SecretAnswer("", "", "damaged ")});
    EXPECT_EQ(Saml(), kOk);
    EXPECT_STREQ(response_.data(), "");
    EXPECT_EQ(Copies(), 0u);
}

TEST_F(WipingTest, SamlCancelAfterTheAnswer) {
    EXPECT_EQ(Cancelled([&] { return Saml(); }, SecretAnswer("", "")), kCancelled);
    EXPECT_EQ(Copies(), 0u);
}

TEST_F(WipingTest, BasicSuccess) {
    Script({SecretAnswer("\n", "\ncertificate")});
    EXPECT_EQ(Basic(), kOk);
    EXPECT_TRUE(firstSecret.Is(userName_.data()));
    EXPECT_TRUE(secondSecret.Is(password_.data()));
    EXPECT_EQ(Copies(), 0u);
}

TEST_F(WipingTest, BasicAnswerOfAnotherForm) {
    Script({SecretAnswer("\n", "\ncertificate\n")});
    EXPECT_EQ(Basic(), kOk);
    EXPECT_STREQ(password_.data(), "old");
    EXPECT_EQ(Copies(), 0u);
}

TEST_F(WipingTest, BasicFailureOfTheModule) {
    Script({SecretAnswer("\n", "\ncertificate"), "exit 1"});
    EXPECT_EQ(Basic(), 1u);
    EXPECT_EQ(Copies(), 0u);
}

TEST_F(WipingTest, BasicAnswerThatDoesNotDecrypt) {
    Script({SecretAnswer("\n", "\ncertificate", "damaged ")});
    EXPECT_EQ(Basic(), kOk);
    EXPECT_EQ(Copies(), 0u);
}

TEST_F(WipingTest, BasicCancelAfterTheAnswer) {
    EXPECT_EQ(Cancelled([&] { return Basic(); }, SecretAnswer("\n", "\ncertificate")), kCancelled);
    EXPECT_EQ(Copies(), 0u);
}

// With fewer buffers than the answer has fields.
TEST_F(WipingTest, BasicWithoutACertificate) {
    Script({SecretAnswer("\n", "\ncertificate")});
    EXPECT_EQ(library_.BasicAuthGetResponse(userName_.data(), 256, password_.data(), 256, nullptr, 0,
                                            description_, timeoutMs_),
              kOk);
    EXPECT_TRUE(firstSecret.Is(userName_.data()));
    EXPECT_TRUE(secondSecret.Is(password_.data()));
    EXPECT_EQ(Copies(), 0u);
}

TEST_F(WipingTest, BasicWithACertificateOnly) {
    Script({SecretAnswer("\n", "\ncertificate")});
    EXPECT_EQ(library_.BasicAuthGetResponse(nullptr, 0, nullptr, 0, certificate_.data(), 256, description_,
                                            timeoutMs_),
              kOk);
    EXPECT_STREQ(certificate_.data(), "certificate");
    EXPECT_EQ(Copies(), 0u);
}

// The search comes once, behind all: what is freed stays as it is.
TEST_F(WipingTest, ExitCodeThatCannotBeRead) {
    Patch("GetExitCodeProcess", +[](HANDLE, LPDWORD) -> BOOL { return FALSE; });
    Script({SecretAnswer("\n", "\ncertificate")});
    EXPECT_EQ(Saml(), kFailed);
    EXPECT_EQ(Basic(), kFailed);
    EXPECT_EQ(TwoFactor(), kFailed);
    EXPECT_STREQ(response_.data(), "old");
    EXPECT_STREQ(password_.data(), "old");
    EXPECT_STREQ(token_.data(), "old");
    EXPECT_EQ(Copies(), 0u);
}

// The answer is in the block when the wait fails.
TEST_F(WipingTest, WaitThatFails) {
    Patch(
        "WaitForMultipleObjects", +[](DWORD, const HANDLE* handles, BOOL, DWORD) -> DWORD {
            EXPECT_EQ(WaitForSingleObject(handles[0], 60'000), WAIT_OBJECT_0);
            return WAIT_FAILED;
        });
    Script({SecretAnswer("\n", "\ncertificate")});
    EXPECT_EQ(Saml(), kCancelled);
    EXPECT_EQ(Basic(), kCancelled);
    EXPECT_EQ(TwoFactor(), kCancelled);
    EXPECT_EQ(Copies(), 0u);
}

TEST_F(WipingTest, TwoFactorCancelAfterTheAnswer) {
    EXPECT_EQ(Cancelled([&] { return TwoFactor(); }, SecretAnswer("", "")), kCancelled);
    EXPECT_EQ(Copies(), 0u);
}

TEST_F(WipingTest, TwoFactorSuccess) {
    Script({SecretAnswer("", "")});
    EXPECT_EQ(TwoFactor(), kOk);
    EXPECT_TRUE(firstSecret.Is(token_.data()));
    EXPECT_EQ(Copies(), 0u);
}

TEST_F(WipingTest, TwoFactorWithoutABuffer) {
    Script({SecretAnswer("", "")});
    EXPECT_EQ(library_.TwoFactorAuthGetResponse("", nullptr, 0, 1000, nullptr, nullptr), kOk);
    EXPECT_EQ(Copies(), 0u);
}

TEST_F(WipingTest, TwoFactorFailureOfTheModule) {
    Script({SecretAnswer("", ""), "exit 1"});
    EXPECT_EQ(TwoFactor(), 1u);
    EXPECT_EQ(Copies(), 0u);
}

// What the callback sees, and a way to wait for the end of its thread.
struct CallbackView {
    bool wasTheSecret = false;
    KernelHandle thread;
    KernelHandle called{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

std::uint32_t LookAtTheToken(void* context, std::uint32_t, const char* answer) {
    auto* const seen = static_cast<CallbackView*>(context);
    seen->wasTheSecret =
        *answer != '\0' && firstSecret.Is(answer) && secondSecret.Is(answer + MaskedSecret::kSize);
    DecryptSomethingElse();
    HANDLE thread = nullptr;
    DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &thread, SYNCHRONIZE, FALSE,
                    0);
    seen->thread.reset(thread);
    SetEvent(seen->called.get());
    return 0;
}

TEST_F(WipingTest, TwoFactorWithACallback) {
    for (const char* exit : {"exit 0", "exit 1"}) {
        CallbackView seen;
        Script({SecretAnswer("", ""), exit});
        EXPECT_EQ(library_.TwoFactorAuthGetResponse("", nullptr, 0, 1000, &LookAtTheToken, &seen), kOk);
        ASSERT_TRUE(IsSignalledSoon(seen.called.get()));
        ASSERT_TRUE(IsSignalledSoon(seen.thread.get()));
        EXPECT_TRUE(seen.wasTheSecret);
        EXPECT_EQ(Copies(), 0u);
    }
}

TEST_F(WipingTest, TwoFactorCancelWithACallback) {
    CallbackView seen;
    const HANDLE started = NamedEvent("zelto test module started");
    NamedEvent("zelto test never");
    Script({SecretAnswer("", ""), "signal zelto test module started", "wait zelto test never"});
    EXPECT_EQ(library_.TwoFactorAuthGetResponse("", nullptr, 0, 1000, &LookAtTheToken, &seen), kOk);
    ASSERT_TRUE(IsSignalledSoon(started));
    EXPECT_NE(library_.StopRunningZeltoAuth(), 0);
    ASSERT_TRUE(IsSignalledSoon(seen.called.get()));
    ASSERT_TRUE(IsSignalledSoon(seen.thread.get()));
    EXPECT_FALSE(seen.wasTheSecret);
    EXPECT_EQ(Copies(), 0u);
}

// The export's allocation of this number behind the decryption fails.
int allocationBehindDecryption;

NTSTATUS WINAPI DecryptAndRunShort(BCRYPT_KEY_HANDLE key, PUCHAR input, ULONG inputSize, VOID* padding,
                                   PUCHAR vector, ULONG vectorSize, PUCHAR output, ULONG outputSize,
                                   ULONG* written, ULONG flags) {
    const NTSTATUS status =
        BCryptDecrypt(key, input, inputSize, padding, vector, vectorSize, output, outputSize, written, flags);
    shortage = {GetCurrentThreadId(), allocationBehindDecryption, false};
    return status;
}

class ShortageWipingTest : public WipingTest {
protected:
    ShortageWipingTest() {
        Patch("malloc", &AllocateUntilShortage);
        Patch("BCryptDecrypt", &DecryptAndRunShort);
    }
    ~ShortageWipingTest() override { shortage.thread = 0; }

    // With the first allocation the answer itself is missing, and the result is that of the module.
    template <class Call>
    void ExpectNoCopies(const std::vector<int>& allocations, Call call) {
        for (const int number : allocations) {
            allocationBehindDecryption = number;
            EXPECT_EQ(call(), number == 1 ? kOk : kFailed) << "allocation " << number;
            shortage.thread = 0;
            EXPECT_TRUE(shortage.struck) << "allocation " << number;
            EXPECT_EQ(Copies(), 0u) << "allocation " << number;
        }
    }
};

// The answer; the list of lines, when it grows for the second one; a field.
TEST_F(ShortageWipingTest, Saml) {
    Script({SecretAnswer("", "\nServerIp:10.0.0.1\nOther:x")});
    ExpectNoCopies({1, 4, 9}, [&] { return Saml(); });
    EXPECT_STREQ(response_.data(), "");
}

// The list of fields, when it grows for the second one; the third field.
TEST_F(ShortageWipingTest, Basic) {
    Script({SecretAnswer("\n", "\ncertificate")});
    ExpectNoCopies({4, 7}, [&] { return Basic(); });
    EXPECT_STREQ(password_.data(), "old");
}

TEST_F(ShortageWipingTest, TwoFactor) {
    Script({SecretAnswer("", "")});
    ExpectNoCopies({1}, [&] { return AuthModuleTest::TwoFactor(); });
    EXPECT_STREQ(token_.data(), "");
}

// Each wipe of a secret is needed: with any single one of them taken out, the search finds what is left.
class MissingWipeTest : public WipingTest {
protected:
    template <class Call>
    void ExpectEachWipeToCount(int atLeast, Call call) {
        Patch("memset", &SetUnlessSkipped);
        call();
        const int all = wipes;
        EXPECT_GE(all, atLeast);
        EXPECT_EQ(Copies(), 0u);
        for (int number = 1; number <= all; ++number) {
            skippedWipe = number;
            wipes = 0;
            call();
            EXPECT_GT(Copies(), 0u) << "wipe " << number << " of " << all;
            skippedWipe = 0;
            WipeLeftovers();
        }
    }

private:
    // Finds what the missing wipe has left, and removes it.
    void WipeLeftovers() {
        for (const MaskedSecret* secret : {&firstSecret, &secondSecret}) {
            for (const Region& copy : FindCopies(*secret, buffers_)) {
                std::memset(const_cast<void*>(copy.begin), '#', copy.size);
            }
        }
    }
};

TEST_F(MissingWipeTest, Saml) {
    Script({SecretAnswer("", "\nServerIp:10.0.0.1\nOther:x")});
    ExpectEachWipeToCount(3, [&] { EXPECT_EQ(Saml(), kOk); }); // plaintext, answer, first line
}

TEST_F(MissingWipeTest, Basic) {
    Script({SecretAnswer("\n", "\ncertificate")});
    ExpectEachWipeToCount(4, [&] { EXPECT_EQ(Basic(), kOk); }); // plaintext, answer, two fields
}

TEST_F(MissingWipeTest, TwoFactor) {
    Script({SecretAnswer("", "")});
    ExpectEachWipeToCount(2, [&] { EXPECT_EQ(AuthModuleTest::TwoFactor(), kOk); }); // plaintext, answer
}

TEST_F(MissingWipeTest, AnswerThatDoesNotDecrypt) {
    Script({SecretAnswer("", "", "damaged ")});
    ExpectEachWipeToCount(1, [&] { EXPECT_EQ(AuthModuleTest::TwoFactor(), kOk); }); // plaintext
}

} // namespace
} // namespace zelto::test
