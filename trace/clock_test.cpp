#include "trace/clock.h"

#include "tests/support/import_patch.h"
#include "trace/trace_state.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <gtest/gtest.h>
#include <string>

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

std::uint64_t clockValue = 0;                                         // 100 ns since 1601
constexpr std::uint64_t kSomeSecond = 11'644'473'600 + 1'773'889'893; // 2026-03-19 03:11:33 UTC

int splits = 0;
errno_t CountedLocalTime(std::tm* local, const __time64_t* seconds) {
    ++splits;
    return _gmtime64_s(local, seconds);
}

HMODULE OwnModule() {
    return GetModuleHandleA(nullptr);
}

class ClockTest : public testing::Test {
protected:
    ClockTest() { LookUpClock(); }
};

// The block of now, and its fields.
std::string Block() {
    char memory[kMaximumTimeBlock];
    return {memory, PutCurrentTimeBlock(memory)};
}
std::string Offset() {
    return Block().substr(29, 9);
}
RecordTime Fields() {
    RecordTime time;
    EXPECT_EQ(std::sscanf(Block().c_str(), "[%d-%d-%d %d:%d:%d.%u UTC", &time.year, &time.month, &time.day,
                          &time.hour, &time.minute, &time.second, &time.fraction),
              7);
    return time;
}

TEST_F(ClockTest, DaylightHourIsTakenOffSummerAndWinter) {
    const test::ImportPatch seconds(OwnModule(), "_get_timezone", &ZoneSeconds);
    const test::ImportPatch daylight(OwnModule(), "_get_daylight", &ZoneDaylight);
    zoneSeconds = -3600; // Central Europe
    zoneDaylight = 1;
    EXPECT_EQ(Offset(), "UTC+02:00");
    zoneDaylight = 0;
    EXPECT_EQ(Offset(), "UTC+01:00");
    zoneSeconds = 5 * 3600; // New York
    zoneDaylight = 1;
    EXPECT_EQ(Offset(), "UTC-04:00");
}

TEST_F(ClockTest, TimeZoneIsReadAnewEveryTenSeconds) {
    const test::ImportPatch ticks(OwnModule(), "GetTickCount", &Tick);
    const test::ImportPatch zone(OwnModule(), "_tzset", &ReadZone);
    tick = 50'000;
    Block();
    zoneReads = 0;
    tick = 59'999;
    Block();
    EXPECT_EQ(zoneReads, 0);
    tick = 60'000;
    Block();
    Block();
    EXPECT_EQ(zoneReads, 1);
    tick = 5'000; // the tick count starts anew every 49.7 days
    Block();
    EXPECT_EQ(zoneReads, 2);
}

VOID WINAPI Clock(LPFILETIME now) {
    now->dwLowDateTime = static_cast<DWORD>(clockValue);
    now->dwHighDateTime = static_cast<DWORD>(clockValue >> 32);
}

// The blocks of a second are made once; here the clock stands where it is put.
TEST_F(ClockTest, EveryBlockIsThatOfItsMoment) {
    traceState.readClock = &Clock;
    const test::ImportPatch ticks(OwnModule(), "GetTickCount", &Tick);
    const test::ImportPatch split(OwnModule(), "_localtime64_s", &CountedLocalTime);
    clockValue = kSomeSecond * 10'000'000 + 1'234'567;
    splits = 0;
    const std::string first = Block();
    EXPECT_EQ(first.substr(0, 29), "[2026-03-19 03:11:33.1234567 ");
    clockValue += 8'000'000;
    EXPECT_EQ(Block().substr(0, 29), "[2026-03-19 03:11:33.9234567 ");
    EXPECT_EQ(splits, 1);
    clockValue += 1'000'000;
    EXPECT_EQ(Block().substr(0, 29), "[2026-03-19 03:11:34.0234567 ");
    clockValue -= 9'000'000; // a clock that is set back
    EXPECT_EQ(Block(), first);
    EXPECT_EQ(splits, 3);
}

TEST_F(ClockTest, NewReadingOfTheZoneSplitsTheSecondAnew) {
    traceState.readClock = &Clock;
    const test::ImportPatch ticks(OwnModule(), "GetTickCount", &Tick);
    const test::ImportPatch split(OwnModule(), "_localtime64_s", &CountedLocalTime);
    clockValue = (kSomeSecond + 7) * 10'000'000;
    tick = 10'000;
    splits = 0;
    Block();
    Block();
    EXPECT_EQ(splits, 1);
    tick = 20'000;
    Block();
    EXPECT_EQ(splits, 2);
}

