#include "net/listener_timeout.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

TEST(ListenerTimeoutTest, OnlyWholeSecondsCount) {
    EXPECT_EQ(WholeSeconds(0), 0u);
    EXPECT_EQ(WholeSeconds(999), 0u);
    EXPECT_EQ(WholeSeconds(1000), 1u);
    EXPECT_EQ(WholeSeconds(1500), 1u);
    EXPECT_EQ(WholeSeconds(0xFFFFFFFF), 4294967u);
}

TEST(ListenerTimeoutTest, TheDueTimeIsRelativeIn100Nanoseconds) {
    EXPECT_EQ(RelativeDueTime(0), 0);
    EXPECT_EQ(RelativeDueTime(1), -10'000'000);
    EXPECT_EQ(RelativeDueTime(4294967), -42'949'670'000'000);
}

} // namespace
} // namespace zelto
