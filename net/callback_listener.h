#pragma once

#include "net/callback_request.h"
#include "net/http_utils_error.h"

#include <cstdint>
#include <future>
#include <memory>
#include <windows.h>

namespace zelto {

// One-shot HTTP listener on 127.0.0.1: takes the browser's final redirect, has it answered with the VPN page
// and keeps the raw request. Runs on a thread of the calling flow and returns when it has an outcome.
//
//   result       receives the outcome, once. A browser that connects without sending a request ends the
//                listener WITHOUT an outcome: let the thread own the promise, so that it breaks and the
//                waiting flow sees that.
//   port         port to bind; 0 lets the system choose.
//   portPromise  receives the bound port before the first wait, but only when `port` is 0; receives 0 when
//                the system does not tell the port. Not satisfied when the listener fails before that.
//   timeoutMs    overall wait; only whole seconds count (1500 is one second, 999 none). Also the socket
//                time-out.
//   request      cleared on entry; holds the request text when the outcome is Success.
//   exitEvent    the caller's event that cancels the wait. The listener waits on a handle of its own: the
//                caller may close the event as soon as this function has delivered the port or the outcome.
//                An abandoned request (net/callback_request.h) cancels the wait, too.
//
// One browser connection is served; later ones are left alone. What the detached reader thread of that
// connection touches it owns or shares, so the reader may outlive this call (by 5 seconds at most when the
// browser stays silent).
//
// Throws std::system_error (resource_unavailable_try_again) when the reader thread cannot be started, and
// std::future_error when a promise has no state or is satisfied already; everything opened is closed again
// first.
void RecvReqDataFromExtBrow(std::promise<HttpUtilsError>& result, const std::uint32_t& port,
                            std::promise<std::uint32_t>& portPromise, std::uint32_t timeoutMs,
                            const std::shared_ptr<CallbackRequest>& request, HANDLE exitEvent);

} // namespace zelto
