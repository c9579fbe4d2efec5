#include "tests/auth_module/auth_module_test.h"

#include "tests/support/process_counts.h"

#include <future>
#include <process.h>

namespace zelto::test {
namespace {

using Lines = std::vector<std::string>;

std::uintptr_t __cdecl BeginNoThread(void*, unsigned, _beginthreadex_proc_type, void*, unsigned, unsigned*) {
    errno = EAGAIN;
    return 0;
}

class TwoFactorTest : public AuthModuleTest {
protected:
    // The next test loads the library anew: a worker on its way out would keep this one, and itself, for it.
    ~TwoFactorTest() override {
        TakePatchesAway();
        library_.Unload();
        WaitUntilTheLibraryHasGone();
    }

    static void WaitUntilTheLibraryHasGone() {
        for (int wait = 0; wait < 6000 && LibraryIsLoaded(); ++wait) {
            Sleep(10); // nothing tells that the worker has left the library
        }
    }

    // What the callback was given.
    struct Outcome {
        std::uint32_t result = 0;
        std::string answer;
        DWORD thread = 0;
    };

    // A prompt with a callback; its outcome comes through the future.
    struct Prompt {
        std::promise<Outcome> outcome;
    };

    static std::uint32_t Report(void* context, std::uint32_t result, const char* answer) {
        // Taken out first: whoever waits for the outcome may be gone with the prompt at once.
        std::promise<Outcome> outcome = std::move(static_cast<Prompt*>(context)->outcome);
        outcome.set_value({result, answer, GetCurrentThreadId()});
        return 0x12345678; // means nothing
    }

    std::uint32_t Start(Prompt& prompt) {
        return library_.TwoFactorAuthGetResponse(tokenDescription_, token_.data(), token_.size(), timeoutMs_,
                                                 &Report, &prompt);
    }

    // Starts a prompt, again while the worker before it is on its way out.
    std::uint32_t StartWhenTheWorkerHasEnded(Prompt& prompt) {
        std::uint32_t result = Start(prompt);
        for (int wait = 0; wait < 6000 && result == kBusy; ++wait) {
            Sleep(10); // nothing tells a caller that the worker has ended
            result = Start(prompt);
        }
        return result;
    }

    // Starts a prompt so, and waits for its outcome.
    Outcome Ask() {
        Prompt prompt;
        std::future<Outcome> outcome = prompt.outcome.get_future();
        EXPECT_EQ(StartWhenTheWorkerHasEnded(prompt), kOk);
        return outcome.get();
    }

