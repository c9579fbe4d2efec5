#include "layout.h"

#include <algorithm>

namespace authmodule {
namespace {

// In 1/96 inch.
constexpr int kContentWidth = 372;
constexpr int kMargin = 24;
constexpr int kBelowHeading = 6;
constexpr int kAboveFields = 18;
constexpr int kBelowLabel = 5;
constexpr int kBelowField = 14;
constexpr int kInsideField = 8; // between frame and text
constexpr int kInsideRow = 5;   // above and below the text of a row
constexpr int kAboveButtons = 22;
constexpr int kButtonWidth = 98;
constexpr int kButtonHeight = 34;
constexpr int kBetweenButtons = 8;

int Scaled(int size, int dpi) {
    return (size * dpi + 48) / 96;
}

// Places one thing below the other.
class Column {
public:
    explicit Column(int dpi) : dpi_(dpi), y_(Scaled(kMargin, dpi)) {}

    Box Add(int height) {
        const Box box{Scaled(kMargin, dpi_), y_, ContentWidth(dpi_), height};
        y_ += height;
        return box;
    }
    void Space(int size) { y_ += Scaled(size, dpi_); }
    int Bottom() const { return y_; }

private:
    int dpi_;
    int y_;
};

Box Inside(const Box& box, int horizontal, int vertical) {
    return {box.x + horizontal, box.y + vertical, box.width - 2 * horizontal, box.height - 2 * vertical};
}

FieldLayout AddField(Column& column, int rows, const LayoutInput& input) {
    FieldLayout field;
    field.label = column.Add(input.lineHeight);
    column.Space(kBelowLabel);
    const int line = std::max(1, Scaled(1, input.dpi));
    const int inside = Scaled(kInsideField, input.dpi);
    if (rows == 0) {
        field.frame = column.Add(input.lineHeight + 2 * inside);
        field.control = Inside(field.frame, inside + line, inside);
    } else {
        field.frame = column.Add(rows * RowHeight(input.lineHeight, input.dpi) + 4 * line);
        field.control = Inside(field.frame, 2 * line, 2 * line);
    }
    column.Space(kBelowField);
    return field;
}

void AddButtons(Column& column, const LayoutInput& input, Layout& layout) {
    const Box row = column.Add(Scaled(kButtonHeight, input.dpi));
    const int width = Scaled(kButtonWidth, input.dpi);
    const int gap = Scaled(kBetweenButtons, input.dpi);
    layout.cancel = {row.x + row.width - width, row.y, width, row.height};
    layout.ok = {layout.cancel.x - gap - width, row.y, width, row.height};
    layout.countdown = {row.x, row.y + (row.height - input.lineHeight) / 2, layout.ok.x - gap - row.x,
                        input.lineHeight};
}

} // namespace

int ContentWidth(int dpi) {
    return Scaled(kContentWidth, dpi);
}

int RowHeight(int lineHeight, int dpi) {
    return lineHeight + 2 * Scaled(kInsideRow, dpi);
}

Layout ArrangePrompt(const LayoutInput& input) {
    Layout layout;
    Column column(input.dpi);
    layout.heading = column.Add(input.headingHeight);
    if (input.descriptionHeight > 0) {
        column.Space(kBelowHeading);
        layout.description = column.Add(input.descriptionHeight);
    }
    column.Space(kAboveFields);
    for (const int rows : input.fieldRows) {
        layout.fields.push_back(AddField(column, rows, input));
    }
    if (input.messageHeight > 0) {
        layout.message = column.Add(input.messageHeight);
        column.Space(kBelowField);
    }
    column.Space(kAboveButtons - kBelowField);
    AddButtons(column, input, layout);
    column.Space(kMargin);
    layout.width = ContentWidth(input.dpi) + 2 * Scaled(kMargin, input.dpi);
    layout.height = column.Bottom();
    return layout;
}

} // namespace authmodule
