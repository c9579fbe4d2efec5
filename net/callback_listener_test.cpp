// The listener with real sockets: every outcome, and what browser and log see of it.

#include "net/callback_listener.h"

#include "auth/kernel_handle.h"
#include "net/callback_answer.h"
#include "net/html_page.h"
#include "net/patient_select.h"
#include "net/received_text.h"
#include "net/running_listener.h"
#include "tests/support/import_patch.h"
#include "tests/support/library_under_test.h"
#include "tests/support/scripted_browser.h"
#include "tests/support/trace_recording.h"

#include <chrono>
#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zelto::test {
namespace {

using testing::ElementsAre;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr char kRequest[] = "GET /?id=ab12 HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
constexpr std::uint32_t kLongMs = 600000;

std::string Called(std::uint32_t port, std::uint32_t timeoutMs, HANDLE exitEvent) {
    char text[128];
    std::snprintf(text, sizeof(text), "info: called. dwPort=%u, dwTimeout=%u, hEvtExit=0x%llx", port,
                  timeoutMs, static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(exitEvent)));
    return text;
}

// With the real DLL in the process, because the page is one of its resources.
class CallbackListenerTest : public testing::Test {
protected:
    HMODULE library = LoadBuiltLibrary(LibraryUnderTest::LibraryPath());
    TraceRecording trace;
    KernelHandle exitEvent{CreateEventW(nullptr, TRUE, FALSE, nullptr)};

    void TearDown() override {
        if (library != nullptr) {
            FreeLibrary(library);
        }
    }

    std::string VpnAnswer() const {
        std::string page;
        EXPECT_TRUE(LoadHtmlPage(library, 1005, page));
        EXPECT_GT(page.size(), 1000u);
        return std::string("HTTP/1.1 200 OK\r\n ContentType: text/html \r\n\r\n") + page;
    }
};

TEST_F(CallbackListenerTest, TheRequestIsTakenAndAnsweredWithTheVpnPage) {
    RunningListener listener(0, kLongMs, exitEvent.get());
    EXPECT_EQ(RequestOnce(listener.Port(), kRequest), VpnAnswer());
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::Success);
    EXPECT_EQ(RequestText(*listener.request), kRequest);
    EXPECT_THAT(
        WithoutSocketNumbers(trace.Take()),
        ElementsAre(Called(0, kLongMs, exitEvent.get()), "info: Client socket(SOCKET) established.",
                    "debug: RecvFromSocket() Read event on the socket.", "info: Get authId successfully!",
                    "info: RecvReqDataFromExtBrow() Got auth id from external browser successfully."));
}

TEST_F(CallbackListenerTest, AGivenPortIsBoundAndThePortPromiseLeftAlone) {
    const std::uint16_t port = FreePort();
    RunningListener listener(port, kLongMs, exitEvent.get());
    EXPECT_EQ(RequestOnce(port, kRequest), VpnAnswer());
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::Success);
    EXPECT_THROW(listener.Port(), std::future_error);
    EXPECT_EQ(trace.Take().front(), Called(port, kLongMs, exitEvent.get()));
}

TEST_F(CallbackListenerTest, OnlyTheLow16BitsOfThePortCount) {
    const std::uint16_t port = FreePort();
    RunningListener listener(0x10000u + port, kLongMs, exitEvent.get());
    EXPECT_EQ(RequestOnce(port, kRequest), VpnAnswer());
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::Success);
}

TEST_F(CallbackListenerTest, WithoutTheLibraryTheAnswerIsTheHeadAlone) {
    FreeLibrary(std::exchange(library, nullptr));
    ASSERT_FALSE(LibraryIsLoaded());
    RunningListener listener(0, kLongMs, exitEvent.get());
    EXPECT_EQ(RequestOnce(listener.Port(), kRequest), kCallbackAnswerHead);
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::Success);
}

