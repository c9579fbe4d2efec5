#include "session/active_session.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

TEST(ChooseActiveSessionTest, TheConsoleComesFirstWhenItIsActive) {
    EXPECT_EQ(ChooseActiveSession({{0, false}, {5, true}, {2, true}}, 2), 2u);
    EXPECT_EQ(ChooseActiveSession({{2, true}, {5, true}}, 2), 2u);
}

TEST(ChooseActiveSessionTest, ARemoteSessionIsTakenWhenNobodyIsAtTheConsole) {
    EXPECT_EQ(ChooseActiveSession({{0, false}, {1, false}, {5, true}, {6, true}}, 1), 5u);
    EXPECT_EQ(ChooseActiveSession({{5, true}}, kNoSession), 5u);
}

TEST(ChooseActiveSessionTest, NoneIsActive) {
    EXPECT_EQ(ChooseActiveSession({{0, false}, {1, false}}, 1), kNoSession);
}

TEST(ChooseActiveSessionTest, WithoutAListTheConsoleCounts) {
    EXPECT_EQ(ChooseActiveSession({}, 3), 3u);
    EXPECT_EQ(ChooseActiveSession({}, kNoSession), kNoSession);
}

} // namespace
} // namespace zelto
