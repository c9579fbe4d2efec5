#pragma once

#include <cstdint>
#include <string>

namespace zelto {

// What ExtBrowserListenerThread is given. The three variables belong to the flow, which joins the thread
// before it reads the id and before it lets go of any of them.
struct ListenerThreadArgs {
    const std::uint32_t* port;           // to bind on 127.0.0.1; not 0
    const std::uint32_t* timeoutSeconds; // socket time-out of the browser connections; 0 for none
    std::string* authId;                 // receives the id
};

// Thread procedure of the listener for a browser that runs in another Windows session. `args` is a
// ListenerThreadArgs made with new; the thread frees it. Every browser connection is answered with the ZTNA
// page; the first one that ends, with or without a request, ends the listener, and the text between "?id="
// and the next blank of its request goes to the caller's string (empty when there is none). Without a
// connection the thread waits without end.
//
// Returns 0. A failure is logged, if at all, and leaves the caller's string as it was; no exception leaves
// it. Accepted sockets are never closed.
unsigned __stdcall ExtBrowserListenerThread(void* args);

} // namespace zelto
