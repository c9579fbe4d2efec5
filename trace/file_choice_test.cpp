#include "trace/file_choice.h"

#include <gtest/gtest.h>

namespace zelto {
namespace {

constexpr std::uint64_t kMiB = 1u << 20;

TEST(FileChoiceTest, NoFilesStartWithTheFirst) {
    EXPECT_EQ(ChooseFile({}, {}, 2), FileChoice::TakeFirst);
}

TEST(FileChoiceTest, YoungerFileGoesOnBelowTheLimit) {
    EXPECT_EQ(ChooseFile({10, 5}, {20, 2 * kMiB - 1}, 2), FileChoice::TakeSecond);
    EXPECT_EQ(ChooseFile({20, 2 * kMiB - 1}, {10, 5}, 2), FileChoice::TakeFirst);
}

TEST(FileChoiceTest, FullFileGivesWayToTheOther) {
    EXPECT_EQ(ChooseFile({10, 5}, {20, 2 * kMiB}, 2), FileChoice::DeleteFirstTakeFirst);
    EXPECT_EQ(ChooseFile({20, 2 * kMiB}, {10, 5}, 2), FileChoice::DeleteSecondTakeSecond);
}

TEST(FileChoiceTest, FirstCountsAsTheYoungerWhenBothAreOfAnAge) {
    EXPECT_EQ(ChooseFile({10, 5}, {10, 7}, 2), FileChoice::TakeFirst);
    EXPECT_EQ(ChooseFile({10, 2 * kMiB}, {10, 7}, 2), FileChoice::DeleteSecondTakeSecond);
}

TEST(FileChoiceTest, OnlyTheSecondExists) {
    EXPECT_EQ(ChooseFile({}, {20, 5}, 2), FileChoice::TakeSecond);
    EXPECT_EQ(ChooseFile({}, {20, 2 * kMiB}, 2), FileChoice::DeleteFirstTakeFirst);
}

TEST(FileChoiceTest, TimesAreSigned) {
    EXPECT_EQ(ChooseFile({-1, 5}, {1, 7}, 2), FileChoice::TakeSecond);
    EXPECT_EQ(ChooseFile({1, 5}, {-1, 7}, 2), FileChoice::TakeFirst);
}

TEST(FileChoiceTest, LimitOf2047MiBIsTheLargestThatHolds) {
    EXPECT_EQ(ChooseFile({20, 2047 * kMiB - 1}, {10, 0}, 2047), FileChoice::TakeFirst);
    EXPECT_EQ(ChooseFile({20, 2047 * kMiB}, {10, 0}, 2047), FileChoice::DeleteSecondTakeSecond);
}

TEST(FileChoiceTest, LimitOf2048MiBIsBelowEverySize) {
    EXPECT_EQ(ChooseFile({20, 0}, {10, 0}, 2048), FileChoice::DeleteSecondTakeSecond);
    EXPECT_EQ(ChooseFile({20, 2048 * kMiB}, {10, 0}, 2048), FileChoice::DeleteSecondTakeSecond);
    EXPECT_EQ(ChooseFile({10, 0}, {20, 0}, 2048), FileChoice::DeleteFirstTakeFirst);
}

TEST(FileChoiceTest, LimitOf4096MiBIsZero) {
    EXPECT_EQ(ChooseFile({20, 0}, {10, 0}, 4096), FileChoice::DeleteSecondTakeSecond);
    EXPECT_EQ(ChooseFile({20, 2048 * kMiB}, {10, 0}, 4096), FileChoice::TakeFirst); // a negative size
}

TEST(FileChoiceTest, LimitBeyondItsWidthWrapsAround) {
    EXPECT_EQ(ChooseFile({20, kMiB - 1}, {10, 0}, 4097), FileChoice::TakeFirst);
    EXPECT_EQ(ChooseFile({20, kMiB}, {10, 0}, 4097), FileChoice::DeleteSecondTakeSecond);
}

TEST(FileChoiceTest, SizeBeyondItsWidthWrapsAround) {
    EXPECT_EQ(ChooseFile({20, 2048 * kMiB}, {10, 0}, 512), FileChoice::TakeFirst);
    EXPECT_EQ(ChooseFile({20, 4096 * kMiB + 5}, {10, 0}, 512), FileChoice::TakeFirst);
    EXPECT_EQ(ChooseFile({20, 4096 * kMiB + 512 * kMiB}, {10, 0}, 512), FileChoice::DeleteSecondTakeSecond);
    EXPECT_EQ(ChooseFile({10, 0}, {20, 2048 * kMiB}, 512), FileChoice::TakeSecond);
    EXPECT_EQ(ChooseFile({10, 0}, {20, 4096 * kMiB + 5}, 512), FileChoice::TakeSecond);
}

} // namespace
} // namespace zelto
