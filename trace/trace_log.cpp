#include "trace/clock.h"
#include "trace/formatter.h"
#include "trace/last_error.h"
#include "trace/record.h"
#include "trace/record_output.h"
#include "trace/trace.h"
#include "trace/trace_state.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <iterator>

namespace zelto {
namespace {

constexpr std::size_t kMaximumBlocks = kMaximumTimeBlock + kMaximumRecordHead;

// One record on its way, on the stack of the thread that logs.
struct RecordMemory {
    char text[kMaximumBlocks + kMessageArea];
};

bool TakesRecords() noexcept {
    return traceState.initialised.load(std::memory_order_acquire) != 0 &&
           (TraceFlags.load(std::memory_order_relaxed) & kTraceAnyOutput) != 0;
}

std::string_view CopyModuleName(char (&name)[kModuleNameSize]) noexcept {
    const std::uint64_t length = traceState.moduleNameLength.load(std::memory_order_acquire);
    for (std::size_t i = 0; i < std::size(traceState.moduleName); ++i) {
        const std::uint64_t word = traceState.moduleName[i].load(std::memory_order_relaxed);
        std::memcpy(name + i * sizeof(word), &word, sizeof(word));
    }
    return {name, std::min(static_cast<std::size_t>(length), kModuleNameSize)};
}

std::string_view BuildRecord(RecordMemory& memory, std::int32_t line, const char* level, const char* format,
                             std::va_list arguments) noexcept {
    char moduleName[kModuleNameSize];
    RecordHead head;
    head.flags = TraceFlags.load(std::memory_order_relaxed);
    head.processId = GetCurrentProcessId();
    head.threadId = GetCurrentThreadId();
    head.moduleName = CopyModuleName(moduleName);
    head.line = line;
    head.level = {level, TextLength(level)};

    char* message = memory.text;
    if ((head.flags & kTraceNoTime) == 0) {
        message = PutCurrentTimeBlock(message);
    }
    message = PutRecordHead(message, head);
    BoundedText out(message, kMessageArea - 1);
    AppendMessage(out, format, arguments);
    return {memory.text, out.End()};
}

} // namespace

void TraceLog(const void* data, std::size_t dataLength, std::int32_t line, const char* level,
              const char* format, ...) {
    if (!TakesRecords()) {
        return;
    }
    const KeptErrors kept;
    traceState.lastCall.store(ReadCounter(), std::memory_order_relaxed);

    RecordMemory memory; // filled and read up to the record's length only
    std::va_list arguments;
    va_start(arguments, format);
    const std::string_view record = BuildRecord(memory, line, level, format, arguments);
    va_end(arguments);

    const TraceLockGuard lock;
    OutputRecord(record, data, dataLength, level);
}

} // namespace zelto
