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

void RefreshTimeZone() noexcept {
    const DWORD tick = GetTickCount() / kTimeZoneRefresh;
    if (traceState.timeZoneTick.load(std::memory_order_relaxed) != tick) {
        traceState.timeZoneTick.store(tick, std::memory_order_relaxed);
        _tzset();
    }
}

std::int32_t SecondsWestOfUtc() noexcept {
    long seconds = 0;
    int daylight = 0;
    _get_timezone(&seconds);
    _get_daylight(&daylight);
    return static_cast<std::int32_t>(seconds) - daylight * 3600;
}

} // namespace

RecordTime CurrentRecordTime() noexcept {
    RefreshTimeZone();
    const SplitTime now = SplitFileTime(ReadFileTime());
    const __time64_t seconds = now.seconds;
    std::tm local = {};
    if (_localtime64_s(&local, &seconds) != 0) {
        local = {}; // a clock outside the years that the CRT knows
    }
    return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
            local.tm_min,         local.tm_sec,     now.fraction,  SecondsWestOfUtc()};
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
