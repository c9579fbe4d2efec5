#include "trace/record.h"

#include "trace/number_text.h"
#include "trace/short_text.h"
#include "trace/trace.h"

namespace zelto {
namespace {

constexpr std::size_t kModuleNameLimit = 32;
constexpr std::size_t kLevelLimit = 16;
constexpr std::string_view kCutMark = "...";

bool Shows(const RecordHead& head, std::uint64_t leaveOutFlag) noexcept {
    return (head.flags & leaveOutFlag) == 0;
}

// As a plain minus would overflow for the lowest value.
std::uint64_t Magnitude(std::int64_t value) noexcept {
    return value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
}

char* PutField(char* text, std::string_view field, std::size_t limit) noexcept {
    if (field.size() <= limit) {
        return CopyText(text, field);
    }
    text = CopyText(text, field.substr(0, limit - kCutMark.size()));
    return CopyText(text, kCutMark);
}

// Decimal without padding: an id of 0 has no digits at all.
char* PutId(char* text, std::uint32_t id) noexcept {
    return id == 0 ? text : PutDecimal(text, id);
}

char* PutIdBlock(char* text, const RecordHead& head) noexcept {
    const bool process = Shows(head, kTraceNoProcessId);
    const bool thread = Shows(head, kTraceNoThreadId);
    if (!process && !thread) {
        return text;
    }
    *text++ = '[';
    text = PutId(text, process ? head.processId : 0);
    *text++ = ':';
    text = PutId(text, thread ? head.threadId : 0);
    return CopyText(text, "] ");
}

// The field takes 64 characters; no line number comes near that.
char* PutLineNumber(char* text, std::int32_t line) noexcept {
    if (line < 0) {
        *text++ = '-';
    }
    return PutDecimal(text, Magnitude(line));
}

char* PutLabelBlock(char* text, const RecordHead& head) noexcept {
    const bool module = Shows(head, kTraceNoModuleName) && !head.moduleName.empty();
    const bool level = Shows(head, kTraceNoLevel) && !head.level.empty();
    if (!module && !level) {
        return text;
    }
    *text++ = '[';
    if (module) {
        text = PutField(text, head.moduleName, kModuleNameLimit);
        *text++ = ' ';
    }
    if (Shows(head, kTraceNoLine)) {
        *text++ = ' '; // behind a reserved field that is always empty
        text = PutLineNumber(text, head.line);
        *text++ = ' ';
    }
    if (level) {
        text = PutField(text, head.level, kLevelLimit);
        *text++ = ' ';
    }
    return CopyText(text - 1, "] "); // in place of the last blank
}

} // namespace

char* PutRecordHead(char* text, const RecordHead& head) noexcept {
    text = PutIdBlock(text, head);
    return (head.flags & kTraceNoLabel) == kTraceNoLabel ? text : PutLabelBlock(text, head);
}

} // namespace zelto
