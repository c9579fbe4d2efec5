#include "auth/inheritance_hold.h"

#include <gtest/gtest.h>
#include <optional>

namespace zelto {
namespace {

bool IsHeld() {
    if (!TryAcquireSRWLockExclusive(&inheritanceLock)) {
        return true;
    }
    ReleaseSRWLockExclusive(&inheritanceLock);
    return false;
}

TEST(InheritanceHoldTest, HoldsAsLongAsItLives) {
    {
        const InheritanceHold hold;
        EXPECT_TRUE(IsHeld());
    }
    EXPECT_FALSE(IsHeld());
}

TEST(InheritanceHoldTest, HoldsUntilItIsReleased) {
    InheritanceHold hold;
    hold.Release();
    EXPECT_FALSE(IsHeld());
}

TEST(InheritanceHoldTest, WhatWasReleasedLeavesTheNextHoldAlone) {
    std::optional<InheritanceHold> first(std::in_place);
    first->Release();
    const InheritanceHold second;
    first.reset();
    EXPECT_TRUE(IsHeld());
}

} // namespace
} // namespace zelto
