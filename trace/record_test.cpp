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
    head.processId = 1234;
    head.threadId = 5678;
    head.moduleName = "ZeltoAuth";
    head.line = 1413;
    head.level = kLevelInfo;
    return head;
}

std::string Text(const RecordHead& head) {
    char memory[kMaximumRecordHead];
    return {memory, PutRecordHead(memory, head)};
}

// The head without its time and id blocks.
std::string LabelOf(RecordHead head) {
    head.flags |= kTraceNoProcessId | kTraceNoThreadId;
    return Text(head);
}

std::string IdsWith(std::uint64_t flags) {
    RecordHead head = DefaultHead();
    head.flags |= flags | kTraceNoModuleName | kTraceNoLevel;
    return Text(head);
}

TEST(RecordTest, DefaultsShowEveryBlock) {
    EXPECT_EQ(Text(DefaultHead()), "[1234:5678] [ZeltoAuth  1413    info] ");
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

TEST(RecordTest, IdBlockByFlags) {
    EXPECT_EQ(IdsWith(0), "[1234:5678] ");
    EXPECT_EQ(IdsWith(kTraceNoThreadId), "[1234:] ");
    EXPECT_EQ(IdsWith(kTraceNoProcessId), "[:5678] ");
    EXPECT_EQ(IdsWith(kTraceNoProcessId | kTraceNoThreadId), "");
}

TEST(RecordTest, IdOfZeroPrintsAsNothing) {
    RecordHead head = DefaultHead();
    head.flags |= kTraceNoModuleName | kTraceNoLevel;
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
    head.flags = kTraceNoLabel & ~kTraceNoLevel;
    EXPECT_EQ(Text(head), "[   info] ");
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

TEST(RecordTest, LongestFieldsAreWhole) {
    RecordHead head = DefaultHead();
    head.moduleName = "01234567890123456789012345678901";
    head.level = "0123456789012345";
    EXPECT_EQ(LabelOf(head), "[01234567890123456789012345678901  1413 0123456789012345] ");
}

TEST(RecordTest, LongestHeadFitsItsMemory) {
    RecordHead head = DefaultHead();
    head.processId = UINT_MAX;
    head.threadId = UINT_MAX;
    head.moduleName = "0123456789012345678901234567890123456789";
    head.line = INT_MIN;
    head.level = "01234567890123456789";
    EXPECT_LT(Text(head).size(), kMaximumRecordHead);
    EXPECT_TRUE(Text(head).ends_with("0123456789012...] "));
}

} // namespace
} // namespace zelto
