#include "tests/ipsec_signin/ipsec_sign_in_test.h"

#include "auth/kernel_handle.h"
#include "tests/support/page_heap.h"
#include "tests/support/process_counts.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <winhttp.h>

namespace zelto::test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kTimeout = 0xA7000003;
constexpr std::uint32_t kCancelled = 0xA7000007;
constexpr int kEarlyReturns = 1000;
constexpr int kUnloads = 50;
constexpr std::size_t kHandlesMadeOnce = 100;        // more than the system makes when it first needs them
constexpr auto kPatience = std::chrono::seconds(60); // a sign-in would take 600

constexpr char kNoPage[] = "no page";
constexpr char kPage[] = "window.location=\"https://gw/\"";
const char* answer = kNoPage;

// The gateway's answer without a gateway: it comes at once, before the listener has got far.
BOOL WINAPI SendNothing(HINTERNET, LPCWSTR, DWORD, LPVOID, DWORD, DWORD, DWORD_PTR) {
    return TRUE;
}

BOOL WINAPI ReceiveNothing(HINTERNET, LPVOID) {
    return TRUE;
}

BOOL WINAPI ReadAnswer(HINTERNET, LPVOID buffer, DWORD, LPDWORD read) {
    *read = static_cast<DWORD>(std::strlen(answer));
    std::memcpy(buffer, answer, *read);
    return TRUE;
}

// Sign-ins that return while their listener is still ending. What they were given is gone by then.
class IpsecSignInEarlyReturnTest : public IpsecSignInTest {
protected:
    IpsecSignInEarlyReturnTest() {
        timeoutMs_ = 600'000; // far longer than any test: nobody ends by it
        Patch("WinHttpSendRequest", &SendNothing);
        Patch("WinHttpReceiveResponse", &ReceiveNothing);
        Patch("WinHttpReadData", &ReadAnswer);
    }

    // With an event and buffers of its own, which are closed and freed at once. `whileOpen` happens when the
    // browser is opened; null: the gateway names no page.
    std::uint32_t ReturnEarly(std::function<void(HANDLE)> whileOpen, bool resetEvent = false) {
        const KernelHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        answer = whileOpen ? kPage : kNoPage;
        whileOpen_ = [&] { whileOpen(event.get()); };
        std::vector<wchar_t> token(600);
        std::vector<wchar_t> userName(600);
        const std::uint32_t result = library_.GetIpsecSamlDataExternalBrowser(
            L"gw", 0, userId_.c_str(), timeoutMs_, token.data(), 600, userName.data(), 600, event.get());
        if (resetEvent) {
            ResetEvent(event.get());
        }
        return result;
    }

    // One of four kinds.
    void ReturnEarlyAs(int kind) {
        switch (kind) {
        case 0:
            EXPECT_EQ(ReturnEarly(nullptr), kTimeout);
            return;
        case 1: // the listener may miss the signal
            EXPECT_EQ(ReturnEarly(nullptr, true), kTimeout);
            return;
        case 2:
            EXPECT_EQ(ReturnEarly([](HANDLE event) { SetEvent(event); }), kCancelled);
            return;
        default: // with a browser connected, whose reader waits
            connection_.reset();
            EXPECT_EQ(ReturnEarly([this](HANDLE event) {
                          connection_ = std::make_unique<ScriptedConnection>(boundPort);
                          SetEvent(event);
                      }),
                      kCancelled);
        }
    }

    static HINSTANCE WINAPI OpenBrowserNow(HWND, LPCWSTR, LPCWSTR, LPCWSTR, LPCWSTR, INT) {
        whileOpen_();
        return nullptr;
    }

    static int WSAAPI RecordPort(SOCKET socket, sockaddr* address, int* length) {
        const int result = getsockname(socket, address, length);
        boundPort = ntohs(reinterpret_cast<const sockaddr_in*>(address)->sin_port);
        return result;
    }

    static inline std::function<void()> whileOpen_;
    static inline std::uint16_t boundPort = 0; // by the listener, before the sign-in goes on
    std::unique_ptr<ScriptedConnection> connection_;
};

// Waits until the process has no more than these, for as long as they may take.
bool SettlesAt(const ProcessCounts& counts, std::size_t handlesSlack) {
    const auto deadline = Clock::now() + kPatience;
    for (;;) {
        const bool settled =
            CountThreads() <= counts.threads && CountHandles() <= counts.handles + handlesSlack;
        if (settled || Clock::now() > deadline) {
            return settled;
        }
        Sleep(20); // nothing is signalled when a detached thread has ended
    }
}

TEST_F(IpsecSignInEarlyReturnTest, AThousandInARowTouchNothingFreedAndLeaveNothingBehind) {
    UsePageHeap(library_.Module());
    Patch("ShellExecuteW", &OpenBrowserNow);
    Patch("getsockname", &RecordPort);
    const ProcessCounts start = CountProcess();
    for (int kind = 0; kind < 4; ++kind) {
        ReturnEarlyAs(kind); // what is made once is made now
    }
    connection_.reset();
    ASSERT_TRUE(SettlesAt(start, kHandlesMadeOnce));
    const ProcessCounts early = CountProcess();
    const std::size_t allocationsEarly = PageHeapAllocations();
    const std::size_t blocksEarly = allocationsEarly - PageHeapFrees();
    for (int number = 0; number < kEarlyReturns; ++number) {
        ReturnEarlyAs(number % 4);
    }
    connection_.reset();
    EXPECT_TRUE(SettlesAt(early, 2)) << "handles " << early.handles << " -> " << CountHandles()
                                     << ", threads " << early.threads << " -> " << CountThreads();
    EXPECT_GT(PageHeapAllocations(), allocationsEarly + 10 * kEarlyReturns);
    EXPECT_LE(PageHeapAllocations() - PageHeapFrees(), blocksEarly);
    RecordProperty("allocations", std::to_string(PageHeapAllocations()));
}

