#include "trace/running_trace.h"
#include "trace/settings.h"

#include <algorithm>
#include <barrier>
#include <map>
#include <sstream>
#include <thread>

namespace zelto {
namespace {

constexpr int kThreads = 8;
constexpr int kRecords = 20'000; // of each thread
constexpr int kErrorEvery = 16;
constexpr int kTogether = 500;

bool IsError(int number) {
    return number % kErrorEvery == 0;
}

// A record's text: the thread, its number, and a filling that shows whether the record is whole.
std::string Filling(int thread, int number) {
    return std::string(static_cast<std::size_t>((thread * 13 + number) % 60),
                       static_cast<char>('A' + thread));
}

// The threads stay within kTogether records of each other, so that what the files still cover has some of
// each.
void LogAll(int thread, std::barrier<>& together) {
    for (int number = 0; number < kRecords; ++number) {
        if (number % kTogether == 0) {
            together.arrive_and_wait();
        }
        const std::string filling = Filling(thread, number);
        if (IsError(number)) {
            TRACE_ERROR("%d %d <%s>", thread, number, filling.c_str());
        } else {
            TRACE_INFO("%d %d <%s>", thread, number, filling.c_str());
        }
    }
}

struct Numbered {
    int thread = -1;
    int number = -1;
};

Numbered Read(const test::TraceLine& line) {
    Numbered record;
    std::istringstream(line.text) >> record.thread >> record.number;
    return record;
}

void ExpectWhole(const test::TraceLine& line, const Numbered& record) {
    std::ostringstream text;
    text << record.thread << ' ' << record.number << " <" << Filling(record.thread, record.number) << '>';
    ASSERT_EQ(line.text, text.str());
    ASSERT_EQ(line.level, IsError(record.number) ? "error" : "info");
}

class TraceThreadsTest : public RunningTraceTest {
protected:
    // The names at the moment: the older file of each pair comes first.
    Lines InOrder(const FileName& current, const FileName& a, const FileName& b) {
        const FileName& older = current == a ? b : a;
        return {std::filesystem::path(older.text).filename().string(),
                std::filesystem::path(current.text).filename().string()};
    }

    // The records of a pair of files, oldest first, without those of start, settings and stop.
    std::vector<test::TraceLine> RecordsOf(const Lines& names) {
        std::vector<test::TraceLine> records;
        for (const std::string& name : names) {
            for (const test::TraceLine& line : test::ReadTraceLines(File(name.c_str()))) {
                if (line.text[0] != '(' && line.text[0] != 't') {
                    records.push_back(line);
                }
            }
        }
        return records;
    }

    // Every byte of the files is a record or a header: nothing is torn or mixed.
    void ExpectNothingBut(const Lines& names, std::size_t records) {
        std::size_t lines = 0;
        for (const std::string& name : names) {
            const std::string bytes = Bytes(name.c_str());
            const std::size_t headers = bytes.starts_with("(Time Zone: ") ? 1 : 0; // of a rotation
            lines += static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\n')) - headers;
        }
        EXPECT_EQ(lines, records);
    }

    // What the ring holds, oldest first.
    Lines RingRecords() {
        Lines records;
        const MemoryRing& ring = *traceState.ring;
        for (std::uint64_t i = 0; i < kRingSlots; ++i) {
            records.push_back(ring.slots[(ring.counter + i) % kRingSlots]);
        }
        return records;
    }
};

// What is left of each thread is its end, without a gap: `step` from one record to the next, up to the last
// one.
void ExpectUnbrokenEnds(const std::vector<test::TraceLine>& lines, int step) {
    std::map<int, int> last;
    for (const test::TraceLine& line : lines) {
        const Numbered record = Read(line);
        ASSERT_NO_FATAL_FAILURE(ExpectWhole(line, record));
        const auto known = last.find(record.thread);
        if (known != last.end()) {
            ASSERT_EQ(record.number, known->second + step) << "thread " << record.thread;
        }
        last[record.thread] = record.number;
    }
    ASSERT_EQ(last.size(), static_cast<std::size_t>(kThreads));
    for (const auto& [thread, number] : last) {
        EXPECT_EQ(number, (kRecords - 1) / step * step) << "thread " << thread;
    }
}

TEST_F(TraceThreadsTest, EightThreadsLoseTearAndDoubleNothing) {
    {
        const TraceLockGuard lock;
        ApplyTraceSettings({kTraceDefaultFlags | kTraceMemoryRing, 1});
    }
    std::barrier<> together(kThreads);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread, &together] { LogAll(thread, together); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    Flush();

    Lines ring;
    Lines mainFiles;
    Lines errorFiles;
    {
        const TraceLockGuard lock;
        const LogFileNames& names = traceState.names;
        EXPECT_EQ(traceState.ring->counter, 1u + kThreads * kRecords); // with the settings line
        ring = RingRecords();
        mainFiles = InOrder(names.main, names.rotationA, names.rotationB);
        errorFiles = InOrder(names.errorCopy, names.errorRotationA, names.errorRotationB);
    }
    const std::vector<test::TraceLine> records = RecordsOf(mainFiles);
    const std::vector<test::TraceLine> errors = RecordsOf(errorFiles);
    ASSERT_GT(records.size(), 2000u);
    ASSERT_GT(errors.size(), 2000u);
    ExpectUnbrokenEnds(records, 1);
    ExpectUnbrokenEnds(errors, kErrorEvery);
    ExpectNothingBut(mainFiles, records.size());
    ExpectNothingBut(errorFiles, errors.size());

    Lines tail;
    for (std::size_t i = records.size() - kRingSlots; i < records.size(); ++i) {
        tail.push_back(records[i].raw);
    }
    EXPECT_EQ(ring, tail);
}

} // namespace
} // namespace zelto
