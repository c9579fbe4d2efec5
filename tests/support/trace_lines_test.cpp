#include "tests/support/trace_lines.h"

#include <gtest/gtest.h>

namespace zelto::test {
namespace {

TEST(TraceLinesTest, ReadsARecordOfTheDefaultForm) {
    TraceLine line;
    ASSERT_TRUE(ParseTraceLine(
        "[2026-03-19 04:11:33.1234567 UTC+01:00] [1234:5678] [ZeltoAuth  1413    info] trace stopped", line));
    EXPECT_EQ(line.time, "2026-03-19 04:11:33.1234567 UTC+01:00");
    EXPECT_EQ(line.pid, 1234u);
    EXPECT_EQ(line.tid, 5678u);
    EXPECT_EQ(line.line, 1413);
    EXPECT_EQ(line.level, "info");
    EXPECT_EQ(line.text, "trace stopped");
}

TEST(TraceLinesTest, RefusesATornRecord) {
    TraceLine line;
    EXPECT_FALSE(ParseTraceLine("33.1234567 UTC+01:00] [1:2] [ZeltoAuth  1    info] x", line));
    EXPECT_FALSE(ParseTraceLine("[t] [1:2] [ZeltoAuth 1    info] x", line));
    EXPECT_FALSE(ParseTraceLine("[t] [12] [ZeltoAuth  1    info] x", line));
    EXPECT_FALSE(ParseTraceLine("", line));
}

} // namespace
} // namespace zelto::test
