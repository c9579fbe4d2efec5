#pragma once

#include "trace/time_block.h"

#include <cstdint>
#include <windows.h>
#include <winsock2.h>

namespace zelto {

// Writes the time block of a record of now, in local time as the CRT splits it. The offset takes the
// daylight-saving hour off whenever the zone has a daylight rule, in winter as well. The CRT reads the time
// zone anew about every 10 seconds. `text` has room for kMaximumTimeBlock characters; returns where the block
// ends.
char* PutCurrentTimeBlock(char* text) noexcept;

// A moment in local time, with the zone as the CRT knows it now.
RecordTime LocalRecordTime(const SplitTime& moment) noexcept;

// Looks up the precise system time for PutCurrentTimeBlock (GetSystemTimePreciseAsFileTime; the coarse one when
// kernel32 has none).
void LookUpClock() noexcept;

// The performance counter.
std::int64_t ReadCounter() noexcept;

// The arguments that the start-up, settings and rotation lines have in common.
struct LocalMoment {
    char zoneName[256];         // standard time-zone name, in the ANSI code page
    std::int32_t uptimeSeconds; // of the system
    SYSTEMTIME local;
};
void ReadLocalMoment(LocalMoment& moment) noexcept;

} // namespace zelto
