#include "net/listener_thread.h"

#include "auth/wipe_guard.h"
#include "extbrowser/extract_between.h"
#include "net/browser_reader.h"
#include "net/callback_answer.h"
#include "net/loopback_listener.h"
#include "trace/trace.h"

#include <exception>
#include <memory>
#include <utility>

namespace zelto {
namespace {

constexpr DWORD kWaitMs = 500;

// What one run of the thread works with.
struct Run {
    std::uint32_t port;
    std::uint32_t timeoutMs;
    std::shared_ptr<CallbackRequest> request;
    LoopbackListener listener;
};

// Opens everything up to the listening socket; what fails is logged here, if at all.
bool OpenListener(Run& run) {
    LoopbackListener& listener = run.listener;
    listener.dataReady = std::make_shared<KernelHandle>(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (listener.winsock.Start() != 0) {
        return false;
    }
    listener.acceptEvent.reset(WSACreateEvent());
    if (!listener.acceptEvent) {
        const DWORD error = GetLastError();
        TRACE_ERROR(" WSACreateEvent() failed. LastError=%d", error);
        return false;
    }
    const ListenResult listening = StartListening(listener, run.port, run.timeoutMs);
    if (listening == ListenResult::NotBound) {
        TRACE_ERROR("local port %d can not be bound.", run.port);
    }
    return listening == ListenResult::Listening;
}

// A socket to share that nobody closes: the browser's connection stays open until the process or its Winsock
// ends.
std::shared_ptr<SocketHandle> NeverClosed(SocketHandle socket) {
    return std::shared_ptr<SocketHandle>(new SocketHandle(std::move(socket)), [](SocketHandle* last) {
        last->release();
        delete last;
    });
}

// Accepts one connection and starts its reader. False when the listener cannot go on.
bool OnAcceptEvent(Run& run) {
    WSAResetEvent(run.listener.acceptEvent.get());
    SocketHandle browser;
    const AcceptResult accepted = AcceptBrowser(run.listener, browser);
    if (accepted == AcceptResult::Accepted) {
        StartReader({NeverClosed(std::move(browser)), run.listener.dataReady, run.timeoutMs, run.request,
                     kPageKindZtna});
    }
    return accepted != AcceptResult::Failed;
}

// Waits, without end, until a reader has finished. False when the listener cannot go on.
bool WaitForRequest(Run& run) {
    const HANDLE handles[] = {run.listener.acceptEvent.get(), run.listener.dataReady->get()};
    for (;;) {
        const DWORD wait = WaitForMultipleObjects(2, handles, FALSE, kWaitMs);
        const DWORD waitError = GetLastError();
        switch (wait) {
        case WAIT_OBJECT_0:
            if (!OnAcceptEvent(run)) {
                return false;
            }
            break;
        case WAIT_OBJECT_0 + 1:
            return true;
        case WAIT_TIMEOUT:
            break;
        default:
            TRACE_ERROR(" WaitForMultipleObjects failed(%d). dwWait=%d", waitError, wait);
            return false;
        }
    }
}

void Listen(const ListenerThreadArgs& args) {
    Run run = {*args.port, *args.timeoutSeconds * 1000, std::make_shared<CallbackRequest>(), {}};
    TRACE_INFO("called. dwPort=%d, dwTimeout=%d, /*bExit=%d*/", run.port, run.timeoutMs, 0);
    if (!OpenListener(run) || !WaitForRequest(run)) {
        return;
    }
    std::string request = RequestText(*run.request);
    const WipeGuard wiped(request);
    MoveSecret(*args.authId, ExtractBetween(request, "?id=", " "));
    TRACE_INFO("authId: %s", args.authId->c_str());
}

} // namespace

unsigned __stdcall ExtBrowserListenerThread(void* args) {
    const std::unique_ptr<ListenerThreadArgs> owned(static_cast<ListenerThreadArgs*>(args));
    try {
        Listen(*owned);
    } catch (const std::exception&) {
        // No memory, or no thread for a reader: the flow gets no id. Out of a thread procedure it would end
        // the host.
    }
    return 0;
}

} // namespace zelto
