// Nothing stays behind: no handle, no child, no memory, and of the secrets not even a trace in freed memory.

#include "tests/azure_token/token_test.h"
#include "tests/support/process_counts.h"
#include "tests/support/shortage.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <malloc.h>

namespace zelto::test {
namespace {

// The system makes a handle or two of its own when it first needs them. One that each call leaves would be
// ten.
constexpr std::size_t kHandlesSlack = 2;
constexpr int kCalls = 10;

constexpr wchar_t kSecretOutput[] = L"some-text-before|correct-horse-battery-staple";
constexpr std::string_view kSecretText = "some-text-before";
constexpr std::string_view kSecretToken = "correct-horse-battery";

BOOL WINAPI RefusePipe(HANDLE*, HANDLE*, SECURITY_ATTRIBUTES*, DWORD) {
    return FALSE;
}

int pipes = 0;
BOOL WINAPI RefuseEverySecondPipe(HANDLE* read, HANDLE* write, SECURITY_ATTRIBUTES* attributes, DWORD size) {
    return ++pipes % 2 == 0 ? FALSE : CreatePipe(read, write, attributes, size);
}

// Blocks that the library has allocated and not freed, and those that held a secret when they were freed.
std::atomic<long> blocks;
std::atomic<int> revealing;
std::atomic<int> countdown; // the allocation that brings it to 0 fails

bool Holds(const void* block, std::string_view secret) {
    const std::string_view bytes(static_cast<const char*>(block), _msize(const_cast<void*>(block)));
    return bytes.find(secret) != std::string_view::npos;
}

void* __cdecl Allocate(std::size_t size) {
    void* const block = --countdown == 0 ? nullptr : std::malloc(size);
    blocks += block != nullptr ? 1 : 0;
    return block;
}

void __cdecl Free(void* block) {
    if (block != nullptr) {
        revealing += Holds(block, kSecretText) || Holds(block, kSecretToken) ? 1 : 0;
        --blocks;
    }
    std::free(block);
}

class TokenResourcesTest : public TokenTest {
protected:
    // Runs the road to its end some times and expects the process to hold what it held.
    void ExpectNothingLeft(std::uint32_t result) {
        EXPECT_EQ(Fetch(), result); // what the system opens once is open now
        const std::size_t handles = CountHandles();
        const std::size_t children = CountChildProcesses(); // Windows Installer's own
        for (int i = 0; i < kCalls; ++i) {
            EXPECT_EQ(Fetch(), result);
        }
        EXPECT_LE(CountHandles(), handles + kHandlesSlack);
        EXPECT_LE(CountChildProcesses(), children);
    }

