// No memory, at each allocation in turn: the exports answer, throw nothing and hold nothing.

#include "tests/auth_module/channel_test.h"

#include "tests/support/shortage.h"

#include <algorithm>
#include <functional>
#include <span>

namespace zelto::test {
namespace {

constexpr std::uint32_t kFailed = 0xA7000000;

class MemoryTest : public ChannelTest {
protected:
    MemoryTest() { Block(SoundBlock()); }

    // Lets each allocation of `call` fail in turn until none does. The result is AUTH_E_FAILED, or that of the module when
    // it is only the answer that could not be read; unless it is 0, the caller's buffers are as they were.
    void ExpectEachShortageToBeSurvived(int atLeast, const std::function<std::uint32_t()>& call) {
        Patch("malloc", &AllocateUntilShortage);
        ASSERT_EQ(call(), kOk); // what is allocated once is allocated now
        int failures = 0;
        for (int number = 1; number < 200; ++number) {
            FillBuffers();
            const std::uint32_t result = CallWithFailing(number, call);
            EXPECT_TRUE(result == kOk || BuffersAreAsFilled()) << "allocation " << number;
            EXPECT_EQ(HandlesInUse(), 0u) << "allocation " << number;
            EXPECT_EQ(call(), kOk) << "the one behind allocation " << number;
            if (!shortage.struck) {
                EXPECT_EQ(result, kOk);
                break;
            }
            failures += result == kFailed ? 1 : 0;
        }
        EXPECT_GE(failures, atLeast);
    }

private:
    void FillBuffers() {
        response_.fill('#');
        for (std::array<char, 256>* buffer : SmallBuffers()) {
            buffer->fill('#');
        }
    }

    bool BuffersAreAsFilled() {
        bool unchanged = IsFilled(response_);
        for (const std::array<char, 256>* buffer : SmallBuffers()) {
            unchanged = IsFilled(*buffer) && unchanged;
        }
        return unchanged;
    }

    std::array<std::array<char, 256>*, 5> SmallBuffers() {
        return {&serverIp_, &userName_, &password_, &certificate_, &token_};
    }

    static bool IsFilled(std::span<const char> buffer) {
        return std::all_of(buffer.begin(), buffer.end(), [](char character) { return character == '#'; });
    }

    static std::uint32_t CallWithFailing(int number, const std::function<std::uint32_t()>& call) {
        shortage = {GetCurrentThreadId(), number, false};
        std::uint32_t result = 0;
        EXPECT_NO_THROW(result = call()) << "allocation " << number;
        shortage.thread = 0;
        EXPECT_TRUE(result == kFailed || result == kOk) << std::hex << result;
        return result;
    }
};

TEST_F(MemoryTest, OfASamlSignIn) {
    ExpectEachShortageToBeSurvived(10, [&] { return Saml(); });
}

TEST_F(MemoryTest, OfAGuardedSamlSignIn) {
    ExpectEachShortageToBeSurvived(10, [&] { return Saml(library_.SamlAuthGetResponseUsingWebView2); });
    const KernelHandle guard(OpenMutexA(SYNCHRONIZE, FALSE, "SamlAuthGetResponseUsingWebView2"));
    EXPECT_FALSE(guard);
}

TEST_F(MemoryTest, OfABasicPrompt) {
    ExpectEachShortageToBeSurvived(5, [&] { return Basic(); });
}

TEST_F(MemoryTest, OfATwoFactorPrompt) {
    ExpectEachShortageToBeSurvived(4, [&] { return AuthModuleTest::TwoFactor(); });
}

std::uint32_t Ignore(void*, std::uint32_t, const char*) {
    return 0;
}

TEST_F(MemoryTest, OfATwoFactorPromptWithACallback) {
    const std::string description(1000, 'd'); // longer than what a string keeps inside itself
    Patch("malloc", &AllocateUntilShortage);
    shortage = {GetCurrentThreadId(), 1, false};
    EXPECT_EQ(library_.TwoFactorAuthGetResponse(description.c_str(), nullptr, 0, 1000, &Ignore, nullptr),
              kFailed);
    EXPECT_TRUE(shortage.struck);
    shortage.thread = 0;
}

TEST_F(MemoryTest, OfTheWorkersThread) {
    Patch("malloc", &AllocateUntilShortage);
    shortage = {GetCurrentThreadId(), 1, false}; // what the thread is given; a short description needs none
    EXPECT_EQ(library_.TwoFactorAuthGetResponse("", nullptr, 0, 1000, &Ignore, nullptr), kOk);
    EXPECT_TRUE(shortage.struck);
    shortage.thread = 0;
}

// What the worker reports when its allocation of this number fails.
int workersAllocation;
KernelHandle workersThread;
std::uint32_t reportedResult;
std::string reportedAnswer;

std::uintptr_t __cdecl BeginWithShortage(void* security, unsigned stack, _beginthreadex_proc_type start,
                                         void* argument, unsigned flags, unsigned*) {
    unsigned id = 0;
    const std::uintptr_t handle =
        _beginthreadex(security, stack, start, argument, flags | CREATE_SUSPENDED, &id);
    workersThread = DuplicateKernelHandle(reinterpret_cast<HANDLE>(handle));
    shortage = {id, workersAllocation, false};
    ResumeThread(reinterpret_cast<HANDLE>(handle));
    return handle;
}

std::uint32_t Remember(void*, std::uint32_t result, const char* answer) {
    shortage.thread = 0;
    reportedResult = result;
    reportedAnswer = answer;
    return 0;
}

TEST_F(MemoryTest, OnTheWorkersThreadIsReportedToTheCallback) {
    Patch("malloc", &AllocateUntilShortage);
    Patch("_beginthreadex", &BeginWithShortage);
    int failures = 0;
    for (workersAllocation = 1; workersAllocation < 200; ++workersAllocation) {
        reportedResult = 0x12345678;
        ASSERT_EQ(library_.TwoFactorAuthGetResponse("", nullptr, 0, 1000, &Remember, nullptr), kOk);
        ASSERT_TRUE(IsSignalledSoon(workersThread.get()));
        if (!shortage.struck) {
            break;
        }
        // It is the whole prompt that fails, or only the answer that cannot be read.
        EXPECT_TRUE(reportedResult == kFailed || reportedResult == kOk) << std::hex << reportedResult;
        EXPECT_EQ(reportedAnswer, "") << "allocation " << workersAllocation;
        failures += reportedResult == kFailed ? 1 : 0;
    }
    EXPECT_GE(failures, 4);
    EXPECT_EQ(reportedResult, kOk); // with enough memory
    EXPECT_NE(reportedAnswer, "");
}

TEST_F(MemoryTest, IsLogged) {
    Patch("malloc", &AllocateUntilShortage);
    shortage = {GetCurrentThreadId(), 1, false};
    EXPECT_EQ(Saml(), kFailed);
    shortage.thread = 0;
    const std::vector<std::string> expected = {
        "error: SamlGetResponseUsingExternalAuthProvider() out of memory.",
        "info: SamlGetResponseUsingExternalAuthProvider exit with HRESULT=0x0xa7000000"};
    EXPECT_EQ(Log(), expected);
}

} // namespace
} // namespace zelto::test
