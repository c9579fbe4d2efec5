#pragma once

#include "tests/support/import_patch.h"

#include <atomic>
#include <cstdint>
#include <windows.h>
#include <winsock2.h>

namespace zelto::test {

inline std::atomic<std::int64_t> frozen{0}; // what every reading gives, when it is not 0
inline std::atomic<std::int64_t> shift{0};
inline std::atomic<int> readings{0};
inline HANDLE wasRead; // auto-reset event
inline decltype(&QueryPerformanceCounter) readCounter;
inline BOOL WINAPI ReadShifted(LARGE_INTEGER* counter) {
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
    ShiftedCounter() : patch_(GetModuleHandleA(nullptr), "QueryPerformanceCounter", &ReadShifted) {
        readCounter = patch_.Original<BOOL WINAPI(LARGE_INTEGER*)>();
        wasRead = CreateEventA(nullptr, FALSE, FALSE, nullptr);
        QueryPerformanceFrequency(&frequency_);
        shift = 0;
        frozen = 0;
        readings = 0;
    }
    ~ShiftedCounter() { CloseHandle(wasRead); }

    // From now on the counter stands still, at this many units of its frequency after its present value.
    std::int64_t FreezeAfter(std::int64_t units) {
        LARGE_INTEGER now;
        readCounter(&now);
        return frozen = now.QuadPart + shift + units;
    }
    std::int64_t Frequency() const { return frequency_.QuadPart; }

    void AdvanceMilliseconds(std::int64_t milliseconds) {
        shift += milliseconds * frequency_.QuadPart / 1000;
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

private:
    LARGE_INTEGER frequency_;
    ImportPatch patch_;
};

} // namespace zelto::test