    std::wstring Options() {
        const std::wstring line = Record().commandLine;
        return line.substr(line.find(L' ', line.find(L"--receiver=")) + 1);
    }
};

TEST_F(TwoFactorTest, TheWholeAnswerIsTheToken) {
    Script({Answer("123\n456:789\n")});
    EXPECT_EQ(TwoFactor(), kOk);
    EXPECT_STREQ(token_.data(), "123\n456:789\n");
    EXPECT_EQ(Record().commandLine.substr(0, 38), L" --provider-name=ZeltoAuth --receiver=");
    EXPECT_EQ(Options(), L"--object=2fa --description=\"Enter the code\" --timeout=60");
}

TEST_F(TwoFactorTest, ANullDescriptionIsEmpty) {
    tokenDescription_ = nullptr;
    EXPECT_EQ(TwoFactor(), kOk);
    EXPECT_EQ(Options(), L"--object=2fa --description=\"\" --timeout=60");
}

TEST_F(TwoFactorTest, AnyTimeoutIsAccepted) {
    timeoutMs_ = 999;
    EXPECT_EQ(TwoFactor(), kOk);
    EXPECT_EQ(Options(), L"--object=2fa --description=\"Enter the code\" --timeout=0");
    timeoutMs_ = 0xFFFFFFFF;
    EXPECT_EQ(TwoFactor(), kOk);
    EXPECT_EQ(Options(), L"--object=2fa --description=\"Enter the code\" --timeout=4294967");
}

TEST_F(TwoFactorTest, WithoutABufferTheTokenIsDropped) {
    Script({Answer("123456")});
    EXPECT_EQ(library_.TwoFactorAuthGetResponse("", nullptr, 64, 60'000, nullptr, nullptr), kOk);
    EXPECT_EQ(library_.TwoFactorAuthGetResponse("", token_.data(), 0, 60'000, nullptr, nullptr), kOk);
    EXPECT_STREQ(token_.data(), "old");
}

TEST_F(TwoFactorTest, TheTokenIsCutToItsBuffer) {
    for (const std::size_t size : {1u, 6u, 7u, 8u}) {
        token_.fill('#');
        Script({Answer("123456")});
        EXPECT_EQ(library_.TwoFactorAuthGetResponse("", token_.data(), size, 60'000, nullptr, nullptr), kOk);
        const std::string expected = std::string("123456").substr(0, size - 1);
        EXPECT_EQ(token_.data(), expected);
        EXPECT_EQ(token_[expected.size() + 1], '#');
    }
}

TEST_F(TwoFactorTest, ASizeOf64BitsIsOne) {
    Script({Answer("123456")});
    EXPECT_EQ(library_.TwoFactorAuthGetResponse("", token_.data(), 0x100000000, 60'000, nullptr, nullptr),
              kOk);
    EXPECT_STREQ(token_.data(), "123456");
}

TEST_F(TwoFactorTest, AnEmptyAnswerIsAnEmptyToken) {
    Script({Answer("")});
    EXPECT_EQ(TwoFactor(), kOk);
    EXPECT_STREQ(token_.data(), "");
}

TEST_F(TwoFactorTest, AFailureOfTheModuleLeavesTheBufferAlone) {
    Script({Answer("123456"), "exit 1"});
    EXPECT_EQ(TwoFactor(), 1u);
    EXPECT_STREQ(token_.data(), "old");
}

// Bytes of every value but 0, in turn.
std::string AnyBytes(std::size_t length) {
    std::string bytes;
    for (std::size_t i = 0; i < length; ++i) {
        bytes += static_cast<char>(1 + i % 255);
    }
    return bytes;
}

std::wstring ExpectedOptions(const std::string& description) {
    std::wstring wide(description.size() + 1, L'\0');
    MultiByteToWideChar(CP_ACP, 0, description.c_str(), -1, wide.data(), static_cast<int>(wide.size()));
    const std::wstring whole =
        std::wstring(L"--object=2fa --description=\"") + wide.c_str() + L"\" --timeout=60";
    return whole.substr(0, 259);
}

TEST_F(TwoFactorTest, TheDescriptionMayHoldAnyBytesAtAnyLength) {
    for (const std::size_t length : {0u, 1u, 200u, 259u, 260u, 261u, 100'000u}) {
        const std::string description = AnyBytes(length);
        tokenDescription_ = description.c_str();
        EXPECT_EQ(TwoFactor(), kOk);
        EXPECT_EQ(Options(), ExpectedOptions(description)) << length;
    }
}

// The caller's description, which is gone when the worker begins.
std::string passingDescription;

std::uintptr_t __cdecl BeginBehindTheDescription(void* security, unsigned stack,
                                                 _beginthreadex_proc_type start, void* argument,
                                                 unsigned flags, unsigned* id) {
    passingDescription.assign(passingDescription.size(), '#');
    return _beginthreadex(security, stack, start, argument, flags, id);
}

TEST_F(TwoFactorTest, TheWorkersCopyOfTheDescriptionMayHoldAnyBytesAtAnyLength) {
    Patch("_beginthreadex", &BeginBehindTheDescription);
    for (const std::size_t length : {0u, 1u, 200u, 261u, 100'000u}) {
        const std::string description = AnyBytes(length);
        Prompt prompt;
        std::future<Outcome> outcome = prompt.outcome.get_future();
        passingDescription = description;
        tokenDescription_ = passingDescription.c_str();
        EXPECT_EQ(StartWhenTheWorkerHasEnded(prompt), kOk);
        EXPECT_EQ(outcome.get().result, kOk);
        EXPECT_EQ(Options(), ExpectedOptions(description)) << length;
    }
}

TEST_F(TwoFactorTest, WithACallbackTheAnswerComesOnAThreadOfTheLibrary) {
    Script({Answer("123456")});
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, kOk);
    EXPECT_EQ(outcome.answer, "123456");
    EXPECT_NE(outcome.thread, GetCurrentThreadId());
    EXPECT_STREQ(token_.data(), "old"); // the buffer is for the other mode
    EXPECT_EQ(Options(), L"--object=2fa --description=\"Enter the code\" --timeout=60");
}

TEST_F(TwoFactorTest, TheCallReturnsWhileTheModuleRuns) {
    const HANDLE goOn = NamedEvent("zelto test module goes on");
    Script({"wait zelto test module goes on", Answer("123456")});
    Prompt prompt;
    std::future<Outcome> outcome = prompt.outcome.get_future();
    std::string description = "Enter the code";
    tokenDescription_ = description.c_str();
    EXPECT_EQ(Start(prompt), kOk);
    description.assign(description.size(), '#'); // the worker has a copy
    EXPECT_EQ(outcome.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    SetEvent(goOn);
    EXPECT_EQ(outcome.get().answer, "123456");
    EXPECT_EQ(Options(), L"--object=2fa --description=\"Enter the code\" --timeout=60");
}

std::uint32_t Ignore(void*, std::uint32_t, const char*) {
    return 0;
}

TEST_F(TwoFactorTest, ASecondCallWithACallbackIsTurnedAwayWhileTheWorkerRuns) {
    const HANDLE started = NamedEvent("zelto test module started");
    const HANDLE goOn = NamedEvent("zelto test module goes on");
    Script({"signal zelto test module started", "wait zelto test module goes on", Answer("123456")});
    Prompt first;
    std::future<Outcome> outcome = first.outcome.get_future();
    EXPECT_EQ(Start(first), kOk);
    Prompt second;
    EXPECT_EQ(Start(second), kBusy);
    EXPECT_EQ(library_.TwoFactorAuthGetResponse("", nullptr, 0, 1000, &Ignore, nullptr), kBusy);
    ASSERT_TRUE(IsSignalledSoon(started));
    EXPECT_EQ(Start(second), kBusy);
    EXPECT_EQ(TwoFactor(), kBusy); // from the module lock
    EXPECT_EQ(Basic(), kBusy);
    EXPECT_STREQ(token_.data(), "old");
    SetEvent(goOn);
    EXPECT_EQ(outcome.get().answer, "123456");
    EXPECT_EQ(Ask().answer, "123456"); // it began when the first worker had ended
    EXPECT_EQ(second.outcome.get_future().wait_for(std::chrono::seconds(0)), std::future_status::timeout);
}

TEST_F(TwoFactorTest, AfterTheWorkerHasEndedTheNextOneStarts) {
    for (const char* token : {"first", "second", "third"}) {
        Script({Answer(token)});
        EXPECT_EQ(Ask().answer, token);
    }
}

TEST_F(TwoFactorTest, TheCallbackGetsTheModulesExitCodeAndItsAnswer) {
    Script({Answer("123456"), "exit 1"});
    const Outcome answered = Ask();
    EXPECT_EQ(answered.result, 1u);
    EXPECT_EQ(answered.answer, "123456");
    Script({"exit 0xC000013A"});
    const Outcome silent = Ask();
    EXPECT_EQ(silent.result, 0xC000013Au);
    EXPECT_EQ(silent.answer, "");
}

TEST_F(TwoFactorTest, TheCallbackGetsTheLaunchersFailure) {
    Patch(
        "CreateProcessW",
        +[](LPCWSTR, LPWSTR, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL, DWORD, LPVOID, LPCWSTR,
            LPSTARTUPINFOW, LPPROCESS_INFORMATION) -> BOOL { return FALSE; });
    const Outcome outcome = Ask();
    EXPECT_EQ(outcome.result, kLaunchFailed);
    EXPECT_EQ(outcome.answer, "");
}

TEST_F(TwoFactorTest, AStopEndsThePromptOfTheWorker) {
    const HANDLE started = NamedEvent("zelto test module started");
    NamedEvent("zelto test never");
    Script({Answer("123456"), "signal zelto test module started", "wait zelto test never"});
    Prompt prompt;
    std::future<Outcome> outcome = prompt.outcome.get_future();
    EXPECT_EQ(Start(prompt), kOk);
    ASSERT_TRUE(IsSignalledSoon(started));
    EXPECT_NE(library_.StopRunningZeltoAuth(), 0);
    const Outcome ended = outcome.get();
    EXPECT_EQ(ended.result, kCancelled);
    EXPECT_EQ(ended.answer, "");
}

TEST_F(TwoFactorTest, TheCallbackGetsBusyWhileAnotherModuleRuns) {
    EXPECT_EQ(WhileTheModuleWaits([&] { return Basic(); },
                                  [&] {
                                      const Outcome outcome = Ask();
                                      EXPECT_EQ(outcome.result, kBusy);
                                      EXPECT_EQ(outcome.answer, "");
                                      library_.StopRunningZeltoAuth();
                                  }),
              kCancelled);
    EXPECT_STREQ(password_.data(), "old");
}

// The worker's thread: the library's own handle, and a second one to wait for its end with.
HANDLE workersHandle;
KernelHandle workersThread;
int closesOfWorkersHandle;

std::uintptr_t __cdecl BeginAndRemember(void* security, unsigned stack, _beginthreadex_proc_type start,
                                        void* argument, unsigned flags, unsigned* id) {
    const std::uintptr_t handle = _beginthreadex(security, stack, start, argument, flags, id);
    workersHandle = reinterpret_cast<HANDLE>(handle);
    workersThread = DuplicateKernelHandle(workersHandle);
    return handle;
}

BOOL WINAPI CloseAndCount(HANDLE handle) {
    closesOfWorkersHandle += handle == workersHandle ? 1 : 0;
    return CloseHandle(handle);
}

TEST_F(TwoFactorTest, TheWorkersHandleStaysOpenUntilTheNextCall) {
    Patch("_beginthreadex", &BeginAndRemember);
    Script({Answer("123456")});
    EXPECT_EQ(Ask().answer, "123456");
    ASSERT_TRUE(IsSignalledSoon(workersThread.get()));
    closesOfWorkersHandle = 0;
    Patch("CloseHandle", &CloseAndCount);
    DWORD code = STILL_ACTIVE;
    EXPECT_TRUE(GetExitCodeThread(workersHandle, &code));
    EXPECT_EQ(code, 0u);

    // The next call closes it, and starts no thread whose handle might get the same number.
    const ImportPatch failing(library_.Module(), "_beginthreadex", &BeginNoThread);
    Prompt never;
    EXPECT_EQ(Start(never), kOk);
    EXPECT_EQ(closesOfWorkersHandle, 1);
    EXPECT_EQ(Start(never), kOk);
    EXPECT_EQ(closesOfWorkersHandle, 1);
}

// What a callback that unloads the library needs.
struct Unloading {
    LibraryUnderTest* library = nullptr;
    std::uint32_t result = kBusy;
    KernelHandle thread;
    KernelHandle callReturned{CreateEventW(nullptr, TRUE, FALSE, nullptr)}; // until then it needs the library
    KernelHandle done{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

std::uint32_t UnloadTheLibrary(void* context, std::uint32_t result, const char*) {
    auto* const unloading = static_cast<Unloading*>(context);
    WaitForSingleObject(unloading->callReturned.get(), 60'000);
    unloading->library->Unload();
    unloading->result = result;
    HANDLE thread = nullptr;
    DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &thread, SYNCHRONIZE, FALSE,
                    0);
    unloading->thread.reset(thread);
    SetEvent(unloading->done.get());
    return 0;
}

TEST_F(TwoFactorTest, ACallbackMayUnloadTheLibrary) {
    Script({Answer("123456")});
    Unloading unloading;
    unloading.library = &library_;
    EXPECT_EQ(library_.TwoFactorAuthGetResponse("", nullptr, 0, 1000, &UnloadTheLibrary, &unloading), kOk);
    SetEvent(unloading.callReturned.get());
    ASSERT_TRUE(IsSignalledSoon(unloading.done.get()));
    ASSERT_TRUE(IsSignalledSoon(unloading.thread.get()));
    EXPECT_EQ(unloading.result, kOk);
    EXPECT_FALSE(LibraryIsLoaded()); // the worker has let go of it with its last step
}

struct ThreadRequest {
    bool hasSecurity;
    unsigned stack;
    unsigned flags;
} threadRequest;

TEST_F(TwoFactorTest, TheWorkersThreadIsOneWithDefaultAttributes) {
    Patch(
        "_beginthreadex",
        +[](void* security, unsigned stack, _beginthreadex_proc_type start, void* argument, unsigned flags,
            unsigned* id) -> std::uintptr_t {
            threadRequest = {security != nullptr, stack, flags};
            return _beginthreadex(security, stack, start, argument, flags, id);
        });
    EXPECT_EQ(Ask().result, kOk);
    EXPECT_FALSE(threadRequest.hasSecurity);
    EXPECT_EQ(threadRequest.stack, 0u);
    EXPECT_EQ(threadRequest.flags, 0u);
}

TEST_F(TwoFactorTest, AWorkerThatCannotBeLookedAtCountsAsRunning) {
    Patch("_beginthreadex", &BeginAndRemember);
    EXPECT_EQ(Ask().result, kOk);
    ASSERT_TRUE(IsSignalledSoon(workersThread.get()));
    {
        const ImportPatch failing(
            library_.Module(), "WaitForSingleObject", +[](HANDLE object, DWORD timeout) -> DWORD {
                return object == workersHandle ? WAIT_FAILED : WaitForSingleObject(object, timeout);
            });
        Prompt never;
        EXPECT_EQ(Start(never), kBusy);
    }
    EXPECT_EQ(Ask().result, kOk);
}

struct SecondTry {
    LibraryUnderTest* library;
    std::promise<std::uint32_t> result;
};

std::uint32_t StartAgain(void* context, std::uint32_t, const char*) {
    auto* const second = static_cast<SecondTry*>(context);
    std::promise<std::uint32_t> result = std::move(second->result);
    result.set_value(second->library->TwoFactorAuthGetResponse("", nullptr, 0, 1000, &StartAgain, context));
    return 0;
}

TEST_F(TwoFactorTest, TheWorkerIsBusyUntilItsCallbackHasReturned) {
    SecondTry second = {&library_, {}};
    std::future<std::uint32_t> result = second.result.get_future();
    EXPECT_EQ(library_.TwoFactorAuthGetResponse("", nullptr, 0, 1000, &StartAgain, &second), kOk);
    EXPECT_EQ(result.get(), kBusy);
}

TEST_F(TwoFactorTest, AThreadThatCannotBeStartedIsNotReported) {
    Prompt never;
    Patch("_beginthreadex", &BeginNoThread);
    EXPECT_EQ(Start(never), kOk);
    EXPECT_EQ(Start(never), kOk); // no worker is remembered
    TakePatchesAway();
    EXPECT_FALSE(ModuleWasStarted());
    Script({Answer("123456")});
    EXPECT_EQ(Ask().answer, "123456"); // no other worker runs besides, and none did before
    EXPECT_EQ(never.outcome.get_future().wait_for(std::chrono::seconds(0)), std::future_status::timeout);
}

TEST_F(TwoFactorTest, TheLibraryStaysLoadedWhileTheWorkerRuns) {
    const HANDLE started = NamedEvent("zelto test module started");
    const HANDLE goOn = NamedEvent("zelto test module goes on");
    Script({"signal zelto test module started", "wait zelto test module goes on", Answer("123456")});
    Prompt prompt;
    std::future<Outcome> outcome = prompt.outcome.get_future();
    EXPECT_EQ(Start(prompt), kOk);
    ASSERT_TRUE(IsSignalledSoon(started));
    library_.Unload();
    EXPECT_TRUE(LibraryIsLoaded());
    SetEvent(goOn);
    EXPECT_EQ(outcome.get().answer, "123456");
    WaitUntilTheLibraryHasGone();
    EXPECT_FALSE(LibraryIsLoaded());
}

TEST_F(TwoFactorTest, NoThreadAndNoHandleIsLeft) {
    Script({Answer("123456")});
    Ask();
    const std::size_t handles = CountHandles();
    const std::size_t threads = CountThreads();
    for (int i = 0; i < 10; ++i) {
        Ask();
    }
    for (int wait = 0; wait < 6000 && CountThreads() > threads; ++wait) {
        Sleep(10); // the last worker may be on its way out
    }
    EXPECT_LE(CountHandles(), handles + 1);
    EXPECT_LE(CountThreads(), threads);
}

TEST_F(TwoFactorTest, TwoCallsAtOnceStartOneWorker) {
    Patch("_beginthreadex", &BeginAndRemember);
    const HANDLE goOn = NamedEvent("zelto test module goes on");
    Script({"wait zelto test module goes on", Answer("123456")});
    for (int round = 0; round < 5; ++round) {
        ResetEvent(goOn);
        Prompt prompts[4];
        std::atomic<int> ready{0};
        std::vector<std::future<std::uint32_t>> results;
        for (Prompt& prompt : prompts) {
            results.push_back(std::async(std::launch::async, [&] {
                ++ready;
                while (ready < 4) { // they come as close together as can be
                }
                return Start(prompt);
            }));
        }
        int started = -1;
        for (int i = 0; i < 4; ++i) {
            const std::uint32_t result = results[static_cast<std::size_t>(i)].get();
            EXPECT_TRUE(result == kBusy || (result == kOk && started == -1)) << result;
            started = result == kOk ? i : started;
        }
        SetEvent(goOn);
        ASSERT_NE(started, -1);
        EXPECT_EQ(prompts[started].outcome.get_future().get().answer, "123456");
        ASSERT_TRUE(IsSignalledSoon(workersThread.get())); // it would turn the next round away
    }
}

TEST_F(TwoFactorTest, WritesNoLogLineOfItsOwn) {
    EXPECT_EQ(TwoFactor(), kOk);
    for (const std::string& line : Log()) {
        EXPECT_EQ(line.find("TwoFactor"), std::string::npos) << line;
    }
}

} // namespace
} // namespace zelto::test
