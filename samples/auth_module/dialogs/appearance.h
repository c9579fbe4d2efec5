#pragma once

#include <memory>
#include <type_traits>
#include <windows.h>

namespace authmodule {

// The colours of a dialog: the user's choice of light or dark, or the system's own colours in high contrast.
struct Colours {
    COLORREF back, text, soft, line, field, accent, onAccent, error;
};

Colours CurrentColours();

// Whether the title bar is to be dark.
bool WantsDarkTitle();

struct GdiDeleter {
    template <class Object>
    void operator()(Object object) const noexcept {
        DeleteObject(object);
    }
};
using Font = std::unique_ptr<std::remove_pointer_t<HFONT>, GdiDeleter>;
using Brush = std::unique_ptr<std::remove_pointer_t<HBRUSH>, GdiDeleter>;

// The system's message font at this resolution, and a larger one for headings.
struct Fonts {
    Font text;
    Font heading;
};

Fonts CurrentFonts(UINT dpi);

// A device context's text height and wrapped heights come from here.
int LineHeight(HWND window, HFONT font);
int WrappedHeight(HWND window, HFONT font, const wchar_t* text, int width, int mostLines);

} // namespace authmodule