TEST_F(CallbackListenerTest, WithoutAnExitEventTheParameterIsInvalid) {
    RunningListener listener(0, kLongMs, nullptr);
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::InvalidParameter);
    EXPECT_THROW(listener.Port(), std::future_error);
    EXPECT_THAT(trace.Take(), ElementsAre("error: RecvReqDataFromExtBrow() Parameter error."));
}

TEST_F(CallbackListenerTest, AnInvalidExitEventFailsTheWait) {
    const HANDLE nobody = reinterpret_cast<HANDLE>(std::uintptr_t{0xABCD00});
    RunningListener listener(0, kLongMs, nobody);
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::Failed);
    EXPECT_THAT(trace.Take(), ElementsAre(Called(0, kLongMs, nobody),
                                          "error:  WaitForMultipleObjects failed(6). dwWait=-1"));
}

TEST_F(CallbackListenerTest, TheExitEventCancels) {
    RunningListener listener(0, kLongMs, exitEvent.get());
    listener.Port();
    SetEvent(exitEvent.get());
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::Cancelled);
    EXPECT_THAT(trace.Take(),
                ElementsAre(Called(0, kLongMs, exitEvent.get()),
                            "warning: RecvReqDataFromExtBrow() Connection request was cancelled "
                            "either by user or internal."));
}

// Has the listener look again only when both its data and its exit event are signalled.
struct BothSignalled {
    HANDLE exitEvent;
    KernelHandle done{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    bool accepted = false;
};
BothSignalled* both;
BOOL(WINAPI* originalSetEvent)(HANDLE);
DWORD(WINAPI* originalWait)(DWORD, const HANDLE*, BOOL, DWORD);

BOOL WINAPI SignalBoth(HANDLE event) {
    originalSetEvent(event);
    originalSetEvent(both->exitEvent);
    return originalSetEvent(both->done.get());
}

DWORD WINAPI WaitForBoth(DWORD count, const HANDLE* handles, BOOL all, DWORD milliseconds) {
    if (both->accepted) {
        EXPECT_EQ(WaitForSingleObject(both->done.get(), 60000), WAIT_OBJECT_0);
    }
    const DWORD wait = originalWait(count, handles, all, milliseconds);
    both->accepted = wait == WAIT_OBJECT_0;
    return wait;
}

TEST_F(CallbackListenerTest, ARequestThatHasComeCountsMoreThanTheExitEvent) {
    BothSignalled own{exitEvent.get()};
    both = &own;
    const ImportPatch setEvent(GetModuleHandleW(nullptr), "SetEvent", SignalBoth);
    originalSetEvent = setEvent.Original<BOOL WINAPI(HANDLE)>();
    const ImportPatch wait(GetModuleHandleW(nullptr), "WaitForMultipleObjects", WaitForBoth);
    originalWait = wait.Original<DWORD WINAPI(DWORD, const HANDLE*, BOOL, DWORD)>();
    RunningListener listener(0, kLongMs, exitEvent.get());
    EXPECT_EQ(RequestOnce(listener.Port(), kRequest), VpnAnswer());
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::Success);
}

TEST_F(CallbackListenerTest, ATimeOutOf1500MillisecondsFiresAfterOneSecond) {
    const auto start = Clock::now();
    RunningListener listener(0, 1500, exitEvent.get());
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::TimedOut);
    EXPECT_GE(Clock::now() - start, milliseconds(950));
    EXPECT_THAT(trace.Take(),
                ElementsAre(Called(0, 1500, exitEvent.get()),
                            "error: RecvReqDataFromExtBrow() After waiting for 1 seconds, there "
                            "is still no response from external browser."));
}

TEST_F(CallbackListenerTest, ATimeOutOf999MillisecondsFiresAtOnce) {
    RunningListener listener(0, 999, exitEvent.get());
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::TimedOut);
    EXPECT_THAT(trace.Take(),
                ElementsAre(Called(0, 999, exitEvent.get()),
                            "error: RecvReqDataFromExtBrow() After waiting for 0 seconds, there "
                            "is still no response from external browser."));
}

