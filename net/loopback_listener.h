#pragma once

#include "auth/kernel_handle.h"
#include "net/socket_handle.h"
#include "net/winsock_reference.h"

#include <cstdint>
#include <memory>
#include <type_traits>
#include <winsock2.h>

namespace zelto {

struct WsaEventCloser {
    void operator()(WSAEVENT event) const noexcept { WSACloseEvent(event); }
};
using WsaEvent = std::unique_ptr<std::remove_pointer_t<WSAEVENT>, WsaEventCloser>;

// What a listener has open. The members stand in the reverse of the order in which they are closed: the
// browser's socket, the listening socket, the accept event, the data-ready event, the timer, Winsock. Two of
// them are shared with a reader thread, which may be the last to let go of them.
struct LoopbackListener {
    WinsockReference winsock;
    KernelHandle timer;                      // overall time-out; only of the listener that has one
    std::shared_ptr<KernelHandle> dataReady; // set by a reader that has finished
    WsaEvent acceptEvent;
    SocketHandle listening;
    std::shared_ptr<SocketHandle> browser; // the accepted connection; only of the listener that owns it
};

enum class ListenResult {
    Listening,
    NoSocket,     // no socket could be created
    NotBound,     // the port is taken, or may not be used
    NotListening, // the accept event could not be tied to the socket, or listen failed
};

// Opens the listening socket on 127.0.0.1 (`port` 0: the system chooses) and ties it to the accept event,
// which must exist. timeoutMs: the socket's receive time-out. Logs nothing: the two listeners word it
// differently.
ListenResult StartListening(LoopbackListener& listener, std::uint32_t port, std::uint32_t timeoutMs);

enum class AcceptResult {
    Accepted,
    FalseEvent, // nobody there any more
    Failed,
};

// Takes the next browser connection; says in the log what came of it. `browser` is set when it is Accepted.
AcceptResult AcceptBrowser(const LoopbackListener& listener, SocketHandle& browser);

} // namespace zelto
