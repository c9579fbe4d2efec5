#include "auth/parked_handles.h"

#include <cstdint>
#include <gtest/gtest.h>

namespace zelto {
namespace {

HANDLE Fake(std::uint64_t value) {
    return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(value));
}

TEST(ParkedHandlesTest, NothingIsParkedAtFirst) {
    HandlePair pair = {Fake(4), Fake(8)};
    EXPECT_FALSE(TakeParkedHandles(pair));
    EXPECT_EQ(pair[0], Fake(4));
    EXPECT_EQ(pair[1], Fake(8));
}

TEST(ParkedHandlesTest, AParkedPairIsTakenOnce) {
    ParkHandles({Fake(0x1234), Fake(0xFEDCBA9876543210u)});
    HandlePair pair = {};
    ASSERT_TRUE(TakeParkedHandles(pair));
    EXPECT_EQ(pair[0], Fake(0x1234));
    EXPECT_EQ(pair[1], Fake(0xFEDCBA9876543210u));
    EXPECT_FALSE(TakeParkedHandles(pair));
}

TEST(ParkedHandlesTest, HalfAPairIsNotHandedOn) {
    ParkHandles({nullptr, Fake(8)});
    ParkHandles({Fake(4), nullptr});
    HandlePair pair = {};
    EXPECT_FALSE(TakeParkedHandles(pair));
}

TEST(ParkedHandlesTest, EveryParkedPairIsFound) {
    for (std::uint64_t i = 1; i <= 50; ++i) {
        ParkHandles({Fake(i), Fake(100 + i)});
    }
    std::uint64_t sum = 0;
    for (int i = 0; i < 50; ++i) {
        HandlePair pair = {};
        ASSERT_TRUE(TakeParkedHandles(pair)) << i;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pair[1]), 100 + reinterpret_cast<std::uintptr_t>(pair[0]));
        sum += reinterpret_cast<std::uintptr_t>(pair[0]);
    }
    EXPECT_EQ(sum, 50u * 51u / 2u);
    HandlePair pair = {};
    EXPECT_FALSE(TakeParkedHandles(pair));
}

TEST(ParkedHandlesTest, OtherAtomsOfTheHostAreLeftAlone) {
    const ATOM before = AddAtomW(L"ZeltoAuth parked handles, a host's own text of about the same length");
    ParkHandles({Fake(4), Fake(8)});
    HandlePair pair = {};
    EXPECT_TRUE(TakeParkedHandles(pair));
    wchar_t name[100] = {};
    EXPECT_NE(GetAtomNameW(before, name, 100), 0u);
    DeleteAtom(before);
}

} // namespace
} // namespace zelto