// Local fields and fraction give the clock's own value back.
TEST_F(ClockTest, FieldsAreTheLocalTimeOfNow) {
    SYSTEMTIME before;
    SYSTEMTIME after;
    RecordTime now;
    do { // within one minute
        GetLocalTime(&before);
        now = Fields();
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
    EXPECT_GE(Fields().year, 2024);
    LookUpClock();
    EXPECT_NE(traceState.readClock, &GetSystemTimeAsFileTime);
}

errno_t NoLocalTime(std::tm* local, const __time64_t*) {
    std::memset(local, 0xCC, sizeof(*local));
    return EINVAL;
}

TEST_F(ClockTest, TimeThatTheRuntimeCannotSplitHasEmptyFields) {
    const test::ImportPatch patch(OwnModule(), "_localtime64_s", &NoLocalTime);
    const RecordTime now = LocalRecordTime({1773889893, 0});
    EXPECT_EQ(now.year, 1900);
    EXPECT_EQ(now.month, 1);
    EXPECT_EQ(now.day, 0);
    EXPECT_EQ(now.hour, 0);
    EXPECT_EQ(now.minute, 0);
    EXPECT_EQ(now.second, 0);
}

errno_t TellNoZoneName(std::size_t*, char*, std::size_t, int) {
    return EINVAL;
}

TEST_F(ClockTest, ZoneNameThatTheRuntimeDoesNotTellIsEmpty) {
    const test::ImportPatch patch(GetModuleHandleW(nullptr), "_get_tzname", &TellNoZoneName);
    LocalMoment moment;
    moment.zoneName[0] = '?';
    ReadLocalMoment(moment);
    EXPECT_STREQ(moment.zoneName, "");
}

TEST_F(ClockTest, StandardZoneNameIsReadAndTerminated) {
    LocalMoment moment;
    std::memset(&moment, 0xCC, sizeof(moment));
    const auto before = static_cast<int>(GetTickCount() / 1000);
    ReadLocalMoment(moment);
    const auto after = static_cast<int>(GetTickCount() / 1000);
    EXPECT_NE(std::memchr(moment.zoneName, 0, sizeof(moment.zoneName)), nullptr);
    EXPECT_STRNE(moment.zoneName, "");
    EXPECT_GE(moment.uptimeSeconds, before);
    EXPECT_LE(moment.uptimeSeconds, after);
}

errno_t TellZoneNames(std::size_t*, char* name, std::size_t size, int index) {
    return strcpy_s(name, size, index == 0 ? "standard" : "daylight");
}
VOID WINAPI TellLocalTime(LPSYSTEMTIME local) {
    *local = {2026, 3, 4, 19, 4, 11, 33, 123};
}

TEST_F(ClockTest, LocalMomentHasTheStandardNameAndTheLocalTime) {
    const test::ImportPatch name(OwnModule(), "_get_tzname", &TellZoneNames);
    const test::ImportPatch time(OwnModule(), "GetLocalTime", &TellLocalTime);
    LocalMoment moment;
    std::memset(&moment, 0xCC, sizeof(moment));
    ReadLocalMoment(moment);
    EXPECT_STREQ(moment.zoneName, "standard");
    SYSTEMTIME local;
    TellLocalTime(&local);
    EXPECT_EQ(std::memcmp(&moment.local, &local, sizeof(local)), 0);
}

// Here the clock, the tick count and the zone stand where they are put.
class KeptBlockTest : public ClockTest {
protected:
    KeptBlockTest() {
        traceState.readClock = &Clock;
        clockValue = (kSomeSecond + 60 * ++minutes) * 10'000'000; // no block of an earlier test
        zoneSeconds = 0;
        zoneDaylight = 0;
    }

private:
    static inline std::uint64_t minutes = 0;
    test::ImportPatch ticks_{OwnModule(), "GetTickCount", &Tick};
    test::ImportPatch seconds_{OwnModule(), "_get_timezone", &ZoneSeconds};
    test::ImportPatch daylight_{OwnModule(), "_get_daylight", &ZoneDaylight};
};

TEST_F(KeptBlockTest, IsForItsZoneOnly) {
    EXPECT_EQ(Offset(), "UTC+00:00");
    zoneSeconds = -3600;
    EXPECT_EQ(Offset(), "UTC+01:00");
    zoneDaylight = 1;
    EXPECT_EQ(Offset(), "UTC+02:00");
}

errno_t ZoneChangesMeanwhile(std::tm* local, const __time64_t* seconds) {
    zoneSeconds = -7200;
    return _gmtime64_s(local, seconds);
}

// As if another thread had read the zone anew.
TEST_F(KeptBlockTest, IsNoneWhoseZoneChangedWhileItWasMade) {
    {
        const test::ImportPatch split(OwnModule(), "_localtime64_s", &ZoneChangesMeanwhile);
        EXPECT_EQ(Offset(), "UTC+02:00");
    }
    zoneSeconds = 0;
    EXPECT_EQ(Offset(), "UTC+00:00");
}

errno_t YearOfFiveDigits(std::tm* local, const __time64_t*) {
    *local = {};
    local->tm_year = 12345 - 1900;
    return 0;
}

TEST_F(KeptBlockTest, IsNoneOfAYearWithFiveDigits) {
    const test::ImportPatch split(OwnModule(), "_localtime64_s", &YearOfFiveDigits);
    EXPECT_EQ(Block(), "[12345-01-00 00:00:00.0000000 UTC+00:00] ");
    EXPECT_EQ(Block(), "[12345-01-00 00:00:00.0000000 UTC+00:00] ");
}

} // namespace
} // namespace zelto
