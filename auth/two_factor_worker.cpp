#include "auth/two_factor_worker.h"

#include "auth/result_codes.h"
#include "auth/start_thread.h"
#include "auth/two_factor_prompt.h"

#include <mutex>
#include <new>

namespace zelto {
namespace {

// Starting is for one thread at a time: two callers must not both find no worker.
std::mutex starting;

// The last started worker; null when there is none. A worker that has ended is seen, and its handle closed, by
// the next start.
KernelHandle worker;

// Written only while no worker runs.
TwoFactorRequest& SharedRequest() {
    static TwoFactorRequest request;
    return request;
}

void Work(const TwoFactorRequest& request) noexcept {
    SecretText answer;
    const std::uint32_t result = AskForToken(answer, request.description, request.timeoutMs);
    request.callback(request.context, result, answer.CString());
}

bool WorkerIsRunning() noexcept {
    if (worker && WaitForSingleObject(worker.get(), 0) == WAIT_OBJECT_0) {
        worker.reset();
    }
    return static_cast<bool>(worker);
}

} // namespace

std::uint32_t StartTwoFactorWorker(TwoFactorRequest request) noexcept {
    const std::lock_guard lock(starting);
    if (WorkerIsRunning()) {
        return AUTH_E_BUSY;
    }
    TwoFactorRequest& shared = SharedRequest();
    shared = std::move(request);
    try {
        worker = StartThread([&shared] { Work(shared); }).take();
    } catch (const std::system_error&) {
        return AUTH_S_OK;
    } catch (const std::bad_alloc&) {
        return AUTH_S_OK;
    }
    return AUTH_S_OK;
}

} // namespace zelto
