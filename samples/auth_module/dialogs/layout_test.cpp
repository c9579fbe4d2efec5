#include "layout.h"

#include <gtest/gtest.h>

namespace authmodule {
namespace {

LayoutInput Input(int dpi) {
    const int line = 16 * dpi / 96;
    return {dpi, line, 2 * line, 3 * line, line, {0, 0, 3}};
}

std::vector<Box> PartsOf(const Layout& layout) {
    std::vector<Box> parts{layout.heading,   layout.description, layout.message,
                           layout.countdown, layout.ok,          layout.cancel};
    for (const FieldLayout& field : layout.fields) {
        parts.push_back(field.label);
        parts.push_back(field.frame);
    }
    return parts;
}

bool Overlap(const Box& one, const Box& other) {
    return one.x < other.x + other.width && other.x < one.x + one.width && one.y < other.y + other.height &&
           other.y < one.y + one.height;
}

bool Contains(const Box& outer, const Box& inner) {
    return outer.x <= inner.x && outer.y <= inner.y && inner.x + inner.width <= outer.x + outer.width &&
           inner.y + inner.height <= outer.y + outer.height;
}

class LayoutAtDpi : public testing::TestWithParam<int> {};

TEST_P(LayoutAtDpi, NothingOverlapsAndAllIsInside) {
    const Layout layout = ArrangePrompt(Input(GetParam()));
    const std::vector<Box> parts = PartsOf(layout);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        EXPECT_GT(parts[i].width, 0) << i;
        EXPECT_GT(parts[i].height, 0) << i;
        EXPECT_TRUE(Contains({0, 0, layout.width, layout.height}, parts[i])) << i;
        for (std::size_t j = i + 1; j < parts.size(); ++j) {
            EXPECT_FALSE(Overlap(parts[i], parts[j])) << i << " and " << j;
        }
    }
}

TEST_P(LayoutAtDpi, ControlsLieInTheirFramesAndHoldTheirText) {
    const LayoutInput input = Input(GetParam());
    const Layout layout = ArrangePrompt(input);
    for (const FieldLayout& field : layout.fields) {
        EXPECT_TRUE(Contains(field.frame, field.control));
        EXPECT_LT(field.control.width, field.frame.width);
        EXPECT_GE(field.control.height, input.lineHeight);
    }
    EXPECT_EQ(layout.fields[2].control.height, 3 * RowHeight(input.lineHeight, input.dpi));
}

INSTANTIATE_TEST_SUITE_P(Dpi, LayoutAtDpi, testing::Values(96, 120, 144, 192, 288));

TEST(Layout, DoublesWithTheResolution) {
    const Layout single = ArrangePrompt(Input(96));
    const Layout twice = ArrangePrompt(Input(192));
    EXPECT_EQ(twice.width, 2 * single.width);
    EXPECT_EQ(twice.height, 2 * single.height);
    EXPECT_EQ(twice.ok.x, 2 * single.ok.x);
    EXPECT_EQ(twice.ok.height, 2 * single.ok.height);
}

TEST(Layout, WhatIsNotThereTakesNoRoom) {
    LayoutInput input = Input(96);
    const int whole = ArrangePrompt(input).height;
    input.messageHeight = 0;
    const Layout layout = ArrangePrompt(input);
    EXPECT_LT(layout.height, whole - input.lineHeight);
    EXPECT_EQ(layout.message.height, 0);
    input.descriptionHeight = 0;
    EXPECT_LT(ArrangePrompt(input).height, layout.height - 3 * input.lineHeight);
}

TEST(Layout, OkStandsLeftOfCancelAtTheRightMargin) {
    const Layout layout = ArrangePrompt(Input(96));
    EXPECT_LT(layout.ok.x + layout.ok.width, layout.cancel.x);
    EXPECT_EQ(layout.cancel.x + layout.cancel.width, layout.heading.x + layout.heading.width);
}

} // namespace
} // namespace authmodule
