#include "trace/clock.h"

#include "trace/trace_state.h"

#include <ctime>

namespace zelto {
namespace {

constexpr DWORD kTimeZoneRefresh = 10'000; // milliseconds

std::uint64_t ReadFileTime() noexcept {
    FILETIME now;
    traceState.readClock(&now);
    return std::uint64_t{now.dwHighDateTime} << 32 | now.dwLowDateTime;
}

// Which reading of the time zone is in force: the CRT reads it when this changes.
DWORD RefreshTimeZone() noexcept {
    const DWORD tick = GetTickCount() / kTimeZoneRefresh;
    if (traceState.timeZoneTick.load(std::memory_order_relaxed) != tick) {
        traceState.timeZoneTick.store(tick, std::memory_order_relaxed);
        _tzset();
    }
    return tick;
}

struct Zone {
    long seconds = 0; // west of UTC
    int daylight = 0; // not 0: with a daylight rule
};

Zone ReadZone() noexcept {
    Zone zone;
    _get_timezone(&zone.seconds);
    _get_daylight(&zone.daylight);
    return zone;
}

TimeBlockKey KeyOf(std::int64_t seconds, DWORD zoneReading) noexcept {
    const Zone zone = ReadZone();
    return {seconds, zone.seconds, zone.daylight, zoneReading};
}

constinit LastTimeBlock lastTimeBlock;

} // namespace

char* PutCurrentTimeBlock(char* text) noexcept {
    const DWORD zoneReading = RefreshTimeZone();
    const SplitTime now = SplitFileTime(ReadFileTime());
    const TimeBlockKey key = KeyOf(now.seconds, zoneReading);
    if (lastTimeBlock.Put(text, key, now.fraction)) {
        return text + kPlainTimeBlock;
    }
    BoundedText block(text, kMaximumTimeBlock);
    AppendTimeBlock(block, LocalRecordTime(now));
    // Not kept when another thread has read the zone meanwhile.
    if (block.Length() == kPlainTimeBlock && KeyOf(now.seconds, zoneReading) == key) {
        lastTimeBlock.Keep(key, block.View());
    }
    return block.End();
}

RecordTime LocalRecordTime(const SplitTime& moment) noexcept {
    const __time64_t seconds = moment.seconds;
    std::tm local = {};
    if (_localtime64_s(&local, &seconds) != 0) {
        local = {}; // a clock outside the years that the CRT knows
    }
    const Zone zone = ReadZone();
    return {local.tm_year + 1900, local.tm_mon + 1,
            local.tm_mday,        local.tm_hour,
            local.tm_min,         local.tm_sec,
            moment.fraction,      static_cast<std::int32_t>(zone.seconds) - zone.daylight * 3600};
}

void LookUpClock() noexcept {
    traceState.readClock = &GetSystemTimeAsFileTime;
    const HMODULE kernel = GetModuleHandleA("kernel32");
    const FARPROC precise =
        kernel == nullptr ? nullptr : GetProcAddress(kernel, "GetSystemTimePreciseAsFileTime");
    if (precise != nullptr) {
        traceState.readClock =
            reinterpret_cast<decltype(traceState.readClock)>(reinterpret_cast<void*>(precise));
    }
}

std::int64_t ReadCounter() noexcept {
    LARGE_INTEGER counter;
    QueryPerformanceCounter(&counter);
    return counter.QuadPart;
}

void ReadLocalMoment(LocalMoment& moment) noexcept {
    std::size_t length = 0;
    if (_get_tzname(&length, moment.zoneName, sizeof(moment.zoneName), 0) != 0) {
        moment.zoneName[0] = '\0';
    }
    moment.uptimeSeconds = static_cast<std::int32_t>(GetTickCount() / 1000);
    GetLocalTime(&moment.local);
}

} // namespace zelto
