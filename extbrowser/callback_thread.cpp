#include "extbrowser/callback_thread.h"

#include "net/callback_listener.h"

namespace zelto {

Thread StartCallbackThread(CallbackTask task) {
    return StartThread([task = std::move(task)]() mutable {
        try {
            RecvReqDataFromExtBrow(task.result, task.port, task.portPromise, task.timeoutMs, task.request,
                                   task.exitEvent);
        } catch (...) {
            // Nobody above this frame but the C runtime, which would end the host. The flow learns of it from
            // the promise that breaks.
        }
    });
}

HttpUtilsError WaitForCallback(std::future<HttpUtilsError>& result) {
    try {
        return result.get();
    } catch (const std::future_error&) {
        return HttpUtilsError::Failed;
    }
}

} // namespace zelto
