// Eight threads call all of the exports and StopRunningZeltoAuth at random for a minute: results come from the documented
// set only, nothing hangs, nothing is left.

#include "tests/auth_module/auth_module_test.h"

#include "auth/kernel_handle.h"
#include "tests/support/process_counts.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <thread>
#include <windows.h>

#include <tlhelp32.h>

namespace zelto::test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kThreads = 8;
constexpr std::chrono::seconds kDuration(60);

// Most calls are turned away at once, and a module needs some time to end by itself.
constexpr unsigned kCallsPerStop = 1000;

// The system keeps a few handles and pool threads of its own once it has needed them.
constexpr std::size_t kHandlesSlack = 4;

const std::set<std::uint32_t> kDocumented = {kOk, 1, 7, 0xC0000005, kInvalidParameter, kBusy, kCancelled};

// Those that a run has seen when it ends.
const std::set<std::uint32_t> kExpected = {kOk, 1, kInvalidParameter, kBusy, kCancelled};

std::atomic<int> promptsStarted;
std::atomic<int> promptsEnded;
std::atomic<int> undocumentedOutcomes;

std::uint32_t CountEnd(void*, std::uint32_t result, const char* answer) {
    undocumentedOutcomes += kDocumented.count(result) == 0 || answer == nullptr ? 1 : 0;
    ++promptsEnded;
    return 0;
}

// The buffers of one calling thread.
struct Buffers {
    char response[64] = {};
    char serverIp[64] = {};
    char userName[64] = "alice";
    char password[64] = {};
    char certificate[64] = {};
    char token[64] = {};

    bool AreTerminated() const {
        for (const char* buffer : {response, serverIp, userName, password, certificate, token}) {
            if (strnlen(buffer, 64) == 64) {
                return false;
            }
        }
        return true;
    }
};

class StressTest : public AuthModuleTest {
protected:
    StressTest() {
        promptsStarted = promptsEnded = undocumentedOutcomes = 0;
        Script({Answer("user\npassword\ncertificate"), "or", Answer("RESP\nServerIp:10.0.0.1"), "exit 0",
                "or", "exit 1", "or", "delay 200", "exit 7", "or", "crash", "or", "delay 100000"});
    }

    std::uint32_t Call(unsigned which, Buffers& buffers) {
        const auto saml = [&](SamlExport function) {
            return function(url_, description_, samlObject_, objectName_, 0, 60'000, 0, buffers.response, 64,
                            buffers.serverIp, 64, 0);
        };
        switch (which) {
        case 0:
            return saml(library_.SamlAuthGetResponseUsingElectron);
        case 1:
            return saml(library_.SamlAuthGetResponseUsingWebBrowser);
        case 2:
            return saml(library_.SamlAuthGetResponseUsingWebView2);
        case 3:
            return library_.SamlGetResponseUsingExternalAuthProvider(7, url_, L"", L"", L"", 0, 0, 0,
                                                                     buffers.response, 64, nullptr, 0, 0);
        case 4:
            return library_.SamlGetResponseUsingExternalAuthProvider(0, url_, L"", L"", L"", 0, 0, 0,
                                                                     buffers.response, 64, nullptr, 0, 0);
        case 5:
            return library_.BasicAuthGetResponse(buffers.userName, 64, buffers.password, 64,
                                                 buffers.certificate, 64, L"office", 1000);
        case 6:
            return library_.TwoFactorAuthGetResponse("code", buffers.token, 64, 1000, nullptr, nullptr);
        default:
            return StartPrompt();
        }
    }

    std::uint32_t StartPrompt() {
        const std::uint32_t result =
            library_.TwoFactorAuthGetResponse("code", nullptr, 0, 1000, &CountEnd, nullptr);
        promptsStarted += result == kOk ? 1 : 0;
        return result;
    }

