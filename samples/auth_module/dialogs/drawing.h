#pragma once

#include "appearance.h"

#include <windows.h>

namespace authmodule {

// The ground and the frame of a field; the control itself lies inside.
void DrawField(HDC context, const RECT& frame, bool focused, const Colours& colours, UINT dpi);

// A push button; the primary one is the one that Enter presses.
void DrawButton(const DRAWITEMSTRUCT& item, bool primary, const Colours& colours, UINT dpi);

// One row of a list.
void DrawRow(const DRAWITEMSTRUCT& item, const Colours& colours, UINT dpi);

} // namespace authmodule
