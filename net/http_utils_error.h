#pragma once

#include <cstdint>

namespace zelto {

// Outcome of the callback listener, delivered once through a promise. The numbers are fixed: they reach the
// log.
enum class HttpUtilsError : std::uint32_t {
    Success = 0,          // the browser's request was received, answered and is not empty
    Failed = 1,           // Winsock could not be started, or the wait itself failed
    InvalidParameter = 2, // no exit event was given
    Cancelled = 3,        // the exit event was signalled
    TimedOut = 4,         // the overall time-out passed
    SocketError = 5,      // the accept event or the listening socket could not be set up, or accept failed
};

} // namespace zelto
