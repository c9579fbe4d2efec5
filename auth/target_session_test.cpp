#include "auth/target_session.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

TEST(TargetSessionTest, AServiceStartsInTheActiveSession) {
    EXPECT_EQ(TargetSession(3, 0), 3u);
}

TEST(TargetSessionTest, TheOwnSessionIsAPlainStart) {
    EXPECT_EQ(TargetSession(2, 2), 0u);
}

TEST(TargetSessionTest, AnotherSessionIsActive) {
    EXPECT_EQ(TargetSession(5, 2), 5u);
}

TEST(TargetSessionTest, SessionZeroItselfIsAPlainStart) {
    EXPECT_EQ(TargetSession(0, 0), 0u);
    EXPECT_EQ(TargetSession(0, 2), 0u);
}

TEST(TargetSessionTest, NoActiveSessionIsPassedOn) {
    EXPECT_EQ(TargetSession(0xFFFFFFFF, 2), 0xFFFFFFFFu);
}

} // namespace
} // namespace zelto
