#include "trace/record.h"

#include "trace/trace.h"

namespace zelto {
namespace {

constexpr std::size_t kModuleNameLimit = 32;
constexpr std::size_t kLineLimit = 64;
constexpr std::size_t kLevelLimit = 16;
constexpr std::uint64_t kUnitsPerSecond = 10'000'000; // of a FILETIME
constexpr std::uint64_t kSecondsFrom1601To1970 = 11'644'473'600;

bool Shows(const RecordHead& head, std::uint64_t leaveOutFlag) noexcept {
    return (head.flags & leaveOutFlag) == 0;
}

// Sign and magnitude, as a plain minus would overflow for the lowest value.
std::uint64_t Magnitude(std::int64_t value) noexcept {
    return value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
}

void AppendPadded(BoundedText& out, std::int32_t value, std::size_t digits, char behind) noexcept {
    out.AppendDecimal(static_cast<std::uint32_t>(value), digits);
    out.Append(behind);
}

void AppendTimeBlock(BoundedText& out, const RecordTime& time) noexcept {
    out.Append('[');
    AppendPadded(out, time.year, 4, '-');
    AppendPadded(out, time.month, 2, '-');
    AppendPadded(out, time.day, 2, ' ');
    AppendPadded(out, time.hour, 2, ':');
    AppendPadded(out, time.minute, 2, ':');
    AppendPadded(out, time.second, 2, '.');
    out.AppendDecimal(time.fraction, 7);
    out.Append(time.secondsWestOfUtc > 0 ? " UTC-" : " UTC+");
    const std::uint64_t offset = Magnitude(time.secondsWestOfUtc);
    out.AppendDecimal(offset / 3600, 2);
    out.Append(':');
    out.AppendDecimal(offset % 3600 / 60, 2);
    out.Append("] ");
}

// Decimal without padding: an id of 0 has no digits at all.
void AppendId(BoundedText& out, std::uint32_t id) noexcept {
    if (id != 0) {
        out.AppendDecimal(id);
    }
}

void AppendIdBlock(BoundedText& out, const RecordHead& head) noexcept {
    const bool process = Shows(head, kTraceNoProcessId);
    const bool thread = Shows(head, kTraceNoThreadId);
    if (!process && !thread) {
        return;
    }
    out.Append('[');
    AppendId(out, process ? head.processId : 0);
    out.Append(':');
    AppendId(out, thread ? head.threadId : 0);
    out.Append("] ");
}

void AppendLineNumber(BoundedText& out, std::int32_t line) noexcept {
    char memory[kLineLimit];
    BoundedText text(memory, sizeof(memory));
    text.Append(line < 0 ? "-" : "");
    text.AppendDecimal(Magnitude(line));
    out.AppendField(text.View(), kLineLimit);
}

void AppendLabelBlock(BoundedText& out, const RecordHead& head) noexcept {
    const bool module = Shows(head, kTraceNoModuleName) && !head.moduleName.empty();
    const bool level = Shows(head, kTraceNoLevel) && !head.level.empty();
    if (!module && !level) {
        return;
    }
    out.Append('[');
    if (module) {
        out.AppendField(head.moduleName, kModuleNameLimit);
        out.Append(' ');
    }
    if (Shows(head, kTraceNoLine)) {
        out.Append(' '); // behind a reserved field that is always empty
        AppendLineNumber(out, head.line);
        out.Append(' ');
    }
    if (level) {
        out.AppendField(head.level, kLevelLimit);
        out.Append(' ');
    }
    out.RemoveLast();
    out.Append("] ");
}

} // namespace

void AppendRecordHead(BoundedText& out, const RecordHead& head) noexcept {
    if (Shows(head, kTraceNoTime)) {
        AppendTimeBlock(out, head.time);
    }
    AppendIdBlock(out, head);
    if ((head.flags & kTraceNoLabel) != kTraceNoLabel) {
        AppendLabelBlock(out, head);
    }
}

SplitTime SplitFileTime(std::uint64_t fileTime) noexcept {
    const std::uint64_t seconds = fileTime / kUnitsPerSecond;
    return {static_cast<std::int64_t>(seconds) - static_cast<std::int64_t>(kSecondsFrom1601To1970),
            static_cast<std::uint32_t>(fileTime % kUnitsPerSecond)};
}

} // namespace zelto