    void WatchMemory() {
        Patch("malloc", &Allocate);
        Patch("free", &Free);
        countdown = 0;
        blocks = 0;
        revealing = 0;
    }
};

TEST_F(TokenResourcesTest, AToken) {
    ExpectNothingLeft(0);
}

TEST_F(TokenResourcesTest, NoSeparator) {
    Behave(L"write", L"no account");
    ExpectNothingLeft(kTokenFailed);
}

TEST_F(TokenResourcesTest, NoInputPipe) {
    Patch("CreatePipe", &RefusePipe);
    ExpectNothingLeft(kTokenFailed);
}

TEST_F(TokenResourcesTest, NoOutputPipe) {
    pipes = 0;
    Patch("CreatePipe", &RefuseEverySecondPipe);
    ExpectNothingLeft(kTokenFailed);
}

TEST_F(TokenResourcesTest, NoTokenProgram) {
    Patch("MsiEnumRelatedProductsW", &FindNoProduct);
    ExpectNothingLeft(kTokenFailed);
}

TEST_F(TokenResourcesTest, NoProcess) {
    Patch("CreateProcessW", &RefuseProcess);
    ExpectNothingLeft(kTokenFailed);
}

BOOL WINAPI ReadOnceThenFail(HANDLE file, LPVOID bytes, DWORD size, DWORD* read, OVERLAPPED* overlapped) {
    static HANDLE readOnce = nullptr;
    readOnce = readOnce == nullptr ? file : nullptr;
    if (readOnce != nullptr) {
        return ReadFile(file, bytes, size, read, overlapped);
    }
    SetLastError(ERROR_READ_FAULT);
    return FALSE;
}

BOOL WINAPI RefuseExitCode(HANDLE, DWORD*) {
    return FALSE;
}

TEST_F(TokenResourcesTest, AFailedRead) {
    Patch("ReadFile", &ReadOnceThenFail);
    ExpectNothingLeft(0);
}

TEST_F(TokenResourcesTest, NoExitCode) {
    Patch("GetExitCodeProcess", &RefuseExitCode);
    ExpectNothingLeft(0);
}

TEST_F(TokenResourcesTest, ACrash) {
    Behave(L"crash");
    ExpectNothingLeft(kTokenFailed);
}

TEST_F(TokenResourcesTest, TheOutputBeforeAFailedReadIsWiped) {
    Behave(L"write", kSecretOutput);
    Patch("ReadFile", &ReadOnceThenFail);
    WatchMemory();
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(blocks, 0);
    EXPECT_EQ(revealing, 0);
}

TEST_F(TokenResourcesTest, WithoutAnExitCodeTheOutputIsWiped) {
    Behave(L"write", kSecretOutput);
    Patch("GetExitCodeProcess", &RefuseExitCode);
    WatchMemory();
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(revealing, 0);
}

TEST_F(TokenResourcesTest, TheOutputBeforeACrashIsWiped) {
    Behave(L"crash", kSecretOutput);
    WatchMemory();
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(blocks, 0);
    EXPECT_EQ(revealing, 0);
}

TEST_F(TokenResourcesTest, OutputAndTokenAreWipedBeforeTheirStorageIsFreed) {
    Behave(L"write", kSecretOutput);
    WatchMemory();
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(blocks, 0);
    EXPECT_EQ(revealing, 0);
}

// Pieces make the output's storage grow; what it has grown out of is wiped, too.
TEST_F(TokenResourcesTest, AGrowingOutputIsWipedAtEachStep) {
    Behave(L"write", kSecretOutput + std::wstring(20'000, L'x'));
    WatchMemory();
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(blocks, 0);
    EXPECT_EQ(revealing, 0);
}

TEST_F(TokenResourcesTest, AnOutputWithoutASeparatorIsWiped) {
    Behave(L"write", L"some-text-before");
    WatchMemory();
    EXPECT_EQ(Fetch(), kTokenFailed);
    EXPECT_EQ(revealing, 0);
}

TEST_F(TokenResourcesTest, ATokenThatDoesNotFitIsWiped) {
    bufferSize_ = 4;
    Behave(L"write", kSecretOutput);
    WatchMemory();
    EXPECT_EQ(Fetch(), 0u);
    EXPECT_EQ(Token(), "");
    EXPECT_EQ(revealing, 0);
}

// The watch itself works.
TEST_F(TokenResourcesTest, TheWatchSeesWhatIsNotWiped) {
    WatchMemory();
    void* const block = Allocate(64);
    std::memcpy(block, kSecretToken.data(), kSecretToken.size());
    Free(block);
    EXPECT_EQ(revealing, 1);
}

class TokenShortageTest : public TokenResourcesTest {
protected:
    // Fetches with each allocation failing in turn, until none does, and gives the number of failures.
    int FetchWithEachAllocationFailing() {
        for (int number = 1;; ++number) {
            SCOPED_TRACE(number);
            std::memcpy(buffer_.data(), kOldText, sizeof(kOldText));
            countdown = number;
            std::uint32_t result = 0;
            EXPECT_NO_THROW(result = Fetch());
            if (countdown > 0) {
                EXPECT_EQ(result, 0u);
                return number - 1;
            }
            EXPECT_EQ(result, kTokenFailed);
            EXPECT_EQ(Token(), kOldText);
        }
    }
};

TEST_F(TokenShortageTest, LackOfMemoryIsAFailureAndNoException) {
    Behave(L"write", kSecretOutput + std::wstring(20'000, L'x'));
    buffer_.resize(40'000);
    bufferSize_ = 40'000;
    WatchMemory();
    EXPECT_GT(FetchWithEachAllocationFailing(), 3);
    const std::size_t handles = CountHandles(); // what the first exceptions need is there now
    int failures = 0;
    for (int round = 0; round < 4; ++round) {
        failures = FetchWithEachAllocationFailing();
    }
    EXPECT_LE(CountHandles(), handles + kHandlesSlack); // one that a single allocation leaves would be four
    EXPECT_EQ(blocks, 0);
    EXPECT_EQ(revealing, 0);

    const std::vector<std::string> log = Log();
    const std::string outOfMemory = "error: SamlAuthGetAzureToken() out of memory.";
    EXPECT_EQ(std::count(log.begin(), log.end(), outOfMemory), 5 * failures);
}

// What the export has done with the program since the last test.
std::size_t bytesRead = 0;
DWORD exitCodeSeen = STILL_ACTIVE;

BOOL WINAPI ReadAndCount(HANDLE file, LPVOID bytes, DWORD size, DWORD* read, OVERLAPPED* overlapped) {
    const BOOL result = ReadFile(file, bytes, size, read, overlapped);
    bytesRead += result ? *read : 0;
    return result;
}

BOOL WINAPI SeeExitCode(HANDLE process, DWORD* code) {
    const BOOL result = GetExitCodeProcess(process, code);
    exitCodeSeen = *code;
    return result;
}

// Starts the program, and has the calling thread's fifth allocation fail from then on.
BOOL WINAPI StartAndRunShort(LPCWSTR application, LPWSTR commandLine, SECURITY_ATTRIBUTES* process,
                             SECURITY_ATTRIBUTES* thread, BOOL inherits, DWORD flags, LPVOID environment,
                             LPCWSTR folder, STARTUPINFOW* startup, PROCESS_INFORMATION* information) {
    shortage = {GetCurrentThreadId(), 5, false};
    return CreateProcessW(application, commandLine, process, thread, inherits, flags, environment, folder,
                          startup, information);
}

class TokenLargeOutputTest : public TokenShortageTest {
protected:
    // Runs the export with a program whose output there is no memory for.
    void FailToKeepOutput() {
        Patch("CreateProcessW", &StartAndRunShort);
        Patch("malloc", &AllocateUntilShortage);
        Behave(L"large");
        ExpectFailure();
        EXPECT_TRUE(shortage.struck);
        shortage = {};
    }
};

TEST_F(TokenLargeOutputTest, ThatThereIsNoMemoryForIsReadToItsEndAllTheSame) {
    bytesRead = 0;
    exitCodeSeen = STILL_ACTIVE;
    Patch("ReadFile", &ReadAndCount);
    Patch("GetExitCodeProcess", &SeeExitCode);
    FailToKeepOutput();
    EXPECT_EQ(bytesRead, (10u << 20) + 2);
    EXPECT_EQ(exitCodeSeen, 0u); // its end was waited for
}

const volatile char* lastChunk = nullptr; // where the library has read to last
std::size_t lettersLeft = 0;              // what stands there of the alphabet when the program has ended

BOOL WINAPI ReadAndRemember(HANDLE file, LPVOID bytes, DWORD size, DWORD* read, OVERLAPPED* overlapped) {
    lastChunk = static_cast<const char*>(bytes);
    return ReadFile(file, bytes, size, read, overlapped);
}

BOOL WINAPI LookAtLastChunk(HANDLE process, DWORD* code) {
    for (std::size_t i = 0; i + 1 < 2048; ++i) {
        const char letter = lastChunk[i];
        lettersLeft += letter >= 'a' && letter < 'z' && lastChunk[i + 1] == letter + 1 ? 1u : 0u;
    }
    return GetExitCodeProcess(process, code);
}

// It is read to the stack, where later calls may overwrite some of it, but not most.
TEST_F(TokenLargeOutputTest, ThatThereIsNoMemoryForIsWiped) {
    lettersLeft = 0;
    Patch("ReadFile", &ReadAndRemember);
    Patch("GetExitCodeProcess", &LookAtLastChunk);
    FailToKeepOutput();
    EXPECT_LT(lettersLeft, 16u);
}

} // namespace
} // namespace zelto::test