    // Calls at random until `end`.
    void CallUntil(Clock::time_point end, unsigned seed) {
        std::mt19937 random(seed);
        Buffers buffers;
        std::map<std::uint32_t, int> results;
        while (Clock::now() < end) {
            if (random() % kCallsPerStop == 0) {
                EXPECT_NE(library_.StopRunningZeltoAuth(), 0);
            }
            ++results[Call(random() % 8, buffers)];
            EXPECT_TRUE(buffers.AreTerminated());
        }
        const std::lock_guard lock(resultsLock_);
        for (const auto& [result, count] : results) {
            results_[result] += count;
        }
    }

    void CallFromAllThreads(std::chrono::seconds duration) {
        const Clock::time_point end = Clock::now() + duration;
        std::atomic<int> calling{kThreads};
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([&, i] {
                CallUntil(end, static_cast<unsigned>(i));
                --calling;
            });
        }
        // A module that waits for a long time is ended until the last call has returned.
        while (calling != 0 || promptsEnded != promptsStarted) {
            Sleep(20);
            if (Clock::now() >= end) {
                library_.StopRunningZeltoAuth();
            }
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    // Which results come, and when, is left to chance and to the machine's speed.
    bool AllSeen() {
        return std::all_of(kExpected.begin(), kExpected.end(),
                           [this](std::uint32_t result) { return results_[result] > 0; });
    }

    // Auth modules only: for the first program that needs a desktop the system may start one of its own as its child.
    static std::size_t CountModules() {
        const KernelHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
        PROCESSENTRY32W entry = {};
        entry.dwSize = sizeof(entry);
        std::size_t count = 0;
        for (BOOL found = Process32FirstW(snapshot.get(), &entry); found;
             found = Process32NextW(snapshot.get(), &entry)) {
            const std::wstring program = entry.szExeFile;
            count += entry.th32ParentProcessID == GetCurrentProcessId() &&
                             (program == L"ZeltoAuth.exe" || program == L"Zeltoclient.exe")
                         ? 1
                         : 0;
        }
        return count;
    }

    // What is left once everything that is on its way out has gone.
    struct Left {
        std::size_t handles;
        std::size_t threads;
        std::size_t modules;
    };
    static Left Settled(std::size_t threads) {
        for (int wait = 0; wait < 6000 && (CountModules() != 0 || CountThreads() > threads); ++wait) {
            Sleep(10); // nothing tells that a terminated process has gone
        }
        return {CountHandles(), CountThreads(), CountModules()};
    }

    std::mutex resultsLock_;
    std::map<std::uint32_t, int> results_;
};

TEST_F(StressTest, EightThreadsForAMinute) {
    const std::size_t threads = CountThreads();
    CallFromAllThreads(std::chrono::seconds(3));
    const Left early = Settled(threads);
    results_.clear();
    CallFromAllThreads(kDuration);
    for (int more = 0; more < 20 && !AllSeen(); ++more) {
        CallFromAllThreads(std::chrono::seconds(10));
    }
    const Left late = Settled(threads);

    for (const auto& [result, count] : results_) {
        EXPECT_EQ(kDocumented.count(result), 1u) << std::hex << result;
        char name[32];
        std::snprintf(name, sizeof(name), "result_%08x", result);
        RecordProperty(name, count);
    }
    for (const std::uint32_t result : kExpected) {
        EXPECT_GT(results_[result], 0) << std::hex << result;
    }
    EXPECT_EQ(undocumentedOutcomes, 0);
    EXPECT_EQ(promptsEnded, promptsStarted); // each callback came, and once
    EXPECT_GT(promptsStarted, 0);
    EXPECT_LE(late.handles, early.handles + kHandlesSlack);
    EXPECT_LE(late.threads, early.threads);
    EXPECT_EQ(late.modules, 0u);
    RecordProperty("prompts", promptsStarted.load());
    RecordProperty("handles", std::to_string(early.handles) + " -> " + std::to_string(late.handles));
    RecordProperty("threads", std::to_string(early.threads) + " -> " + std::to_string(late.threads));

    Script({Answer("123456")});
    EXPECT_EQ(TwoFactor(), kOk);
}

} // namespace
} // namespace zelto::test
