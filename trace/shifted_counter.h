#pragma once

#include "tests/support/import_patch.h"

#include <atomic>
#include <cstdint>
#include <windows.h>
#include <winsock2.h>

namespace zelto::test {

inline std::atomic<std::int64_t> frozen{0}; // what every reading gives, when it is not 0
inline std::atomic<std::int64_t> shift{0};
inline std::atomic<int> begunReadings{0};
inline std::atomic<int> readings{0};
// Both are there before the import is patched: the writer may read the counter at once.
inline const HANDLE wasRead = CreateEventA(nullptr, FALSE, FALSE, nullptr); // auto-reset event
inline const decltype(&QueryPerformanceCounter) readCounter = &QueryPerformanceCounter;
inline BOOL WINAPI ReadShifted(LARGE_INTEGER* counter) {
    ++begunReadings;
    readCounter(counter);
    counter->QuadPart = frozen != 0 ? frozen.load() : counter->QuadPart + shift;
    ++readings;
    SetEvent(wasRead);
    return TRUE;
}

// The performance counter as this program sees it: shifted, and its readings counted. While a test waits,
// nothing but the writer reads it. (The standard library's clocks would read it as well, so the waiting is
// done without them.)
class ShiftedCounter {
public:
    ShiftedCounter()
        : frequency_(Reset()), patch_(GetModuleHandleA(nullptr), "QueryPerformanceCounter", &ReadShifted) {}

    // From now on the counter stands still, at this many units of its frequency after its present value.
    std::int64_t FreezeAfter(std::int64_t units) {
        LARGE_INTEGER now;
        readCounter(&now);
        return frozen = now.QuadPart + shift + units;
    }
    std::int64_t Frequency() const { return frequency_; }

    void AdvanceMilliseconds(std::int64_t milliseconds) {
        (frozen != 0 ? frozen : shift) += milliseconds * frequency_ / 1000;
    }

    // Returns when the counter has been read `goal` times in all; false when 30 seconds pass without a
    // reading.
    static bool AwaitReadings(int goal) {
        while (readings < goal) {
            if (WaitForSingleObject(wasRead, 30'000) != WAIT_OBJECT_0) {
                return false;
            }
        }
        return true;
    }

    // The same for readings that begin after this call, and give what has been set by then.
    static bool AwaitNewReadings(int count) { return AwaitReadings(begunReadings + count); }

private:
    // Gives the frequency. It comes before the patch, after which the writer may read at any moment.
    static std::int64_t Reset() {
        shift = 0;
        frozen = 0;
        readings = 0;
        begunReadings = 0;
        LARGE_INTEGER frequency;
        QueryPerformanceFrequency(&frequency);
        return frequency.QuadPart;
    }

    std::int64_t frequency_;
    ImportPatch patch_;
};

} // namespace zelto::test
