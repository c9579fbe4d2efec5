#include "drawing.h"

#include "control_text.h"

namespace authmodule {
namespace {

int Scaled(int size, UINT dpi) {
    return MulDiv(size, static_cast<int>(dpi), 96);
}

void Fill(HDC context, const RECT& area, COLORREF colour) {
    SetDCBrushColor(context, colour);
    FillRect(context, &area, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
}

// A frame of this many pixels along the area's inner edge.
void DrawFrame(HDC context, RECT area, COLORREF colour, int thickness) {
    SetDCBrushColor(context, colour);
    for (int i = 0; i < thickness; ++i) {
        FrameRect(context, &area, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
        InflateRect(&area, -1, -1);
    }
}

void DrawCaption(HDC context, const std::wstring& text, RECT area, COLORREF colour, UINT alignment) {
    SetBkMode(context, TRANSPARENT);
    SetTextColor(context, colour);
    DrawTextW(context, text.c_str(), -1, &area,
              alignment | DT_VCENTER | DT_SINGLELINE | DT_NOPREFIX | DT_END_ELLIPSIS);
}

std::wstring RowText(HWND list, UINT row) {
    const auto length = static_cast<std::size_t>(SendMessageW(list, LB_GETTEXTLEN, row, 0));
    std::wstring text(length + 1, L'\0');
    SendMessageW(list, LB_GETTEXT, row, reinterpret_cast<LPARAM>(text.data()));
    return text;
}

} // namespace

void DrawField(HDC context, const RECT& frame, bool focused, const Colours& colours, UINT dpi) {
    Fill(context, frame, colours.field);
    DrawFrame(context, frame, focused ? colours.accent : colours.line, Scaled(focused ? 2 : 1, dpi));
}

void DrawButton(const DRAWITEMSTRUCT& item, bool primary, const Colours& colours, UINT dpi) {
    const bool disabled = (item.itemState & ODS_DISABLED) != 0;
    const bool filled = primary && !disabled;
    Fill(item.hDC, item.rcItem, filled ? colours.accent : colours.back);
    DrawFrame(item.hDC, item.rcItem, filled ? colours.accent : colours.line, Scaled(1, dpi));
    if ((item.itemState & ODS_FOCUS) != 0) {
        DrawFrame(item.hDC, item.rcItem, primary ? colours.text : colours.accent, Scaled(2, dpi));
    }
    RECT area = item.rcItem;
    if ((item.itemState & ODS_SELECTED) != 0) { // pressed
        OffsetRect(&area, Scaled(1, dpi), Scaled(1, dpi));
    }
    const COLORREF text = filled ? colours.onAccent : disabled ? colours.soft : colours.text;
    DrawCaption(item.hDC, TextOf(item.hwndItem), area, text, DT_CENTER);
}

void DrawRow(const DRAWITEMSTRUCT& item, const Colours& colours, UINT dpi) {
    if (item.itemID == static_cast<UINT>(-1)) {
        return; // an empty list has none
    }
    const bool selected = (item.itemState & ODS_SELECTED) != 0;
    Fill(item.hDC, item.rcItem, selected ? colours.accent : colours.field);
    RECT area = item.rcItem;
    InflateRect(&area, -Scaled(8, dpi), 0);
    const COLORREF text = selected ? colours.onAccent : colours.text;
    DrawCaption(item.hDC, RowText(item.hwndItem, item.itemID), area, text, DT_LEFT);
}

} // namespace authmodule
