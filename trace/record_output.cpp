#include "trace/record_output.h"

#include "trace/emit.h"
#include "trace/hex_dump.h"
#include "trace/log_files.h"
#include "trace/short_text.h"
#include "trace/trace.h"
#include "trace/trace_state.h"

#include <algorithm>

namespace zelto {
namespace {

constexpr std::uint64_t kEmitThreshold = 2048; // bytes of a hex dump that are emitted together

// Up to where the text of the record at hand has gone to console and debugger.
struct Emission {
    const char* level;
    std::uint64_t emitted; // place in the pending buffer
    bool continuation = false;
};

void AppendPending(std::string_view text) noexcept {
    const std::size_t used = static_cast<std::size_t>(traceState.pendingUsed);
    const std::size_t count = std::min(text.size(), kPendingSize - 1 - used);
    CopyText(traceState.pending + used, text.substr(0, count));
    traceState.pending[used + count] = '\0';
    traceState.pendingUsed = used + count;
}

bool FlushWhenFull() noexcept {
    if (traceState.pendingUsed <= kFlushThreshold) {
        return false;
    }
    TraceFlush();
    return true;
}

// The text still stands in the pending buffer when it has just been flushed: flushing only resets the count.
void EmitUpTo(Emission& emission, std::uint64_t end) noexcept {
    if ((TraceFlags.load(std::memory_order_relaxed) & (kTraceDebuggerOutput | kTraceConsoleOutput)) != 0) {
        TraceEmit(emission.level, emission.continuation, traceState.pending + emission.emitted,
                  static_cast<std::size_t>(end - emission.emitted));
    }
    emission.emitted = end;
    emission.continuation = true;
}

void AppendDumpHeading(std::size_t dataLength) noexcept {
    char memory[32];
    BoundedText heading(memory, sizeof(memory));
    heading.Append(" length=");
    heading.AppendDecimal(dataLength);
    heading.Append("\r\n");
    AppendPending(heading.View());
}

void AppendHexDump(const void* data, std::size_t dataLength, Emission& emission) noexcept {
    for (std::size_t offset = 0; offset < dataLength; offset += kHexDumpStep) {
        char memory[kHexDumpLine];
        BoundedText line(memory, sizeof(memory));
        AppendHexDumpLine(line, data, dataLength, offset);
        AppendPending(line.View());

        const std::uint64_t end = traceState.pendingUsed;
        const bool flushed = FlushWhenFull();
        if (flushed || end - emission.emitted > kEmitThreshold) {
            EmitUpTo(emission, end);
        }
        if (flushed) {
            emission.emitted = 0;
        }
    }
}

void PutInMemory(std::string_view record) noexcept {
    const bool wanted = (TraceFlags.load(std::memory_order_relaxed) & kTraceMemoryRing) != 0;
    if (wanted && traceState.ring != nullptr) {
        PutInRing(*traceState.ring, record);
    }
}

} // namespace

void OutputRecord(std::string_view record, const void* data, std::size_t dataLength,
                  const char* level) noexcept {
    PutInMemory(record);

    Emission emission{level, traceState.pendingUsed};
    AppendPending(record);
    if (data == nullptr || dataLength == 0) {
        AppendPending("\r\n");
    } else {
        AppendDumpHeading(dataLength);
        AppendHexDump(data, dataLength, emission);
    }

    // Whatever flag 0x100 says: that flag decides on deleting log files and on reopening them at rotation
    // only.
    const std::uint64_t end = traceState.pendingUsed;
    FlushWhenFull();
    if (end > emission.emitted) {
        EmitUpTo(emission, end);
    }
    if (SameText(level, kLevelError)) {
        WriteErrorCopy(record);
    }
}

} // namespace zelto
