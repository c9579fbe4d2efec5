#include "bench/contests.h"
#include "bench/texts.h"

namespace zelto::bench {
namespace {

constexpr int kRecords = 50'000;

template <class Call, class Drain>
double TimeStream(int records, const Call& call, const Drain& drain) {
    const std::uint64_t before = Ticks();
    for (int i = 0; i < records; ++i) {
        call(i);
    }
    drain();
    return static_cast<double>(Ticks() - before) / TicksPerNanosecond() / 1e6;
}

Figures Result(double milliseconds, int records) {
    return {milliseconds, records / milliseconds * 1000};
}

Figures StreamTrace(int records) {
    RunningTrace running(kTraceDefaultFlags);
    running.Drain();
    const std::size_t before = LinesIn(running.MainLog());
    const double time = TimeStream(records, &TraceTypical, [&] { running.Drain(); });
    Require(LinesIn(running.MainLog()) - before == static_cast<std::size_t>(records),
            "every line is in the file");
    return Result(time, records);
}

Figures StreamPeer(int records) {
    const test::TempFolder folder;
    const std::filesystem::path file = folder.Path() / "sync.log";
    const Logger peer = FileLogger(file);
    const double time = TimeStream(records, [&](int i) { PeerTypical(*peer, i); }, [&] { peer->flush(); });
    Require(LinesIn(file) == static_cast<std::size_t>(records), "every line is in the peer's file");
    return Result(time, records);
}

Figures StreamAsynchronousPeer(int records) {
    const test::TempFolder folder;
    const std::filesystem::path file = folder.Path() / "async.log";
    Logger peer = AsynchronousLogger(file);
    const double time = TimeStream(
        records, [&](int i) { PeerTypical(*peer, i); },
        [&] {
            peer.reset();
            EndAsynchronousLoggers();
        });
    Require(LinesIn(file) == static_cast<std::size_t>(records),
            "every line is in the asynchronous peer's file");
    return Result(time, records);
}

} // namespace

void CompeteInStreams(const Effort& effort) {
    const int records = effort.Scaled(kRecords);
    Compete("stream of " + std::to_string(records) +
                " typical lines and its drain, every line counted in the file",
            {"ms", "records/s"},
            {{"trace", [&] { return StreamTrace(records); }},
             {"spdlog, synchronous", [&] { return StreamPeer(records); }},
             {"spdlog, asynchronous", [&] { return StreamAsynchronousPeer(records); }}},
            {{0, 1, 0, 0.6}, {0, 2, 0, 0}}, effort);
}

} // namespace zelto::bench