HANDLE atItsEnd;
HANDLE mayEnd;

int WSAAPI CleanUpAndStay() {
    const int result = WSACleanup();
    SetEvent(atItsEnd);
    WaitForSingleObject(mayEnd, 60'000);
    return result;
}

// The reader's first call.
int WSAAPI TellAndSetOption(SOCKET socket, int level, int option, const char* value, int size) {
    SetEvent(atItsEnd);
    return setsockopt(socket, level, option, value, size);
}

TEST_F(IpsecSignInEarlyReturnTest, TheListenerIsTheLastToLeave) {
    const KernelHandle first(atItsEnd = CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const KernelHandle second(mayEnd = CreateEventW(nullptr, TRUE, FALSE, nullptr));
    Patch("WSACleanup", &CleanUpAndStay);
    EXPECT_EQ(ReturnEarly(nullptr), kTimeout);
    EXPECT_EQ(WaitForSingleObject(atItsEnd, 60'000), WAIT_OBJECT_0);
    TakePatchesAway();

    library_.Unload();
    EXPECT_TRUE(LibraryIsLoaded()); // the listener keeps it
    SetEvent(mayEnd);
    EXPECT_NE(Log(), std::vector<std::string>{}); // the listener has unloaded it, and this program lives
    EXPECT_FALSE(LibraryIsLoaded());
}

// A reader that has read nothing yet, of a sign-in that was cancelled; it ends when the browser does.
TEST_F(IpsecSignInEarlyReturnTest, TheReaderIsTheLastToLeave) {
    const std::size_t threads = CountThreads();
    Patch("ShellExecuteW", &OpenBrowserNow);
    Patch("getsockname", &RecordPort);
    const KernelHandle reads(atItsEnd = CreateEventW(nullptr, TRUE, FALSE, nullptr));
    Patch("setsockopt", &TellAndSetOption);
    EXPECT_EQ(ReturnEarly([this, &reads](HANDLE event) {
                  connection_ = std::make_unique<ScriptedConnection>(boundPort);
                  EXPECT_EQ(WaitForSingleObject(reads.get(), 60'000), WAIT_OBJECT_0);
                  SetEvent(event);
              }),
              kCancelled);
    const auto deadline = Clock::now() + kPatience;
    while (CountThreads() > threads + 1 && Clock::now() < deadline) {
        Sleep(20); // nothing is signalled when a detached thread has ended
    }
    TakePatchesAway();
    library_.Unload();
    EXPECT_TRUE(LibraryIsLoaded()); // the reader keeps it
    connection_.reset();
    EXPECT_NE(Log(), std::vector<std::string>{}); // the reader has unloaded it, and this program lives
    EXPECT_FALSE(LibraryIsLoaded());
}

TEST_F(IpsecSignInEarlyReturnTest, TheLibraryIsGoneSoonAfterAnUnloadAtOnce) {
    TakePatchesAway();
    UnloadAndWait();
    for (int number = 0; number < kUnloads; ++number) {
        LibraryUnderTest library;
        const KernelHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        wchar_t buffer[8] = {};
        {
            const ImportPatch send(library.Module(), "WinHttpSendRequest", &SendNothing);
            const ImportPatch receive(library.Module(), "WinHttpReceiveResponse", &ReceiveNothing);
            const ImportPatch read(library.Module(), "WinHttpReadData", &ReadAnswer);
            answer = kNoPage;
            EXPECT_EQ(library.GetIpsecSamlDataExternalBrowser(L"gw", 0, L"id", 600'000, buffer, 8, buffer, 8,
                                                              event.get()),
                      kTimeout);
        }
        library.Unload();
        const auto deadline = Clock::now() + kPatience;
        while (LibraryIsLoaded() && Clock::now() < deadline) {
            Sleep(1); // nothing is signalled when a module goes
        }
        ASSERT_FALSE(LibraryIsLoaded()) << "round " << number;
    }
}

// Nobody can signal an event through such a handle: the listener is told in another way.
TEST_F(IpsecSignInEarlyReturnTest, AListenerThatGetsNoSignalEndsSoonAllTheSame) {
    HANDLE waitOnly = nullptr;
    const HANDLE self = GetCurrentProcess();
    ASSERT_TRUE(DuplicateHandle(self, exitEvent_, self, &waitOnly, SYNCHRONIZE, FALSE, 0));
    const std::size_t threads = CountThreads();
    answer = kNoPage;
    EXPECT_EQ(library_.GetIpsecSamlDataExternalBrowser(L"gw", 0, L"id", timeoutMs_, tokenBuffer_.data(), 9,
                                                       userNameBuffer_.data(), 9, waitOnly),
              kTimeout);
    CloseHandle(waitOnly);
    EXPECT_FALSE(ExitEventIsSignalled());
    const auto deadline = Clock::now() + kPatience;
    while (CountThreads() > threads && Clock::now() < deadline) {
        Sleep(20); // nothing is signalled when a detached thread has ended
    }
    EXPECT_LE(CountThreads(), threads);
    const std::vector<std::string> log = Log();
    EXPECT_EQ(
        std::count(log.begin(), log.end(),
                   "warning: RecvReqDataFromExtBrow() Connection request was cancelled either by user or "
                   "internal."),
        1);
}

} // namespace
} // namespace zelto::test
