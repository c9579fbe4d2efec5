#include "record_layout.h"

#include <gtest/gtest.h>

namespace authmodule {
namespace {

TEST(RecordLayout, PaddingFillsTheLastBlockOrAddsOne) {
    EXPECT_EQ(CiphertextSize(0), 16u);
    EXPECT_EQ(CiphertextSize(15), 16u);
    EXPECT_EQ(CiphertextSize(16), 32u);
    EXPECT_EQ(CiphertextSize(17), 32u);
}

TEST(RecordLayout, TextIsBase64OfVectorAndCiphertext) {
    EXPECT_EQ(TextSize(0), 44u);  // 32 bytes
    EXPECT_EQ(TextSize(16), 64u); // 48 bytes
}

TEST(RecordLayout, LargestAnswer) {
    EXPECT_TRUE(FitsIntoBlock(49119));
    EXPECT_FALSE(FitsIntoBlock(49120));
    EXPECT_FALSE(FitsIntoBlock(static_cast<std::size_t>(-1)));
}

TEST(RecordLayout, KeyTextIsDecimal) {
    EXPECT_EQ(KeyText(0), "0");
    EXPECT_EQ(KeyText(0xFFFFFFFFFFFFFFFFu), "18446744073709551615");
}

} // namespace
} // namespace authmodule
