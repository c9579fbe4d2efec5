#include "auth/split_by_any_of.h"

#include <gtest/gtest.h>

#include <string>

namespace zelto {
namespace {

using Fields = std::vector<std::string>;

Fields Split(std::string_view text, std::string_view delimiters) {
    Fields fields;
    for (const SecretText& field : SplitByAnyOf(text, delimiters)) {
        fields.emplace_back(field.View());
    }
    return fields;
}

TEST(SplitByAnyOfTest, AnEmptyTextIsOneEmptyField) {
    EXPECT_EQ(Split("", "\n"), (Fields{""}));
    EXPECT_EQ(Split("", ""), (Fields{""}));
}

TEST(SplitByAnyOfTest, ATextWithoutDelimitersIsOneField) {
    EXPECT_EQ(Split("abc", "\n"), (Fields{"abc"}));
    EXPECT_EQ(Split("abc", ""), (Fields{"abc"}));
}

TEST(SplitByAnyOfTest, TheFieldBehindTheLastDelimiterIsAlwaysThere) {
    EXPECT_EQ(Split("a\n", "\n"), (Fields{"a", ""}));
    EXPECT_EQ(Split("\n", "\n"), (Fields{"", ""}));
}

TEST(SplitByAnyOfTest, EmptyFieldsAreKept) {
    EXPECT_EQ(Split("\na\n\nb", "\n"), (Fields{"", "a", "", "b"}));
    EXPECT_EQ(Split("\n\n\n", "\n"), (Fields{"", "", "", ""}));
}

TEST(SplitByAnyOfTest, EachOfTheDelimitersCuts) {
    EXPECT_EQ(Split("a:b;c,:d", ":;,"), (Fields{"a", "b", "c", "", "d"}));
}

TEST(SplitByAnyOfTest, ZeroBytesAreCharactersLikeOthers) {
    const std::string text("a\0b\nc", 5);
    EXPECT_EQ(Split(text, "\n"), (Fields{std::string("a\0b", 3), "c"}));
    EXPECT_EQ(Split(text, std::string_view("\0", 1)), (Fields{"a", "b\nc"}));
}

TEST(SplitByAnyOfTest, AsManyFieldsAsTheLargestAnswerCanHold) {
    EXPECT_EQ(Split(std::string(49'000, '\n'), "\n").size(), 49'001u);
}

} // namespace
} // namespace zelto
