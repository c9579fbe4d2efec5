#include "bench/contests.h"
#include "bench/texts.h"
#include "trace/formatter.h"

#include <cstdio>
#include <fmt/compile.h>

namespace zelto::bench {
namespace {

constexpr int kFormats = 100'000;
constexpr char kBounded[] = "fmt, bounded format_to_n"; // both compiled
constexpr char kUnbounded[] = "fmt, unbounded format_to";

// Every contender writes no more than the area of a message.
char area[kMessageArea];
std::size_t written = 0; // keeps the work from being left out

void Ours(const char* format, ...) {
    BoundedText out(area, kMessageArea - 1);
    std::va_list arguments;
    va_start(arguments, format);
    AppendMessage(out, format, arguments);
    va_end(arguments);
    written += out.Length();
}

template <class Format, class... Arguments>
void Compiled(const Format& format, const Arguments&... arguments) {
    written += fmt::format_to_n(area, kMessageArea - 1, format, arguments...).size;
}

// Without a bound: what the peer does best, given memory that is known to suffice.
template <class Format, class... Arguments>
void CompiledUnbounded(const Format& format, const Arguments&... arguments) {
    written += static_cast<std::size_t>(fmt::format_to(area, format, arguments...) - area);
}

void CLibrary(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    written += static_cast<std::size_t>(std::vsnprintf(area, kMessageArea, format, arguments));
    va_end(arguments);
}

template <class Call>
Contender Repeated(const char* name, int count, const Call& call) {
    return {name, [count, call] {
                const std::uint64_t before = Ticks();
                for (int i = 0; i < count; ++i) {
                    call(static_cast<unsigned>(i));
                }
                return Figures{static_cast<double>(Ticks() - before) / TicksPerNanosecond() / count};
            }};
}

void CompeteWith(const char* title, const std::vector<Contender>& contenders, const Effort& effort) {
    Compete(std::string("formatter alone (fmt: compiled formats), ") + title, {"ns"}, contenders,
            {{0, 1, 0, 0.6}, {0, 2, 0, 0}, {0, 3, 0, 0.3}}, effort);
}

} // namespace

void CompeteInFormatting(const Effort& effort) {
    const int count = effort.Scaled(kFormats);
    const char* tag = kTag;
    const char* response = kResponse;
    CompeteWith(
        "constant text",
        {Repeated("trace", count, [](unsigned) { Ours("trace stopped"); }),
         Repeated(kBounded, count, [](unsigned) { Compiled(FMT_COMPILE("trace stopped")); }),
         Repeated(kUnbounded, count, [](unsigned) { CompiledUnbounded(FMT_COMPILE("trace stopped")); }),
         Repeated("snprintf", count, [](unsigned) { CLibrary("trace stopped"); })},
        effort);
    CompeteWith(
        "typical line",
        {Repeated("trace", count, [=](unsigned) { Ours("%s() response=%s", tag, response); }),
         Repeated(kBounded, count,
                  [=](unsigned) { Compiled(FMT_COMPILE("{}() response={}"), tag, response); }),
         Repeated(kUnbounded, count,
                  [=](unsigned) { CompiledUnbounded(FMT_COMPILE("{}() response={}"), tag, response); }),
         Repeated("snprintf", count, [=](unsigned) { CLibrary("%s() response=%s", tag, response); })},
        effort);
    CompeteWith("five numbers",
                {Repeated("trace", count,
                          [](unsigned i) {
                              Ours("port=%d status=%d length=%u flags=%x id=%llu", 8020, 200, i, 0x3FEu,
                                   123456789012ull);
                          }),
                 Repeated(kBounded, count,
                          [](unsigned i) {
                              Compiled(FMT_COMPILE("port={} status={} length={} flags={:#x} id={}"), 8020,
                                       200, i, 0x3FEu, 123456789012ull);
                          }),
                 Repeated(kUnbounded, count,
                          [](unsigned i) {
                              CompiledUnbounded(FMT_COMPILE("port={} status={} length={} flags={:#x} id={}"),
                                                8020, 200, i, 0x3FEu, 123456789012ull);
                          }),
                 Repeated("snprintf", count,
                          [](unsigned i) {
                              CLibrary("port=%d status=%d length=%u flags=%#x id=%llu", 8020, 200, i, 0x3FEu,
                                       123456789012ull);
                          })},
                effort);
    Require(written != 0, "something was written");
}

} // namespace zelto::bench
