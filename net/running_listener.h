#pragma once

#include "net/callback_listener.h"

#include <exception>
#include <future>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

namespace zelto::test {

// The callback listener on a thread of its own, as a flow runs it: the thread owns the promises.
class RunningListener {
public:
    RunningListener(std::uint32_t port, std::uint32_t timeoutMs, HANDLE exitEvent) {
        std::promise<HttpUtilsError> result;
        std::promise<std::uint32_t> portPromise;
        result_ = result.get_future();
        port_ = portPromise.get_future();
        thread_ = std::thread([this, port, timeoutMs, exitEvent, shared = request, result = std::move(result),
                               portPromise = std::move(portPromise)]() mutable {
            try {
                RecvReqDataFromExtBrow(result, port, portPromise, timeoutMs, shared, exitEvent);
            } catch (...) {
                exception_ = std::current_exception();
            }
        });
    }
    RunningListener(const RunningListener&) = delete;
    RunningListener& operator=(const RunningListener&) = delete;
    ~RunningListener() { Join(); }

    // The port that the listener has bound; std::future_error when it never told.
    std::uint16_t Port() { return static_cast<std::uint16_t>(port_.get()); }

    // Waits for the end of the listener. The outcome, or nothing when the promise broke.
    std::optional<HttpUtilsError> Outcome() {
        Join();
        try {
            return result_.get();
        } catch (const std::future_error& error) {
            if (error.code() != std::future_errc::broken_promise) {
                throw;
            }
            return std::nullopt;
        }
    }

    void Join() {
        if (thread_.joinable()) {
            thread_.join();
        }
    }

    // What left the listener as an exception; to be asked when it has ended.
    std::exception_ptr Exception() const { return exception_; }

    std::shared_ptr<CallbackRequest> request = std::make_shared<CallbackRequest>();

private:
    std::exception_ptr exception_;
    std::future<HttpUtilsError> result_;
    std::future<std::uint32_t> port_;
    std::thread thread_;
};

} // namespace zelto::test