TEST_F(CallbackListenerTest, APortInUseCannotBeBound) {
    const TakenPort taken;
    RunningListener listener(taken.Port(), kLongMs, exitEvent.get());
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::SocketError);
    EXPECT_THAT(trace.Take(),
                ElementsAre(Called(taken.Port(), kLongMs, exitEvent.get()),
                            "error: local port " + std::to_string(taken.Port()) + " can not be bound."));
}

// Tells the test of each accept event that the listener has taken.
KernelHandle acceptEventSeen;
BOOL(WINAPI* originalResetEvent)(WSAEVENT);

BOOL WINAPI TellingResetEvent(WSAEVENT event) {
    const BOOL done = originalResetEvent(event);
    ReleaseSemaphore(acceptEventSeen.get(), 1, nullptr);
    return done;
}

TEST_F(CallbackListenerTest, ASecondConnectionIsNeitherAcceptedNorAnswered) {
    acceptEventSeen.reset(CreateSemaphoreW(nullptr, 0, 100, nullptr));
    const ImportPatch patch(GetModuleHandleW(nullptr), "WSAResetEvent", TellingResetEvent);
    originalResetEvent = patch.Original<BOOL WINAPI(WSAEVENT)>();
    const PatientSelect patience;

    RunningListener listener(0, kLongMs, exitEvent.get());
    const std::uint16_t port = listener.Port();
    ScriptedConnection first(port);
    ASSERT_EQ(WaitForSingleObject(acceptEventSeen.get(), 60000), WAIT_OBJECT_0);
    ScriptedConnection second(port);
    second.Send("GET /?id=second HTTP/1.1\r\n\r\n");
    ASSERT_EQ(WaitForSingleObject(acceptEventSeen.get(), 60000), WAIT_OBJECT_0);
    first.Send(kRequest);

    EXPECT_EQ(first.ReceiveAll(), VpnAnswer());
    EXPECT_EQ(second.ReceiveAll(), "");
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::Success);
    EXPECT_EQ(RequestText(*listener.request), kRequest);
    // The warning is written while the reader already works.
    EXPECT_THAT(WithoutSocketNumbers(trace.Take()),
                testing::UnorderedElementsAre(
                    Called(0, kLongMs, exitEvent.get()), "info: Client socket(SOCKET) established.",
                    "warning: RecvReqDataFromExtBrow() There was already connected socket, ignore this one.",
                    "debug: RecvFromSocket() Read event on the socket.", "info: Get authId successfully!",
                    "info: RecvReqDataFromExtBrow() Got auth id from external browser successfully."));
}

TEST_F(CallbackListenerTest, AConnectionThatSendsNothingFor5SecondsEndsWithoutAnOutcome) {
    RunningListener listener(0, kLongMs, exitEvent.get());
    const auto start = Clock::now();
    ScriptedConnection silent(listener.Port());
    EXPECT_EQ(silent.ReceiveAll(milliseconds(kLongMs)), "");
    const auto taken = Clock::now() - start;
    EXPECT_GE(taken, milliseconds(4900));
    EXPECT_LT(taken, std::chrono::minutes(1)); // on a busy machine
    EXPECT_EQ(listener.Outcome(), std::nullopt);
    EXPECT_EQ(listener.Exception(), nullptr);
    EXPECT_EQ(RequestText(*listener.request), "");
    EXPECT_THAT(WithoutSocketNumbers(trace.Take()),
                ElementsAre(Called(0, kLongMs, exitEvent.get()), "info: Client socket(SOCKET) established.",
                            "warning: RecvFromSocket() Nothing happen on the socket(SOCKET).",
                            "error: RecvReqDataFromExtBrow() A dummy connection was made."));
}

TEST_F(CallbackListenerTest, AConnectionThatIsClosedAtOnceEndsWithoutAnOutcome) {
    RunningListener listener(0, kLongMs, exitEvent.get());
    ScriptedConnection(listener.Port()).Close();
    EXPECT_EQ(listener.Outcome(), std::nullopt);
    const std::vector<std::string> messages = WithoutSocketNumbers(trace.Take());
    ASSERT_EQ(messages.size(), 5u);
    EXPECT_EQ(messages[2], "debug: RecvFromSocket() Read event on the socket.");
    EXPECT_THAT(messages[3], testing::StartsWith(
                                 "warning: Could not read from socket(SOCKET). recv() returns 0. errocode="));
    EXPECT_EQ(messages[4], "error: RecvReqDataFromExtBrow() A dummy connection was made.");
}

