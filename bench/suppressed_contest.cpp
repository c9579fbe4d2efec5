#include "bench/contests.h"
#include "bench/texts.h"

namespace zelto::bench {
namespace {

constexpr int kCalls = 1'000'000;

int taken = 0;

template <class Call>
Contender Repeated(const char* name, int count, const Call& call) {
    return {name, [count, call] {
                const std::uint64_t before = Ticks();
                for (int i = 0; i < count; ++i) {
                    call();
                }
                return Figures{static_cast<double>(Ticks() - before) / TicksPerNanosecond() / count};
            }};
}

} // namespace

void CompeteInSuppression(const Effort& effort) {
    const int count = effort.Scaled(kCalls);
    const test::TempFolder folder;
    const Logger peer = FileLogger(folder.Path() / "off.log");
    RunningTrace running(kTraceDefaultFlags & ~kTraceDebug);
    const char* tag = kTag;
    const char* response = kResponse;
    Compete("suppressed level", {"ns"},
            {Repeated("trace", count, [=] { TRACE_DEBUG("%s() response=%s", tag, response); }),
             Repeated("test of one word", count,
                      [=] {
                          if ((testedWord.load(std::memory_order_relaxed) & kTraceDebug) != 0) {
                              ++taken;
                          }
                      }),
             Repeated("spdlog, synchronous", count,
                      [=, &peer] { SPDLOG_LOGGER_DEBUG(peer, "{}() response={}", tag, response); })},
            {{0, 1, 0, 1.1}, {0, 2, 0, 0}}, effort);
    Require(taken == 0, "the word's bit is clear");
}

} // namespace zelto::bench
