#include "auth/parked_handles.h"

#include "tests/support/import_patch.h"

#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

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

// The atom that tells that something is parked.
constexpr wchar_t kMarker[] = L"ZeltoAuth parked handles";

TEST(ParkedHandlesTest, NothingOfATakenPairIsLeftBehind) {
    const std::wstring parked = std::wstring(kMarker) + L": 0000000000000004 0000000000000008";
    for (int round = 0; round < 2; ++round) {
        ParkHandles({Fake(4), Fake(8)});
        EXPECT_NE(FindAtomW(parked.c_str()), 0);
        EXPECT_NE(FindAtomW(kMarker), 0);
        HandlePair pair = {};
        EXPECT_TRUE(TakeParkedHandles(pair));
        EXPECT_EQ(FindAtomW(parked.c_str()), 0);
        EXPECT_EQ(FindAtomW(kMarker), 0);
    }
}

TEST(ParkedHandlesTest, WhatCannotBeParkedIsNotAnnounced) {
    const test::ImportPatch refusing(
        GetModuleHandleW(nullptr), "AddAtomW", +[](LPCWSTR name) -> ATOM {
            return std::wstring_view(name) == kMarker ? AddAtomA("ZeltoAuth parked handles") : ATOM{0};
        });
    ParkHandles({Fake(4), Fake(8)});
    EXPECT_EQ(FindAtomW(kMarker), 0);
}

// They begin like a parked pair, or are as long as one, and come before it in the table.
TEST(ParkedHandlesTest, OtherAtomsOfTheHostAreLeftAlone) {
    for (const wchar_t* text :
         {L"ZeltoAuth parked handles, a host's own text of about the same length",
          L"ZeltoAuth parked handles: 0000000000000010 0000000000000020 and more",
          L"ZeltoAuth parked handles: 0000000000000010 00000000000000200", L"ZeltoAuth parked handles: 10 20",
          L"ZeltoAuth parked handles- 0000000000000010 0000000000000020",
          L"AnotherOne parked handle: 0000000000000010 0000000000000020"}) {
        const ATOM before = AddAtomW(text);
        ParkHandles({Fake(4), Fake(8)});
        HandlePair pair = {};
        EXPECT_TRUE(TakeParkedHandles(pair));
        EXPECT_EQ(pair[0], Fake(4)) << std::filesystem::path(text);
        EXPECT_EQ(pair[1], Fake(8)) << std::filesystem::path(text);
        wchar_t name[100] = {};
        EXPECT_NE(GetAtomNameW(before, name, 100), 0u);
        EXPECT_STREQ(name, text);
        DeleteAtom(before);
    }
}

} // namespace
} // namespace zelto
