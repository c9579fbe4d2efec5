#include "net/browser_reader.h"

#include "auth/start_thread.h"
#include "auth/wipe_guard.h"
#include "net/callback_answer.h"
#include "net/html_page.h"
#include "net/received_text.h"
#include "net/trace_values.h"
#include "net/winsock_reference.h"
#include "trace/trace.h"

#include <exception>
#include <string>
#include <utility>
#include <windows.h>

namespace zelto {
namespace {

constexpr char kTag[] = "RecvFromSocket";
constexpr long kSecondsForTheRequest = 5;

// What a reader thread owns. Winsock comes first, so that the sockets are gone before it.
struct ReaderThread {
    WinsockReference winsock;
    ReaderTask task;

    void operator()() {
        RecvFromSocket(std::move(task.socket), std::move(task.dataEvent), task.timeoutMs,
                       std::move(task.request), task.pageKind);
    }
};

void SetTimeouts(SOCKET socket, DWORD timeoutMs) {
    const char* value = reinterpret_cast<const char*>(&timeoutMs);
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, value, sizeof(timeoutMs));
    setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, value, sizeof(timeoutMs));
}

bool WaitUntilReadable(SOCKET socket) {
    fd_set readable = {};
    readable.fd_count = 1;
    readable.fd_array[0] = socket;
    const timeval patience = {kSecondsForTheRequest, 0};
    const int ready =
        select(0, &readable, nullptr, nullptr, &patience); // the first argument has no meaning here
    if (ready == 0 || ready == SOCKET_ERROR) {
        TRACE_WARNING("%s() Nothing happen on the socket(%p).", kTag, TraceValue(socket));
        return false;
    }
    return true;
}

bool ReadRequest(SOCKET socket, std::string& text) {
    TRACE_DEBUG("%s() Read event on the socket.", kTag);
    ReceivedBytes buffer;
    const int received = recv(socket, buffer.bytes, sizeof(buffer.bytes), 0);
    if (received == 0 || received == SOCKET_ERROR) {
        const int error = WSAGetLastError();
        TRACE_WARNING("Could not read from socket(%p). recv() returns %d. errocode=%d", TraceValue(socket),
                      received, error);
        return false;
    }
    text.assign(TextBeforeZero(std::string_view(buffer.bytes, static_cast<std::size_t>(received))));
    return true;
}

bool SendAnswer(SOCKET socket, std::uint32_t pageKind) {
    std::string page;
    LoadHtmlPage(GetModuleHandleA("ZeltoAuth.dll"), CallbackPageId(pageKind), page);
    const std::string answer = CallbackAnswer(page);
    const int sent = send(socket, answer.data(), static_cast<int>(answer.size()), 0);
    if (sent == 0 || sent == SOCKET_ERROR) {
        const DWORD error = GetLastError();
        TRACE_ERROR("Cant send response to browser properly. LastError=%d", error);
        return false;
    }
    return true;
}

// Reads the request, answers it and stores its text. A browser that could not be served leaves no text.
void ServeBrowser(SOCKET socket, std::uint32_t timeoutMs, CallbackRequest& request, std::uint32_t pageKind) {
    SetTimeouts(socket, timeoutMs);
    std::string text;
    const WipeGuard wiped(text);
    if (!WaitUntilReadable(socket) || !ReadRequest(socket, text) || !SendAnswer(socket, pageKind)) {
        return;
    }
    TRACE_INFO("Get authId successfully!");
    StoreRequestText(request, text);
}

} // namespace

void StartReader(ReaderTask task) {
    ReaderThread thread = {{}, std::move(task)};
    thread.winsock.Start(); // one more user of a Winsock that is started already
    StartThread(std::move(thread)).detach();
}

void RecvFromSocket(std::shared_ptr<SocketHandle> socket, std::shared_ptr<KernelHandle> dataEvent,
                    std::uint32_t timeoutMs, std::shared_ptr<CallbackRequest> request,
                    std::uint32_t pageKind) {
    if (socket == nullptr || !*socket) {
        TRACE_ERROR("client socket is invalid.");
        return;
    }
    try {
        ServeBrowser(socket->get(), timeoutMs, *request, pageKind);
    } catch (const std::exception&) {
        // An exception that left this thread would end the host; without a text the listener counts the
        // browser as one that sent nothing.
    }
    // Before the signal: the listener that sees it then closes the connection itself, at once and in its own
    // order.
    socket.reset();
    SetEvent(dataEvent->get());
}

} // namespace zelto
