#include "countdown.h"

#include <gtest/gtest.h>

namespace authmodule {
namespace {

TEST(Countdown, RoundsUpSoThatZeroMeansOver) {
    EXPECT_EQ(SecondsLeft(5000, 0), 5u);
    EXPECT_EQ(SecondsLeft(5000, 1), 5u);
    EXPECT_EQ(SecondsLeft(5000, 4001), 1u);
    EXPECT_EQ(SecondsLeft(5000, 4999), 1u);
    EXPECT_EQ(SecondsLeft(5000, 5000), 0u);
    EXPECT_EQ(SecondsLeft(5000, 9000), 0u);
}

TEST(Countdown, SaysTheSeconds) {
    EXPECT_EQ(CountdownText(60), L"Closes in 60 seconds");
    EXPECT_EQ(CountdownText(1), L"Closes in 1 second");
    EXPECT_EQ(CountdownText(0), L"Closes in 0 seconds");
}

} // namespace
} // namespace authmodule
