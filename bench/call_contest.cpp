#include "bench/contests.h"
#include "bench/texts.h"

#include <atomic>
#include <thread>

namespace zelto::bench {
namespace {

constexpr int kCalls = 20'000; // of all threads together, in a run

// What the callers of a run do and how long each call takes.
template <class Call>
Figures TimeCalls(int threads, int calls, double recordBytes, const Call& call) {
    const int each = calls / threads;
    std::vector<std::vector<double>> times(static_cast<std::size_t>(threads));
    std::atomic<int> waiting{threads};
    std::atomic<std::uint64_t> begin{0};
    std::vector<std::thread> callers;
    const double ticks = TicksPerNanosecond();
    for (std::vector<double>& own : times) {
        callers.emplace_back([&, each] {
            own.resize(static_cast<std::size_t>(each));
            waiting.fetch_sub(1);
            while (waiting.load() != 0) {
                std::this_thread::yield();
            }
            std::uint64_t none = 0;
            begin.compare_exchange_strong(none, Ticks());
            for (int i = 0; i < each; ++i) {
                const std::uint64_t before = Ticks();
                call(i);
                own[static_cast<std::size_t>(i)] = static_cast<double>(Ticks() - before) / ticks;
            }
        });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    const double elapsed = static_cast<double>(Ticks() - begin.load()) / ticks;
    std::vector<double> all;
    for (const std::vector<double>& own : times) {
        all.insert(all.end(), own.begin(), own.end());
    }
    return {Percentile(all, 0.5), Percentile(all, 0.999), elapsed / (each * threads),
            each * threads / elapsed * 1e9, recordBytes};
}

const std::vector<std::string> kFigures = {"median ns", "p99.9 ns", "mean ns", "records/s", "bytes/record"};
enum Order : std::size_t { kOurs, kFloor, kSync, kAsync };

struct Text {
    const char* name;
    void (*trace)(int);
    void (*peer)(spdlog::logger&, int);
};
constexpr Text kTexts[] = {
    {"constant text", &TraceConstant, &PeerConstant},
    {"typical line", &TraceTypical, &PeerTypical},
    {"five numbers", &TraceNumbers, &PeerNumbers},
    {"wide string", &TraceWide, &PeerWide},
};

// The size of one record of `text` in the main log.
double RecordBytes(void (*trace)(int)) {
    RunningTrace running(kTraceDefaultFlags);
    running.Drain();
    const auto before = std::filesystem::file_size(running.MainLog());
    trace(4711);
    running.Drain();
    return static_cast<double>(std::filesystem::file_size(running.MainLog()) - before);
}

void CompeteWith(const Text& text, const char* output, std::uint64_t flags, int threads, bool targets,
                 const Effort& effort) {
    const double bytes = RecordBytes(text.trace);
    const std::string finished(static_cast<std::size_t>(bytes), 'x');
    const int calls = effort.Scaled(kCalls);
    const test::TempFolder folder;
    RunningTrace running(flags);
    Floor floor;
    const Logger sync = FileLogger(folder.Path() / "sync.log");
    const Logger async = AsynchronousLogger(folder.Path() / "async.log");
    const std::vector<Contender> contenders = {
        {"trace", [&] { return TimeCalls(threads, calls, bytes, text.trace); }},
        {"floor", [&] { return TimeCalls(threads, calls, bytes, [&](int) { floor.Write(finished); }); }},
        {"spdlog, synchronous",
         [&] { return TimeCalls(threads, calls, bytes, [&](int i) { text.peer(*sync, i); }); }},
        {"spdlog, asynchronous",
         [&] {
             Figures figures = TimeCalls(threads, calls, bytes, [&](int i) { text.peer(*async, i); });
             async->flush();
             return figures;
         }},
    };
    const double toFloor = targets && threads == 1 ? 1.5 : 0;
    const double toSync = !targets ? 0 : threads == 1 ? 0.6 : threads == 4 ? 0.7 : 0;
    Compete(std::string(text.name) + ", " + output + ", threads: " + std::to_string(threads), kFigures,
            contenders,
            {{kOurs, kFloor, 0, toFloor},
             {kOurs, kSync, 0, toSync},
             {kOurs, kFloor, 2, 0},
             {kOurs, kSync, 2, toSync}},
            effort);
    EndAsynchronousLoggers();
}

void CompeteWithErrorRecords(const Effort& effort) {
    const double bytes = RecordBytes(&TraceErrorRecord);
    const int calls = effort.Scaled(kCalls / 10);
    const test::TempFolder folder;
    RunningTrace running(kTraceDefaultFlags);
    const Logger peer = FileLoggerWithErrorCopy(folder.Path() / "main.log", folder.Path() / "error.log");
    const std::vector<Contender> contenders = {
        {"trace", [&] { return TimeCalls(1, calls, bytes, &TraceErrorRecord); }},
        {"spdlog, two files",
         [&] { return TimeCalls(1, calls, bytes, [&](int i) { PeerErrorRecord(*peer, i); }); }},
    };
    Compete("error record with its copy, threads: 1", kFigures, contenders, {{0, 1, 0, 0}, {0, 1, 2, 0}},
            effort);
}

} // namespace

void CompeteInCalls(const Effort& effort) {
    constexpr std::uint64_t kFileOnly = kTraceDefaultFlags;
    constexpr std::uint64_t kFileAndRing = kTraceDefaultFlags | kTraceMemoryRing;
    for (const Text& text : kTexts) {
        const bool typical = &text == &kTexts[1];
        CompeteWith(text, "file", kFileOnly, 1, typical, effort);
    }
    for (const int threads : {2, 4, 8}) {
        CompeteWith(kTexts[1], "file", kFileOnly, threads, true, effort);
    }
    for (const int threads : {1, 4}) {
        CompeteWith(kTexts[1], "file and ring", kFileAndRing, threads, false, effort);
    }
    CompeteWithErrorRecords(effort);
}

} // namespace zelto::bench
