#include "trace/trace_state.h"

#include "trace/trace.h"

namespace zelto {
namespace {

constexpr int kLockAttempts = 200;
constexpr DWORD kAttemptMilliseconds = 10; // a critical section cannot be waited for with a time-out

} // namespace

// Constant-initialised: DllMain and static constructors may log in any order.
constinit std::atomic<std::uint64_t> TraceFlags{0};
constinit TraceState traceState{};

TraceLockAttempt::TraceLockAttempt() noexcept {
    for (int attempt = 0; attempt < kLockAttempts && traceState.initialised.load() != 0; ++attempt) {
        holds_ = TryEnterCriticalSection(&traceState.lock) != FALSE;
        if (holds_) {
            return;
        }
        Sleep(kAttemptMilliseconds);
    }
}

TraceLockAttempt::~TraceLockAttempt() {
    if (holds_) {
        LeaveCriticalSection(&traceState.lock);
    }
}

} // namespace zelto
