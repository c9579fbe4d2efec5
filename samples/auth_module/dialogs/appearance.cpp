#include "appearance.h"

#include <algorithm>

namespace authmodule {
namespace {

constexpr Colours kLight = {RGB(255, 255, 255), RGB(28, 36, 48),  RGB(91, 102, 117),  RGB(176, 184, 196),
                            RGB(255, 255, 255), RGB(34, 87, 201), RGB(255, 255, 255), RGB(179, 38, 30)};
constexpr Colours kDark = {RGB(28, 34, 44), RGB(231, 235, 242), RGB(154, 165, 181), RGB(82, 94, 114),
                           RGB(20, 25, 33), RGB(122, 167, 255), RGB(13, 26, 51),    RGB(255, 180, 171)};

bool InHighContrast() {
    HIGHCONTRASTW contrast{};
    contrast.cbSize = sizeof(contrast);
    return SystemParametersInfoW(SPI_GETHIGHCONTRAST, sizeof(contrast), &contrast, 0) &&
           (contrast.dwFlags & HCF_HIGHCONTRASTON) != 0;
}

// The user's choice for programs in the system's settings; light where there is no such choice.
bool PrefersDark() {
    DWORD light = 1;
    DWORD size = sizeof(light);
    RegGetValueW(HKEY_CURRENT_USER, L"Software\\Microsoft\\Windows\\CurrentVersion\\Themes\\Personalize",
                 L"AppsUseLightTheme", RRF_RT_REG_DWORD, nullptr, &light, &size);
    return light == 0;
}

Colours SystemColours() {
    const COLORREF text = GetSysColor(COLOR_WINDOWTEXT);
    return {GetSysColor(COLOR_WINDOW),
            text,
            text,
            text,
            GetSysColor(COLOR_WINDOW),
            GetSysColor(COLOR_HIGHLIGHT),
            GetSysColor(COLOR_HIGHLIGHTTEXT),
            text};
}

// A window's device context with a font in it.
class MeasuringContext {
public:
    MeasuringContext(HWND window, HFONT font)
        : window_(window), context_(GetDC(window)), former_(SelectObject(context_, font)) {}
    MeasuringContext(const MeasuringContext&) = delete;
    MeasuringContext& operator=(const MeasuringContext&) = delete;
    ~MeasuringContext() {
        SelectObject(context_, former_);
        ReleaseDC(window_, context_);
    }
    HDC get() const { return context_; }

private:
    HWND window_;
    HDC context_;
    HGDIOBJ former_;
};

} // namespace

Colours CurrentColours() {
    if (InHighContrast()) {
        return SystemColours();
    }
    return PrefersDark() ? kDark : kLight;
}

bool WantsDarkTitle() {
    return PrefersDark() && !InHighContrast();
}

Fonts CurrentFonts(UINT dpi) {
    NONCLIENTMETRICSW metrics{};
    metrics.cbSize = sizeof(metrics);
    SystemParametersInfoForDpi(SPI_GETNONCLIENTMETRICS, sizeof(metrics), &metrics, 0, dpi);
    LOGFONTW font = metrics.lfMessageFont;
    font.lfHeight = -MulDiv(10, static_cast<int>(dpi), 72); // points; the menus' 9 are small for a form
    font.lfQuality = CLEARTYPE_QUALITY;
    Font text(CreateFontIndirectW(&font));
    font.lfHeight = font.lfHeight * 16 / 10;
    font.lfWeight = FW_SEMIBOLD;
    return {std::move(text), Font(CreateFontIndirectW(&font))};
}

int LineHeight(HWND window, HFONT font) {
    const MeasuringContext context(window, font);
    TEXTMETRICW metrics{};
    GetTextMetricsW(context.get(), &metrics);
    return metrics.tmHeight;
}

int WrappedHeight(HWND window, HFONT font, const wchar_t* text, int width, int mostLines) {
    if (*text == L'\0') {
        return 0;
    }
    const int line = LineHeight(window, font);
    const MeasuringContext context(window, font);
    RECT area{0, 0, width, 0};
    DrawTextW(context.get(), text, -1, &area, DT_CALCRECT | DT_WORDBREAK | DT_EDITCONTROL | DT_NOPREFIX);
    return std::min(static_cast<int>(area.bottom), mostLines * line);
}

} // namespace authmodule
