#pragma once

#include "auth/kernel_handle.h"
#include "net/callback_request.h"
#include "net/socket_handle.h"

#include <cstdint>
#include <memory>

namespace zelto {

// What the reader thread of one browser connection works with. The thread owns the record, and shares what it
// may be the last to touch.
struct ReaderTask {
    std::shared_ptr<SocketHandle> socket; // the accepted connection: its number stays taken while shared
    std::shared_ptr<KernelHandle> dataEvent;
    std::uint32_t timeoutMs; // of each receive and send; 0 for none
    std::shared_ptr<CallbackRequest> request;
    std::uint32_t pageKind; // kPageKindZtna, or anything else for the VPN page
};

// Serves the task on a new, detached thread, which holds Winsock and this library until it has ended. Throws
// std::system_error (resource_unavailable_try_again) when no thread can be created.
void StartReader(ReaderTask task);

// Reads one request from the browser (at most 1024 bytes, in one piece), answers it with the page and stores
// the request text. Whatever happens, it then gives up its share of the socket and sets the data-ready event:
// with an empty text when nothing came within 5 seconds, or the connection failed. Does neither when there is
// no socket at all.
//
// It does not close the socket: whoever holds the last share does.
void RecvFromSocket(std::shared_ptr<SocketHandle> socket, std::shared_ptr<KernelHandle> dataEvent,
                    std::uint32_t timeoutMs, std::shared_ptr<CallbackRequest> request,
                    std::uint32_t pageKind);

} // namespace zelto
