#pragma once

#include "auth/start_thread.h"
#include "net/callback_request.h"
#include "net/http_utils_error.h"

#include <cstdint>
#include <future>
#include <memory>
#include <utility>
#include <windows.h>

namespace zelto {

// What a flow tells the callback listener.
struct CallbackTask {
    std::promise<HttpUtilsError> result;      // the outcome
    std::uint32_t port = 0;                   // to bind on 127.0.0.1; 0 lets the system choose
    std::promise<std::uint32_t> portPromise;  // the bound port, when `port` is 0
    std::uint32_t timeoutMs = 0;              // overall wait, in milliseconds
    std::shared_ptr<CallbackRequest> request; // receives the browser's request
    HANDLE exitEvent = nullptr;               // the caller's; cancels the wait
};

// Runs the callback listener on a thread of its own. The thread owns the task: when the listener ends without
// an outcome, or with an exception, which goes no further, the promises break. Throws std::system_error
// (resource_unavailable_try_again) when the thread cannot be started.
Thread StartCallbackThread(CallbackTask task);

// Waits for the listener's outcome, however long the listener takes. A broken promise is Failed.
HttpUtilsError WaitForCallback(std::future<HttpUtilsError>& result);

// Joins its thread at the end of its scope, also when an exception ends the scope.
class JoiningThread {
public:
    explicit JoiningThread(Thread thread) noexcept : thread_(std::move(thread)) {}
    JoiningThread(const JoiningThread&) = delete;
    JoiningThread& operator=(const JoiningThread&) = delete;
    ~JoiningThread() { thread_.join(); }

private:
    Thread thread_; // joinable
};

} // namespace zelto
