#include "trace/crash_dump_name.h"

#include "trace/bounded_text.h"

namespace zelto {
namespace {

void AppendPadded(BoundedText& out, std::int32_t value, std::size_t digits,
                  std::string_view behind) noexcept {
    out.AppendDecimal(static_cast<std::uint32_t>(value), digits);
    out.Append(behind);
}

} // namespace

FileName CrashDumpName(std::string_view host, std::uint32_t processId, std::uint32_t threadId,
                       const RecordTime& time) noexcept {
    FileName name;
    if (host.find('\\') == std::string_view::npos) {
        return name;
    }
    BoundedText out(name.text, kMaximumName);
    out.Append(host);
    out.Append(" [");
    out.AppendDecimal(processId);
    out.Append('.');
    out.AppendDecimal(threadId);
    out.Append("] ");
    AppendPadded(out, time.year, 4, "-");
    AppendPadded(out, time.month, 2, "-");
    AppendPadded(out, time.day, 2, " ");
    AppendPadded(out, time.hour, 2, ".");
    AppendPadded(out, time.minute, 2, ".");
    AppendPadded(out, time.second, 2, ".dmp");
    return name;
}

} // namespace zelto
