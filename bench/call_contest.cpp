#include "bench/contests.h"
#include "bench/texts.h"

#include <atomic>
#include <thread>

namespace zelto::bench {
namespace {

constexpr int kCalls = 20'000;    // of all threads together, in a run
constexpr int kFewerCalls = 5000; // where there are many contests

// What the callers of a run do and how long each call takes.
template <class Call>
Figures TimeCalls(int threads, int calls, const Call& call) {
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
            each * threads / elapsed * 1e9};
}

// The same, and the size of a record: `written` gives the bytes of all that have been made so far.
template <class Call, class Written>
Figures TimeCallsAndSizes(int threads, int calls, const Call& call, const Written& written) {
    const std::uintmax_t before = written();
    Figures figures = TimeCalls(threads, calls, call);
    const std::uintmax_t bytes = written() - before;
    Require(bytes > 0, "records are in the file");
    figures.push_back(static_cast<double>(bytes) / (calls / threads * threads));
    return figures;
}

const std::vector<std::string> kFigures = {"median ns", "p99.9 ns", "mean ns", "records/s", "bytes/record"};
enum Order : std::size_t { kOurs, kFloor, kSync, kAsync };

struct Text {
    const char* name;
    void (*trace)(int);
    void (*peer)(spdlog::logger&, int);
    bool errorCopy = false;
};
constexpr Text kTexts[] = {
    {"constant text", &TraceConstant, &PeerConstant},
    {"typical line", &TraceTypical, &PeerTypical},
    {"five numbers", &TraceNumbers, &PeerNumbers},
    {"wide string", &TraceWide, &PeerWide},
};
constexpr const Text* kTypical = &kTexts[1];
constexpr Text kErrorRecord = {"error record with its copy", &TraceErrorRecord, &PeerErrorRecord, true};

std::uintmax_t Written(RunningTrace& running) {
    running.Drain();
    return BytesIn(running.MainLog().parent_path());
}

// The size of one record of the trace, with its copy.
std::size_t RecordBytes(void (*trace)(int)) {
    RunningTrace running(kTraceDefaultFlags);
    const std::uintmax_t before = Written(running);
    trace(4711);
    return static_cast<std::size_t>(Written(running) - before);
}

std::filesystem::path ErrorCopy(const Text& text, const test::TempFolder& folder) {
    return text.errorCopy ? folder.Path() / "error.log" : std::filesystem::path();
}

void CompeteWith(const Text& text, const char* output, std::uint64_t flags, int threads, int calls,
                 bool targets, const Effort& effort) {
    const std::string finished(RecordBytes(text.trace), 'x');
    calls = effort.Scaled(calls);
    if (calls < threads) {
        calls = threads;
    }
    const test::TempFolder syncFolder;
    const test::TempFolder asyncFolder;
    RunningTrace running(flags);
    Floor floor;
    const Logger sync = FileLogger(syncFolder.Path() / "sync.log", ErrorCopy(text, syncFolder));
    const Logger async = AsynchronousLogger(asyncFolder.Path() / "async.log", ErrorCopy(text, asyncFolder));
    const std::vector<Contender> contenders = {
        {"trace",
         [&] { return TimeCallsAndSizes(threads, calls, text.trace, [&] { return Written(running); }); }},
        {"floor",
         [&] {
             Figures figures = TimeCalls(threads, calls, [&](int) { floor.Write(finished); });
             figures.push_back(static_cast<double>(Floor::Size(finished)));
             return figures;
         }},
        {"spdlog, synchronous",
         [&] {
             return TimeCallsAndSizes(
                 threads, calls, [&](int i) { text.peer(*sync, i); },
                 [&] {
                     sync->flush();
                     return BytesIn(syncFolder.Path());
                 });
         }},
        {"spdlog, asynchronous",
         [&] {
             return TimeCallsAndSizes(
                 threads, calls, [&](int i) { text.peer(*async, i); },
                 [&] {
                     DrainAsynchronous(*async);
                     return BytesIn(asyncFolder.Path());
                 });
         }},
    };
    const double toFloor = targets && threads == 1 ? 1.5 : 0;
    const double toSync = !targets ? 0 : threads == 1 ? 0.6 : threads == 4 ? 0.7 : 0;
    Compete(std::string(text.name) + ", " + output + ", threads: " + std::to_string(threads), kFigures,
            contenders,
            {{kOurs, kFloor, 0, toFloor},
             {kOurs, kSync, 0, toSync},
             {kOurs, kAsync, 0, 0},
             {kOurs, kFloor, 2, 0},
             {kOurs, kSync, 2, toSync},
             {kOurs, kAsync, 2, 0}},
            effort);
    EndAsynchronousLoggers();
}

} // namespace

void CompeteInCalls(const Effort& effort) {
    constexpr std::uint64_t kFileOnly = kTraceDefaultFlags;
    constexpr std::uint64_t kFileAndRing = kTraceDefaultFlags | kTraceMemoryRing;
    for (const Text& text : kTexts) {
        for (const int threads : {1, 2, 4, 8}) {
            const bool typical = &text == kTypical;
            const int calls = typical || threads == 1 ? kCalls : kFewerCalls;
            CompeteWith(text, "file", kFileOnly, threads, calls, typical, effort);
        }
    }
    for (const int threads : {1, 4}) {
        CompeteWith(*kTypical, "file and ring", kFileAndRing, threads, kCalls, false, effort);
    }
    CompeteWith(kErrorRecord, "files", kFileOnly, 1, kCalls / 10, false, effort);
}

} // namespace zelto::bench
