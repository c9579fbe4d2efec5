#include "net/loopback_listener.h"

#include "net/loopback_socket.h"
#include "net/trace_values.h"
#include "trace/trace.h"

#include <windows.h>

namespace zelto {

ListenResult StartListening(LoopbackListener& listener, std::uint32_t port, std::uint32_t timeoutMs) {
    listener.listening = OpenTcpSocket();
    if (!listener.listening) {
        return ListenResult::NoSocket;
    }
    const SOCKET listening = listener.listening.get();
    const DWORD timeout = timeoutMs;
    setsockopt(listening, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&timeout), sizeof(timeout));
    if (!BindToLoopback(listener.listening, port)) {
        return ListenResult::NotBound;
    }
    const bool ready = WSAEventSelect(listening, listener.acceptEvent.get(), FD_ACCEPT) == 0 &&
                       listen(listening, SOMAXCONN) == 0;
    return ready ? ListenResult::Listening : ListenResult::NotListening;
}

AcceptResult AcceptBrowser(const LoopbackListener& listener, SocketHandle& browser) {
    browser.reset(accept(listener.listening.get(), nullptr, nullptr));
    const int error = WSAGetLastError();
    if (browser) {
        KeepFromChildren(browser);
        TRACE_INFO("Client socket(%p) established.", TraceValue(browser.get()));
        return AcceptResult::Accepted;
    }
    if (error == WSAEWOULDBLOCK) {
        TRACE_INFO("False event signaled. Continue waiting...");
        return AcceptResult::FalseEvent;
    }
    TRACE_ERROR("Cant accept connection request browser. Lasterror=%d", error);
    return AcceptResult::Failed;
}

} // namespace zelto
