#include "trace/clock.h"

#include "tests/support/import_patch.h"
#include "trace/trace_state.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <gtest/gtest.h>

namespace zelto {
namespace {

long zoneSeconds = 0;
int zoneDaylight = 0;
errno_t ZoneSeconds(long* seconds) {
    *seconds = zoneSeconds;
    return 0;
}
errno_t ZoneDaylight(int* daylight) {
    *daylight = zoneDaylight;
    return 0;
}

DWORD tick = 0;
DWORD WINAPI Tick() {
    return tick;
}

int zoneReads = 0;
void ReadZone() {
    ++zoneReads;
}

FARPROC WINAPI FindNothing(HMODULE, LPCSTR) {
    return nullptr;
}

HMODULE OwnModule() {
    return GetModuleHandleA(nullptr);
}

class ClockTest : public testing::Test {
protected:
    ClockTest() { LookUpClock(); }
};

TEST_F(ClockTest, DaylightHourIsTakenOffSummerAndWinter) {
    const test::ImportPatch seconds(OwnModule(), "_get_timezone", &ZoneSeconds);
    const test::ImportPatch daylight(OwnModule(), "_get_daylight", &ZoneDaylight);
    zoneSeconds = -3600; // Central Europe
    zoneDaylight = 1;
    EXPECT_EQ(CurrentRecordTime().secondsWestOfUtc, -7200);
    zoneDaylight = 0;
    EXPECT_EQ(CurrentRecordTime().secondsWestOfUtc, -3600);
    zoneSeconds = 5 * 3600; // New York
    zoneDaylight = 1;
    EXPECT_EQ(CurrentRecordTime().secondsWestOfUtc, 4 * 3600);
}

TEST_F(ClockTest, TimeZoneIsReadAnewEveryTenSeconds) {
    const test::ImportPatch ticks(OwnModule(), "GetTickCount", &Tick);
    const test::ImportPatch zone(OwnModule(), "_tzset", &ReadZone);
    tick = 50'000;
    CurrentRecordTime();
    zoneReads = 0;
    tick = 59'999;
    CurrentRecordTime();
    EXPECT_EQ(zoneReads, 0);
    tick = 60'000;
    CurrentRecordTime();
    CurrentRecordTime();
    EXPECT_EQ(zoneReads, 1);
    tick = 5'000; // the tick count starts anew every 49.7 days
    CurrentRecordTime();
    EXPECT_EQ(zoneReads, 2);
}

// Local fields, their offset and fraction give the clock's own value back (the test zone has no daylight rule
// or is out of it: only the fields below a day are compared).
TEST_F(ClockTest, FieldsAreTheLocalTimeOfNow) {
    SYSTEMTIME before;
    SYSTEMTIME after;
    RecordTime now;
    do { // within one minute
        GetLocalTime(&before);
        now = CurrentRecordTime();
        GetLocalTime(&after);
    } while (before.wMinute != after.wMinute);
    EXPECT_EQ(now.year, before.wYear);
    EXPECT_EQ(now.month, before.wMonth);
    EXPECT_EQ(now.day, before.wDay);
    EXPECT_EQ(now.hour, before.wHour);
    EXPECT_EQ(now.minute, before.wMinute);
    EXPECT_GE(now.second * 1000 + static_cast<int>(now.fraction / 10'000) + 20,
              before.wSecond * 1000 + before.wMilliseconds);
    EXPECT_LE(now.second * 1000 + static_cast<int>(now.fraction / 10'000),
              after.wSecond * 1000 + after.wMilliseconds + 20);
}

TEST_F(ClockTest, CoarseClockServesWhereThereIsNoPreciseOne) {
    {
        const test::ImportPatch none(OwnModule(), "GetProcAddress", &FindNothing);
        LookUpClock();
    }
    EXPECT_EQ(traceState.readClock, &GetSystemTimeAsFileTime);
    EXPECT_GE(CurrentRecordTime().year, 2024);
    LookUpClock();
    EXPECT_NE(traceState.readClock, &GetSystemTimeAsFileTime);
}

errno_t NoLocalTime(std::tm* local, const __time64_t*) {
    std::memset(local, 0xCC, sizeof(*local));
    return EINVAL;
}

TEST_F(ClockTest, TimeThatTheRuntimeCannotSplitHasEmptyFields) {
    const test::ImportPatch patch(OwnModule(), "_localtime64_s", &NoLocalTime);
    const RecordTime now = CurrentRecordTime();
    EXPECT_EQ(now.year, 1900);
    EXPECT_EQ(now.month, 1);
    EXPECT_EQ(now.day, 0);
    EXPECT_EQ(now.hour, 0);
    EXPECT_EQ(now.minute, 0);
    EXPECT_EQ(now.second, 0);
}

TEST_F(ClockTest, StandardZoneNameIsReadAndTerminated) {
    LocalMoment moment;
    std::memset(&moment, 0xCC, sizeof(moment));
    ReadLocalMoment(moment);
    EXPECT_NE(std::memchr(moment.zoneName, 0, sizeof(moment.zoneName)), nullptr);
    EXPECT_STRNE(moment.zoneName, "");
    EXPECT_NEAR(moment.uptimeSeconds, static_cast<int>(GetTickCount() / 1000), 1);
}

} // namespace
} // namespace zelto
