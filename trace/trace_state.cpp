#include "trace/trace_state.h"

#include "trace/trace.h"

namespace zelto {

// Constant-initialised: DllMain and static constructors may log in any order.
constinit std::atomic<std::uint64_t> TraceFlags{0};
constinit TraceState traceState{};

} // namespace zelto
