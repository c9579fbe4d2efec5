#pragma once

#include <vector>

namespace authmodule {

// All sizes are in pixels of the window, unless they are said to be in 1/96 inch.
struct Box {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

// Heights as measured with the window's fonts. What has none (no description, no message) takes no room.
struct LayoutInput {
    int dpi = 96;
    int lineHeight = 0;
    int headingHeight = 0;
    int descriptionHeight = 0;
    int messageHeight = 0;
    std::vector<int> fieldRows; // for each field: 0 for one to type into, else the rows of its list
};

struct FieldLayout {
    Box label;
    Box frame;   // drawn around the control
    Box control; // inside the frame
};

struct Layout {
    int width = 0;
    int height = 0;
    Box heading;
    Box description;
    std::vector<FieldLayout> fields;
    Box message;
    Box countdown;
    Box ok;
    Box cancel;
};

// The width that texts are wrapped to.
int ContentWidth(int dpi);

// The height of one row in a list.
int RowHeight(int lineHeight, int dpi);

Layout ArrangePrompt(const LayoutInput& input);

} // namespace authmodule
