#include "bench/contests.h"
#include "bench/texts.h"

namespace zelto::bench {
namespace {

constexpr int kBursts = 1000;
constexpr int kBurstRecords = 100;
constexpr std::uint64_t kLimitMiB = 1; // reached, and the file rotated, every 70 bursts or so

template <class Call>
Figures TimeBursts(int bursts, const Call& call) {
    std::vector<double> times;
    for (int burst = 0; burst < bursts; ++burst) {
        const std::uint64_t before = Ticks();
        for (int i = 0; i < kBurstRecords; ++i) {
            call(i);
        }
        times.push_back(static_cast<double>(Ticks() - before) / TicksPerNanosecond() / 1000);
    }
    return {Percentile(times, 0.5), Percentile(times, 0.9), Percentile(times, 0.99), Percentile(times, 1.0)};
}

} // namespace

void CompeteInBursts(const Effort& effort) {
    const int bursts = effort.Scaled(kBursts);
    const test::TempFolder folder;
    RunningTrace running(kTraceDefaultFlags, kLimitMiB);
    const Logger peer = RotatingLogger(folder.Path() / "rotating.log", kLimitMiB << 20);
    const std::vector<Contender> contenders = {
        {"trace", [&] { return TimeBursts(bursts, &TraceTypical); }},
        {"spdlog, rotating file", [&] { return TimeBursts(bursts, [&](int i) { PeerTypical(*peer, i); }); }},
    };
    Compete("burst of 100 typical lines, files of 1 MiB that rotate",
            {"median us", "p90 us", "p99 us", "longest us"}, contenders, {{0, 1, 0, 0}, {0, 1, 2, 1.5}},
            effort);
}

} // namespace zelto::bench