TEST_F(CallbackListenerTest, TheRequestEndsBeforeItsFirstZeroByte) {
    RunningListener listener(0, kLongMs, exitEvent.get());
    EXPECT_EQ(RequestOnce(listener.Port(), std::string("GET /?id=a\0b HTTP/1.1\r\n\r\n", 24)), VpnAnswer());
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::Success);
    EXPECT_EQ(RequestText(*listener.request), "GET /?id=a");
}

TEST_F(CallbackListenerTest, ARequestThatBeginsWithAZeroByteIsAnsweredButNoOutcome) {
    RunningListener listener(0, kLongMs, exitEvent.get());
    EXPECT_EQ(RequestOnce(listener.Port(), std::string("\0GET /", 6)), VpnAnswer());
    EXPECT_EQ(listener.Outcome(), std::nullopt);
    EXPECT_THAT(trace.Take(),
                testing::Contains("error: RecvReqDataFromExtBrow() A dummy connection was made."));
}

TEST_F(CallbackListenerTest, ALongRequestIsCutAt1024BytesAndItsBrowserStillGetsThePage) {
    const std::string request = "GET /?id=" + std::string(20000, 'x') + " HTTP/1.1\r\n\r\n";
    RunningListener listener(0, kLongMs, exitEvent.get());
    ScriptedConnection browser(listener.Port());
    browser.Send(request);
    EXPECT_EQ(browser.ReceiveAll(), VpnAnswer());
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::Success);
    EXPECT_EQ(RequestText(*listener.request), request.substr(0, 1024));
}

TEST_F(CallbackListenerTest, ARequestOfExactly1024BytesIsWhole) {
    const std::string request(1024, 'y');
    RunningListener listener(0, kLongMs, exitEvent.get());
    EXPECT_EQ(RequestOnce(listener.Port(), request), VpnAnswer());
    EXPECT_EQ(listener.Outcome(), HttpUtilsError::Success);
    EXPECT_EQ(RequestText(*listener.request), request);
}

TEST_F(CallbackListenerTest, AnOldRequestIsClearedOnEntry) {
    const auto request = std::make_shared<CallbackRequest>();
    StoreRequestText(*request, "old");
    std::promise<HttpUtilsError> result;
    std::promise<std::uint32_t> port;
    RecvReqDataFromExtBrow(result, 0, port, 0, request, exitEvent.get());
    EXPECT_EQ(result.get_future().get(), HttpUtilsError::TimedOut);
    EXPECT_EQ(RequestText(*request), "");
}

TEST_F(CallbackListenerTest, APortPromiseThatIsSatisfiedRaisesTheStandardError) {
    std::promise<HttpUtilsError> result;
    std::promise<std::uint32_t> port;
    port.set_value(1);
    try {
        RecvReqDataFromExtBrow(result, 0, port, 0, std::make_shared<CallbackRequest>(), exitEvent.get());
        FAIL() << "no exception";
    } catch (const std::future_error& error) {
        EXPECT_EQ(error.code(), std::future_errc::promise_already_satisfied);
    }
}

TEST_F(CallbackListenerTest, APortPromiseWithoutAStateRaisesTheStandardError) {
    std::promise<HttpUtilsError> result;
    std::promise<std::uint32_t> port;
    std::promise<std::uint32_t> elsewhere = std::move(port);
    try {
        RecvReqDataFromExtBrow(result, 0, port, 0, std::make_shared<CallbackRequest>(), exitEvent.get());
        FAIL() << "no exception";
    } catch (const std::future_error& error) {
        EXPECT_EQ(error.code(), std::future_errc::no_state);
    }
}

} // namespace
} // namespace zelto::test
