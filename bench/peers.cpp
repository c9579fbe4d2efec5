#include "bench/peers.h"

#include "trace/life_cycle.h"
#include "trace/log_files.h"
#include "trace/settings.h"
#include "trace/trace.h"
#include "trace/trace_state.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <spdlog/async.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>
#include <thread>
#include <vector>

namespace zelto::bench {
namespace {

constexpr char kLineEnd[] = "\r\n";

// The fraction of the second in 7 digits, which the peer has no letter for.
class SevenDigits final : public spdlog::custom_flag_formatter {
public:
    void format(const spdlog::details::log_msg& message, const std::tm&, spdlog::memory_buf_t& out) override {
        const auto sinceEpoch =
            std::chrono::duration_cast<std::chrono::nanoseconds>(message.time.time_since_epoch()).count();
        spdlog::details::fmt_helper::pad_uint(static_cast<std::uint32_t>(sinceEpoch % 1'000'000'000 / 100), 7,
                                              out);
    }
    std::unique_ptr<custom_flag_formatter> clone() const override { return std::make_unique<SevenDigits>(); }
};

Logger WithTheRecordsFields(Logger logger) {
    auto formatter = std::make_unique<spdlog::pattern_formatter>(spdlog::pattern_time_type::local, kLineEnd);
    formatter->add_flag<SevenDigits>('*');
    formatter->set_pattern("[%Y-%m-%d %H:%M:%S.%* UTC%z] [%P:%t] [%n  %# %7l] %v");
    logger->set_formatter(std::move(formatter));
    return logger;
}

std::vector<spdlog::sink_ptr> FileSinks(const std::filesystem::path& file,
                                        const std::filesystem::path& errorCopy) {
    using FileSink = spdlog::sinks::basic_file_sink_mt;
    std::vector<spdlog::sink_ptr> sinks = {std::make_shared<FileSink>(file.string(), true)};
    if (!errorCopy.empty()) {
        sinks.push_back(std::make_shared<FileSink>(errorCopy.string(), true));
    }
    return sinks;
}

Logger Finished(Logger logger, bool flushesErrors) {
    if (flushesErrors) {
        logger->flush_on(spdlog::level::err);
    }
    return WithTheRecordsFields(std::move(logger));
}

} // namespace

std::atomic<std::uint64_t> testedWord{kTraceDefaultFlags & ~kTraceDebug};

RunningTrace::RunningTrace(std::uint64_t flags, std::uint64_t limitMiB) {
    TraceStart(folder_.NarrowWithBackslash().c_str(), "host.log");
    const TraceLockGuard lock;
    ApplyTraceSettings({flags, limitMiB});
}

RunningTrace::~RunningTrace() {
    TraceStop();
    CloseStreams();
}

void RunningTrace::Drain() {
    const TraceLockGuard lock;
    TraceFlush();
    FlushStreams();
}

Logger FileLogger(const std::filesystem::path& file, const std::filesystem::path& errorCopy) {
    const auto sinks = FileSinks(file, errorCopy);
    return Finished(std::make_shared<spdlog::logger>(kTraceModuleName, sinks.begin(), sinks.end()),
                    !errorCopy.empty());
}

Logger RotatingLogger(const std::filesystem::path& file, std::size_t limit) {
    return WithTheRecordsFields(std::make_shared<spdlog::logger>(
        kTraceModuleName, std::make_shared<spdlog::sinks::rotating_file_sink_mt>(file.string(), limit, 1)));
}

Logger AsynchronousLogger(const std::filesystem::path& file, const std::filesystem::path& errorCopy) {
    spdlog::init_thread_pool(8192, 1);
    const auto sinks = FileSinks(file, errorCopy);
    return Finished(std::make_shared<spdlog::async_logger>(kTraceModuleName, sinks.begin(), sinks.end(),
                                                           spdlog::thread_pool(),
                                                           spdlog::async_overflow_policy::block),
                    !errorCopy.empty());
}

// The one thread of the pool has written all records when it has taken the order to flush out of the queue.
void DrainAsynchronous(spdlog::logger& logger) {
    logger.flush();
    while (spdlog::thread_pool()->queue_size() != 0) {
        std::this_thread::yield();
    }
    for (const spdlog::sink_ptr& sink : logger.sinks()) {
        sink->flush();
    }
}

void EndAsynchronousLoggers() {
    spdlog::shutdown();
}

void Floor::Write(std::string_view record) {
    LARGE_INTEGER counter;
    QueryPerformanceCounter(&counter);
    last_.store(counter.QuadPart, std::memory_order_relaxed);
    FILETIME now;
    GetSystemTimePreciseAsFileTime(&now);
    const DWORD thread = GetCurrentThreadId();

    EnterCriticalSection(&lock_);
    if (sizeof(buffer_) - used_ < Size(record)) {
        used_ = 0;
    }
    std::memcpy(buffer_ + used_, &now, sizeof(now));
    std::memcpy(buffer_ + used_ + sizeof(now), &thread, sizeof(thread));
    std::memcpy(buffer_ + used_ + sizeof(now) + sizeof(thread), record.data(), record.size());
    used_ += Size(record);
    LeaveCriticalSection(&lock_);
}

std::size_t LinesIn(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return static_cast<std::size_t>(
        std::count(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>(), '\n'));
}

std::uintmax_t BytesIn(const std::filesystem::path& folder) {
    std::uintmax_t bytes = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        bytes += std::filesystem::file_size(entry.path());
    }
    return bytes;
}

} // namespace zelto::bench
