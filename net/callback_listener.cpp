#include "net/callback_listener.h"

#include "auth/kernel_handle.h"
#include "net/browser_reader.h"
#include "net/callback_answer.h"
#include "net/listener_timeout.h"
#include "net/loopback_listener.h"
#include "net/loopback_socket.h"
#include "net/trace_values.h"
#include "trace/trace.h"

#include <optional>
#include <utility>

namespace zelto {
namespace {

constexpr char kTag[] = "RecvReqDataFromExtBrow";
constexpr DWORD kWaitMs = 500;
constexpr int kMostDiscardedBytes = 65536;

// What one call works with.
struct Call {
    std::uint32_t port;
    std::uint32_t timeoutMs;
    std::shared_ptr<CallbackRequest> request;
    KernelHandle exitEvent;
    LoopbackListener listener;
};

// The timer of the overall time-out, running; empty when there is none to be had, which ends the first wait.
KernelHandle StartTimer(std::uint32_t timeoutMs) {
    KernelHandle timer(CreateWaitableTimerW(nullptr, TRUE, nullptr));
    LARGE_INTEGER due;
    due.QuadPart = RelativeDueTime(WholeSeconds(timeoutMs));
    if (timer && !SetWaitableTimer(timer.get(), &due, 0, nullptr, nullptr, FALSE)) {
        timer.reset();
    }
    return timer;
}

// Opens everything up to the listening socket. Returns Success or the outcome of the call.
HttpUtilsError OpenListener(Call& call) {
    LoopbackListener& listener = call.listener;
    listener.dataReady = std::make_shared<KernelHandle>(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    StoreRequestText(*call.request, {});
    if (listener.winsock.Start() != 0) {
        return HttpUtilsError::Failed;
    }
    listener.acceptEvent.reset(WSACreateEvent());
    const DWORD eventError = GetLastError();
    listener.timer = StartTimer(call.timeoutMs);
    if (!listener.acceptEvent) {
        TRACE_ERROR(" WSACreateEvent() failed. LastError=%d", eventError);
        return HttpUtilsError::SocketError;
    }
    const ListenResult listening = StartListening(listener, call.port, call.timeoutMs);
    if (listening == ListenResult::NotBound) {
        TRACE_ERROR("local port %lu can not be bound.", call.port);
    }
    return listening == ListenResult::Listening ? HttpUtilsError::Success : HttpUtilsError::SocketError;
}

// The port that the system has chosen.
std::uint32_t AssignedPort(const LoopbackListener& listener) {
    const std::uint32_t port = BoundPort(listener.listening);
    if (port == 0) {
        TRACE_ERROR("Failed to get assigned port.");
    }
    return port;
}

// Accepts the one browser connection that is served and starts its reader. False when the listener cannot go
// on.
bool OnAcceptEvent(Call& call) {
    LoopbackListener& listener = call.listener;
    WSAResetEvent(listener.acceptEvent.get());
    if (listener.browser != nullptr) {
        TRACE_WARNING("%s() There was already connected socket, ignore this one.", kTag);
        return true;
    }
    SocketHandle browser;
    const AcceptResult accepted = AcceptBrowser(listener, browser);
    if (accepted == AcceptResult::Accepted) {
        listener.browser = std::make_shared<SocketHandle>(std::move(browser));
        StartReader({listener.browser, listener.dataReady, call.timeoutMs, call.request, kPageKindVpn});
    }
    return accepted != AcceptResult::Failed;
}

// The reader has finished. A browser that sent nothing leaves the call without an outcome.
std::optional<HttpUtilsError> OnDataReady(Call& call) {
    if (HasNoRequestText(*call.request)) {
        TRACE_ERROR("%s() A dummy connection was made.", kTag);
        return std::nullopt;
    }
    TRACE_INFO("%s() Got auth id from external browser successfully.", kTag);
    return HttpUtilsError::Success;
}

HttpUtilsError Cancelled() {
    TRACE_WARNING("%s() Connection request was cancelled either by user or internal.", kTag);
    return HttpUtilsError::Cancelled;
}

// Waits until there is an outcome, or until a connection ended without one.
std::optional<HttpUtilsError> WaitForOutcome(Call& call) {
    const HANDLE handles[] = {call.listener.acceptEvent.get(), call.listener.dataReady->get(),
                              call.exitEvent.get(), call.listener.timer.get()};
    for (;;) {
        const DWORD wait = WaitForMultipleObjects(4, handles, FALSE, kWaitMs);
        const DWORD waitError = GetLastError();
        switch (wait) {
        case WAIT_OBJECT_0:
            if (!OnAcceptEvent(call)) {
                return HttpUtilsError::SocketError;
            }
            break;
        case WAIT_OBJECT_0 + 1:
            return OnDataReady(call);
        case WAIT_OBJECT_0 + 2:
            return Cancelled();
        case WAIT_OBJECT_0 + 3:
            TRACE_ERROR(
                "%s() After waiting for %lu seconds, there is still no response from external browser.", kTag,
                WholeSeconds(call.timeoutMs));
            return HttpUtilsError::TimedOut;
        case WAIT_TIMEOUT:
            if (IsAbandoned(*call.request)) {
                return Cancelled();
            }
            break;
        default:
            TRACE_ERROR(" WaitForMultipleObjects failed(%d). dwWait=%d", waitError, wait);
            return HttpUtilsError::Failed;
        }
    }
}

// Closing a socket with unread bytes resets the connection, and the browser may lose the page over it. A
// request longer than what the reader takes leaves such bytes.
void DiscardUnread(SOCKET browser) {
    u_long nonBlocking = 1;
    ioctlsocket(browser, static_cast<long>(FIONBIO), &nonBlocking);
    char buffer[4096];
    int discarded = 0;
    for (int got = 1; got > 0 && discarded < kMostDiscardedBytes; discarded += got) {
        got = recv(browser, buffer, sizeof(buffer), 0);
    }
}

// Prepares the browser's socket for being closed. While its reader still works, the reader's share keeps it
// open: shut down, the browser sees the end now, and the reader ends soon.
void EndBrowserConnection(const LoopbackListener& listener, bool readerFinished) {
    if (listener.browser == nullptr) {
        return;
    }
    if (readerFinished) {
        DiscardUnread(listener.browser->get());
    } else {
        shutdown(listener.browser->get(), SD_BOTH);
    }
}

} // namespace

void RecvReqDataFromExtBrow(std::promise<HttpUtilsError>& result, const std::uint32_t& port,
                            std::promise<std::uint32_t>& portPromise, std::uint32_t timeoutMs,
                            const std::shared_ptr<CallbackRequest>& request, HANDLE exitEvent) {
    if (exitEvent == nullptr) {
        TRACE_ERROR("%s() Parameter error.", kTag);
        result.set_value(HttpUtilsError::InvalidParameter);
        return;
    }
    TRACE_INFO("called. dwPort=%d, dwTimeout=%d, hEvtExit=%x", port, timeoutMs, TraceValue(exitEvent));
    // A handle of its own: the caller's may be closed, and its number reused, while the last steps here still
    // run.
    Call call = {port, timeoutMs, request, DuplicateKernelHandle(exitEvent), {}};
    const HttpUtilsError opened = OpenListener(call);
    if (opened != HttpUtilsError::Success) {
        result.set_value(opened);
        return;
    }
    if (port == 0) {
        portPromise.set_value(AssignedPort(call.listener));
    }
    const std::optional<HttpUtilsError> outcome = WaitForOutcome(call);
    if (outcome) {
        result.set_value(*outcome);
    }
    const bool readerFinished = !outcome || *outcome == HttpUtilsError::Success;
    EndBrowserConnection(call.listener, readerFinished);
}

} // namespace zelto
