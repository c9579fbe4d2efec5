#include "trace/record.h"

#include "trace/trace.h"

#include <climits>
#include <gtest/gtest.h>
#include <string>

namespace zelto {
namespace {

RecordHead DefaultHead() {
    RecordHead head;
    head.flags = kTraceDefaultFlags;
    head.time = {2026, 3, 19, 4, 11, 33, 1234567, -3600};
    head.processId = 1234;
    head.threadId = 5678;
    head.moduleName = "ZeltoAuth";
    head.line = 1413;
    head.level = kLevelInfo;
    return head;
}

std::string Text(const RecordHead& head) {
    char memory[kMaximumRecordHead];
    BoundedText out(memory, sizeof(memory));
    AppendRecordHead(out, head);
    return std::string(out.View());
}

// The head without its time and id blocks.
std::string LabelOf(RecordHead head) {
    head.flags |= kTraceNoTime | kTraceNoProcessId | kTraceNoThreadId;
    return Text(head);
}

std::string IdsWith(std::uint64_t flags) {
    RecordHead head = DefaultHead();
    head.flags |= flags | kTraceNoTime | kTraceNoModuleName | kTraceNoLevel;
    return Text(head);
}

std::string TimeOf(const RecordTime& time) {
    RecordHead head = DefaultHead();
    head.flags |= kTraceNoProcessId | kTraceNoThreadId | kTraceNoModuleName | kTraceNoLevel;
    head.time = time;
    return Text(head);
}

TEST(RecordTest, DefaultsShowEveryBlock) {
    EXPECT_EQ(Text(DefaultHead()),
              "[2026-03-19 04:11:33.1234567 UTC+01:00] [1234:5678] [ZeltoAuth  1413    info] ");
}

TEST(RecordTest, EmptyReservedFieldLeavesTwoBlanks) {
    RecordHead head = DefaultHead();
    head.line = 400;
    EXPECT_EQ(LabelOf(head), "[ZeltoAuth  400    info] ");
    head.level = kLevelDebug;
    EXPECT_EQ(LabelOf(head), "[ZeltoAuth  400   debug] ");
    head.level = kLevelWarning;
    EXPECT_EQ(LabelOf(head), "[ZeltoAuth  400 warning] ");
    head.level = kLevelError;
    EXPECT_EQ(LabelOf(head), "[ZeltoAuth  400   error] ");
}

TEST(RecordTest, TimeBlockCanBeLeftOut) {
    RecordHead head = DefaultHead();
    head.flags |= kTraceNoTime;
    EXPECT_EQ(Text(head), "[1234:5678] [ZeltoAuth  1413    info] ");
}

TEST(RecordTest, TimeFieldsArePadded) {
    EXPECT_EQ(TimeOf({987, 1, 2, 3, 4, 5, 6, 0}), "[0987-01-02 03:04:05.0000006 UTC+00:00] ");
    EXPECT_EQ(TimeOf({12345, 12, 31, 23, 59, 59, 9999999, 0}), "[12345-12-31 23:59:59.9999999 UTC+00:00] ");
}

TEST(RecordTest, OffsetIsPlusToTheEastAndMinusToTheWest) {
    RecordTime time = {2026, 1, 1, 0, 0, 0, 0, 0};
    time.secondsWestOfUtc = -19800;
    EXPECT_EQ(TimeOf(time), "[2026-01-01 00:00:00.0000000 UTC+05:30] ");
    time.secondsWestOfUtc = 12600;
    EXPECT_EQ(TimeOf(time), "[2026-01-01 00:00:00.0000000 UTC-03:30] ");
    time.secondsWestOfUtc = -45900;
    EXPECT_EQ(TimeOf(time), "[2026-01-01 00:00:00.0000000 UTC+12:45] ");
}

TEST(RecordTest, IdBlockByFlags) {
    EXPECT_EQ(IdsWith(0), "[1234:5678] ");
    EXPECT_EQ(IdsWith(kTraceNoThreadId), "[1234:] ");
    EXPECT_EQ(IdsWith(kTraceNoProcessId), "[:5678] ");
    EXPECT_EQ(IdsWith(kTraceNoProcessId | kTraceNoThreadId), "");
}

TEST(RecordTest, IdOfZeroPrintsAsNothing) {
    RecordHead head = DefaultHead();
    head.flags |= kTraceNoTime | kTraceNoModuleName | kTraceNoLevel;
    head.processId = 0;
    head.threadId = 4294967295u;
    EXPECT_EQ(Text(head), "[:4294967295] ");
}

TEST(RecordTest, LabelFieldsCanBeLeftOut) {
    RecordHead head = DefaultHead();
    head.flags = kTraceNoModuleName;
    EXPECT_EQ(LabelOf(head), "[ 1413    info] ");
    head.flags = kTraceNoLine;
    EXPECT_EQ(LabelOf(head), "[ZeltoAuth    info] ");
    head.flags = kTraceNoLevel;
    EXPECT_EQ(LabelOf(head), "[ZeltoAuth  1413] ");
    head.flags = kTraceNoLine | kTraceNoLevel;
    EXPECT_EQ(LabelOf(head), "[ZeltoAuth] ");
    head.flags = kTraceNoModuleName | kTraceNoLine;
    EXPECT_EQ(LabelOf(head), "[   info] ");
}

TEST(RecordTest, LineAloneMakesNoLabel) {
    RecordHead head = DefaultHead();
    head.flags = kTraceNoModuleName | kTraceNoLevel;
    EXPECT_EQ(LabelOf(head), "");
    head.flags = 0;
    head.moduleName = {};
    head.level = {};
    EXPECT_EQ(LabelOf(head), "");
}

TEST(RecordTest, NoLabelTakesAllEightBits) {
    RecordHead head = DefaultHead();
    head.flags = kTraceNoLabel;
    EXPECT_EQ(Text(head), "");
    head.flags = kTraceNoLabel & ~kTraceNoLevel & ~kTraceNoTime;
    EXPECT_EQ(Text(head), "[2026-03-19 04:11:33.1234567 UTC+01:00] [   info] ");
}

TEST(RecordTest, LineIsPrintedUnchecked) {
    RecordHead head = DefaultHead();
    head.line = 0;
    EXPECT_EQ(LabelOf(head), "[ZeltoAuth  0    info] ");
    head.line = -1;
    EXPECT_EQ(LabelOf(head), "[ZeltoAuth  -1    info] ");
    head.line = INT_MIN;
    EXPECT_EQ(LabelOf(head), "[ZeltoAuth  -2147483648    info] ");
}

TEST(RecordTest, OverlongFieldsAreCut) {
    RecordHead head = DefaultHead();
    head.moduleName = "0123456789012345678901234567890123456789";
    head.level = "01234567890123456789";
    EXPECT_EQ(LabelOf(head), "[01234567890123456789012345678...  1413 0123456789012...] ");
}

TEST(RecordTest, LongestHeadFitsItsMemory) {
    RecordHead head = DefaultHead();
    head.time = {INT_MAX, INT_MAX, INT_MAX, INT_MAX, INT_MAX, INT_MAX, UINT_MAX, INT_MIN};
    head.processId = UINT_MAX;
    head.threadId = UINT_MAX;
    head.moduleName = "0123456789012345678901234567890123456789";
    head.line = INT_MIN;
    head.level = "01234567890123456789";
    EXPECT_LT(Text(head).size(), kMaximumRecordHead);
    EXPECT_TRUE(Text(head).ends_with("0123456789012...] "));
}

TEST(RecordTest, FileTimeIsSplitAt1970) {
    const SplitTime epoch = SplitFileTime(116444736000000000u);
    EXPECT_EQ(epoch.seconds, 0);
    EXPECT_EQ(epoch.fraction, 0u);
    const SplitTime later = SplitFileTime(116444736000000000u + 1773889893u * 10000000ull + 1234567u);
    EXPECT_EQ(later.seconds, 1773889893);
    EXPECT_EQ(later.fraction, 1234567u);
    const SplitTime before = SplitFileTime(116444736000000000u - 1);
    EXPECT_EQ(before.seconds, -1);
    EXPECT_EQ(before.fraction, 9999999u);
}

} // namespace
} // namespace zelto
