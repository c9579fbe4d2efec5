#include "tests/ssl_signin/sign_in_test.h"

#include "tests/support/leftover_search.h"
#include "tests/support/process_counts.h"

#include <atomic>
#include <cstdlib>
#include <malloc.h>

namespace zelto::test {
namespace {

constexpr int kSignIns = 200;
constexpr int kWarmUp = 10; // sign-ins, one of each kind

// Memory comes in steps of 64 KiB, so two of them may be chance; the library's own blocks are counted one by
// one.
constexpr std::size_t kPrivateBytesSlack = 2 * 65536;

// The system makes a handle or two of its own when it first needs them. One that each sign-in of a single
// kind leaves behind would be 19.
constexpr std::size_t kHandlesSlack = 2;

// Blocks that the library has allocated and not freed.
std::atomic<long> blocks;

void* __cdecl Allocate(std::size_t size) {
    void* block = std::malloc(size);
    blocks += block != nullptr ? 1 : 0;
    return block;
}

void __cdecl Free(void* block) {
    blocks -= block != nullptr ? 1 : 0;
    std::free(block);
}

struct Holdings {
    ProcessCounts process;
    long blocks;
};

// Once the readers of the last sign-ins are gone, and what the system's pool keeps for some seconds.
Holdings SettledHoldings(std::size_t threads) {
    EXPECT_TRUE(WaitForBegunThreads());
    for (int wait = 0; wait < 6000 && CountThreads() > threads; ++wait) {
        Sleep(10); // nothing tells of the end of the pool's threads
    }
    return {CountProcess(), blocks.load()};
}

class SslSignInEnduranceTest : public SignInTest {
protected:
    void SignInAndExpect(std::uint32_t result) { EXPECT_EQ(SignIn(), result); }

    // One of ten kinds of sign-in, good and failing.
    void SignInAs(int kind) {
        SCOPED_TRACE(kind);
        ResetGateway();
        UsePort();
        browser_ = nullptr;
        ResetEvent(exitEvent_);
        switch (kind) {
        case 0:
        case 3:
        case 6:
            BrowserRequests("GET /?id=XYZ HTTP/1.1");
            return SignInAndExpect(0);
        case 1:
            BrowserRequests("GET / HTTP/1.1");
            return SignInAndExpect(0xA7000000);
        case 2:
            browser_ = [this] { ScriptedConnection(ssoPort_).Close(); };
            return SignInAndExpect(0xA7000000);
        case 4:
            SetGateway(R"({"remoteauthtimeout":0})");
            return SignInAndExpect(0xA7000003);
        case 5:
            SetEvent(exitEvent_);
            return SignInAndExpect(0xA7000007);
        case 7:
            return SignInWithTakenPort();
        case 8:
            SetGateway(R"({"fault":"no_sso_port"})");
            return SignInAndExpect(1);
        default:
            SetGateway(R"({"fault":"reset"})");
            return SignInAndExpect(1);
        }
    }

    void SignInWithTakenPort() {
        const TakenPort taken;
        SetGateway(R"({"sso_port":)" + std::to_string(taken.Port()) + "}");
        SignInAndExpect(0xA7000009);
    }
};

TEST_F(SslSignInEnduranceTest, TwoHundredSignInsLeaveNothingBehind) {
    Patch("malloc", &Allocate);
    Patch("free", &Free);
    Patch("_beginthreadex", &BeginAndKeepThread);
    const std::size_t threads = CountThreads() + 4; // WinHTTP keeps some for its next request
    Holdings early = {};
    for (int number = 0; number < kSignIns; ++number) {
        SignInAs(number % kWarmUp);
        if (number == kWarmUp - 1) {
            early = SettledHoldings(threads);
        }
    }
    const Holdings late = SettledHoldings(early.process.threads);

    EXPECT_LE(late.process.handles, early.process.handles + kHandlesSlack);
    EXPECT_LE(late.process.threads, early.process.threads);
    EXPECT_LE(late.process.privateBytes, early.process.privateBytes + kPrivateBytesSlack);
    EXPECT_EQ(late.blocks, early.blocks);
    RecordProperty("handles",
                   std::to_string(early.process.handles) + " -> " + std::to_string(late.process.handles));
    RecordProperty("threads",
                   std::to_string(early.process.threads) + " -> " + std::to_string(late.process.threads));
    RecordProperty("privateBytes", std::to_string(early.process.privateBytes) + " -> " +
                                       std::to_string(late.process.privateBytes));
    RecordProperty("blocks", std::to_string(early.blocks) + " -> " + std::to_string(late.blocks));
}

} // namespace
} // namespace zelto::test
