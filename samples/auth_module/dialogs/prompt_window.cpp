#include "prompt_window.h"

#include "../wipe.h"
#include "appearance.h"
#include "control_text.h"
#include "countdown.h"
#include "drawing.h"
#include "layout.h"
#include "submission.h"

#include <algorithm>
#include <windows.h>

#include <dwmapi.h>
#include <uxtheme.h>
#include <windowsx.h>

namespace authmodule {
namespace {

constexpr wchar_t kClassName[] = L"ZeltoAuthPrompt";
constexpr wchar_t kTitle[] = L"ZeltoClient";
constexpr DWORD kStyle = WS_POPUP | WS_CAPTION | WS_SYSMENU | WS_CLIPCHILDREN;
constexpr DWORD kExtendedStyle = WS_EX_DLGMODALFRAME | WS_EX_APPWINDOW;
constexpr UINT kSubmitted = WM_APP;
constexpr UINT_PTR kTimer = 1;
constexpr UINT kTimerMs = 100;
constexpr int kMostDescriptionLines = 10;
constexpr int kMostMessageLines = 3;
constexpr int kMostRows = 3;
constexpr std::uint64_t kSecondsThatHurry = 10;
constexpr DWORD kDarkTitleAttribute = 20; // DWMWA_USE_IMMERSIVE_DARK_MODE, which older headers lack
constexpr wchar_t kPasswordCharacter = L'\x25CF';

struct FieldControls {
    HWND label = nullptr;
    HWND control = nullptr;
};

RECT ToRect(const Box& box) {
    return {box.x, box.y, box.x + box.width, box.y + box.height};
}

void Place(HWND control, const Box& box) {
    SetWindowPos(control, nullptr, box.x, box.y, box.width, box.height, SWP_NOZORDER | SWP_NOACTIVATE);
}

// Where windows may be: the monitor without its task bar.
RECT WorkArea(HMONITOR monitor) {
    MONITORINFO info{};
    info.cbSize = sizeof(info);
    GetMonitorInfoW(monitor, &info);
    return info.rcWork;
}

class PromptWindow {
public:
    explicit PromptWindow(Prompt& prompt) : prompt_(prompt) {}

    Outcome Run();

private:
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT Handle(UINT message, WPARAM wParam, LPARAM lParam);
    bool Create();
    HWND AddControl(const wchar_t* className, const wchar_t* text, DWORD style, int id);
    void AddField(const Field& field);
    void AddControls();
    void FocusFirstEmptyField() const;

    void TakeAppearance();
    void TakeFonts();
    void Arrange();
    void Resize();
    void Centre() const;
    void Paint() const;
    void DrawItem(const DRAWITEMSTRUCT& item) const;
    LRESULT ColourControl(HDC context, HWND control) const;
    bool IsField(HWND control) const;

    void OnCommand(int id, int notification);
    void OnTimer();
    void OnOk();
    void OnSubmitted(const std::wstring& error);
    void ReadFields();
    void SetBusy(bool busy);
    void ShowMessage(const std::wstring& text);
    void End(Outcome outcome);

    Prompt& prompt_;
    HWND window_ = nullptr;
    HWND heading_ = nullptr;
    HWND description_ = nullptr;
    HWND message_ = nullptr;
    HWND countdown_ = nullptr;
    HWND ok_ = nullptr;
    HWND cancel_ = nullptr;
    HWND lastFocus_ = nullptr;
    std::vector<FieldControls> fields_;
    std::wstring messageText_;
    Layout layout_;
    Colours colours_{};
    Brush backBrush_;
    Brush fieldBrush_;
    Fonts fonts_;
    UINT dpi_ = 96;
    ULONGLONG deadline_ = 0;
    std::uint64_t secondsShown_ = 0;
    bool busy_ = false;
    bool ended_ = false;
    Outcome outcome_ = Outcome::NoWindow;
};

Outcome PromptWindow::Run() {
    deadline_ = GetTickCount64() + 1000ull * prompt_.timeoutSeconds;
    if (!Create()) {
        return Outcome::NoWindow;
    }
    ShowWindow(window_, SW_SHOW);
    SetForegroundWindow(window_);
    FocusFirstEmptyField();
    MSG message;
    while (!ended_ && GetMessageW(&message, nullptr, 0, 0) > 0) {
        if (!IsDialogMessageW(window_, &message)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
    }
    DestroyWindow(window_);
    return outcome_;
}

LRESULT CALLBACK PromptWindow::Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_NCCREATE) {
        const auto* const creation = reinterpret_cast<const CREATESTRUCTW*>(lParam);
        static_cast<PromptWindow*>(creation->lpCreateParams)->window_ = window;
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(creation->lpCreateParams));
    }
    auto* const self = reinterpret_cast<PromptWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    return self != nullptr ? self->Handle(message, wParam, lParam)
                           : DefWindowProcW(window, message, wParam, lParam);
}

LRESULT PromptWindow::Handle(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_COMMAND:
        OnCommand(LOWORD(wParam), HIWORD(wParam));
        return 0;
    case WM_TIMER:
        OnTimer();
        return 0;
    case kSubmitted:
        OnSubmitted(EndSubmission(lParam));
        return 0;
    case WM_CLOSE:
        End(Outcome::Cancelled);
        return 0;
    case DM_GETDEFID: // Enter presses the button that has the focus, else OK
        return MAKELRESULT(GetFocus() == cancel_ ? IDCANCEL : IDOK, DC_HASDEFID);
    case WM_ACTIVATE:
        if (LOWORD(wParam) == WA_INACTIVE) {
            lastFocus_ = GetFocus();
        } else if (lastFocus_ != nullptr) {
            SetFocus(lastFocus_);
        }
        return 0;
    case WM_ERASEBKGND: {
        RECT area;
        GetClientRect(window_, &area);
        FillRect(reinterpret_cast<HDC>(wParam), &area, backBrush_.get());
        return 1;
    }
    case WM_PAINT:
        Paint();
        return 0;
    case WM_CTLCOLORSTATIC:
    case WM_CTLCOLOREDIT:
    case WM_CTLCOLORLISTBOX:
    case WM_CTLCOLORBTN:
        return ColourControl(reinterpret_cast<HDC>(wParam), reinterpret_cast<HWND>(lParam));
    case WM_DRAWITEM:
        DrawItem(*reinterpret_cast<const DRAWITEMSTRUCT*>(lParam));
        return TRUE;
    case WM_DPICHANGED:
        dpi_ = LOWORD(wParam);
        TakeFonts();
        Arrange();
        Resize();
        return 0;
    case WM_SETTINGCHANGE:
    case WM_SYSCOLORCHANGE:
        TakeAppearance();
        return 0;
    default:
        return DefWindowProcW(window_, message, wParam, lParam);
    }
}

bool PromptWindow::Create() {
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof(windowClass);
    windowClass.lpfnWndProc = Procedure;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    windowClass.lpszClassName = kClassName;
    RegisterClassExW(&windowClass); // fails when it is registered already
    if (CreateWindowExW(kExtendedStyle, kClassName, kTitle, kStyle, 0, 0, 0, 0, nullptr, nullptr,
                        windowClass.hInstance, this) == nullptr) {
        return false;
    }
    Centre(); // first onto the right monitor, whose resolution counts
    dpi_ = GetDpiForWindow(window_);
    AddControls();
    TakeAppearance();
    TakeFonts();
    Arrange();
    Resize();
    Centre();
    OnTimer();
    return SetTimer(window_, kTimer, kTimerMs, nullptr) != 0;
}

HWND PromptWindow::AddControl(const wchar_t* className, const wchar_t* text, DWORD style, int id) {
    return CreateWindowExW(0, className, text, WS_CHILD | WS_VISIBLE | style, 0, 0, 0, 0, window_,
                           reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), GetModuleHandleW(nullptr),
                           nullptr);
}

void PromptWindow::AddField(const Field& field) {
    FieldControls controls;
    controls.label = AddControl(L"STATIC", field.label.c_str(), SS_LEFT | SS_NOPREFIX, -1);
    if (field.kind == FieldKind::Choice) {
        controls.control = AddControl(L"LISTBOX", L"",
                                      WS_TABSTOP | WS_VSCROLL | LBS_NOTIFY | LBS_OWNERDRAWFIXED |
                                          LBS_HASSTRINGS | LBS_NOINTEGRALHEIGHT,
                                      -1);
        for (const std::wstring& choice : field.choices) {
            SendMessageW(controls.control, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(choice.c_str()));
        }
        SendMessageW(controls.control, LB_SETCURSEL, field.chosen, 0);
    } else {
        const DWORD style = field.kind == FieldKind::Password ? ES_PASSWORD : 0;
        controls.control =
            AddControl(L"EDIT", field.text.c_str(), WS_TABSTOP | ES_LEFT | ES_AUTOHSCROLL | style, -1);
        if (field.kind == FieldKind::Password) {
            SendMessageW(controls.control, EM_SETPASSWORDCHAR, kPasswordCharacter, 0);
        }
    }
    fields_.push_back(controls);
}

// In the order in which Tab goes through them.
void PromptWindow::AddControls() {
    constexpr DWORD kText = SS_LEFT | SS_NOPREFIX | SS_EDITCONTROL;
    heading_ = AddControl(L"STATIC", prompt_.heading.c_str(), SS_LEFT | SS_NOPREFIX | SS_ENDELLIPSIS, -1);
    description_ = AddControl(L"STATIC", prompt_.description.c_str(), kText, -1);
    for (const Field& field : prompt_.fields) {
        AddField(field);
    }
    message_ = AddControl(L"STATIC", L"", kText, -1);
    ok_ = AddControl(L"BUTTON", prompt_.okText.c_str(), WS_TABSTOP | BS_OWNERDRAW, IDOK);
    cancel_ = AddControl(L"BUTTON", L"Cancel", WS_TABSTOP | BS_OWNERDRAW, IDCANCEL);
    countdown_ = AddControl(L"STATIC", L"", SS_LEFT | SS_NOPREFIX, -1);
}

// Where there is none, the list; where there is no list either, OK.
void PromptWindow::FocusFirstEmptyField() const {
    HWND focus = ok_;
    for (std::size_t i = fields_.size(); i-- > 0;) {
        const bool choice = prompt_.fields[i].kind == FieldKind::Choice;
        if (!choice && GetWindowTextLengthW(fields_[i].control) == 0) {
            focus = fields_[i].control;
        } else if (choice && focus == ok_) {
            focus = fields_[i].control;
        }
    }
    SetFocus(focus);
}

void PromptWindow::TakeAppearance() {
    colours_ = CurrentColours();
    backBrush_.reset(CreateSolidBrush(colours_.back));
    fieldBrush_.reset(CreateSolidBrush(colours_.field));
    const BOOL dark = WantsDarkTitle();
    DwmSetWindowAttribute(window_, kDarkTitleAttribute, &dark, sizeof(dark));
    for (const FieldControls& field : fields_) {
        SetWindowTheme(field.control, dark ? L"DarkMode_Explorer" : nullptr, nullptr); // its scroll bar
    }
    RedrawWindow(window_, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN);
}

void PromptWindow::TakeFonts() {
    Fonts fonts = CurrentFonts(dpi_);
    for (HWND child = GetWindow(window_, GW_CHILD); child != nullptr; child = GetWindow(child, GW_HWNDNEXT)) {
        SetWindowFont(child, child == heading_ ? fonts.heading.get() : fonts.text.get(), TRUE);
    }
    fonts_ = std::move(fonts); // the former ones are in use until here
}

void PromptWindow::Arrange() {
    const int dpi = static_cast<int>(dpi_);
    const int width = ContentWidth(dpi);
    LayoutInput input;
    input.dpi = dpi;
    input.lineHeight = LineHeight(window_, fonts_.text.get());
    input.headingHeight = LineHeight(window_, fonts_.heading.get());
    input.descriptionHeight =
        WrappedHeight(window_, fonts_.text.get(), prompt_.description.c_str(), width, kMostDescriptionLines);
    input.messageHeight =
        WrappedHeight(window_, fonts_.text.get(), messageText_.c_str(), width, kMostMessageLines);
    for (const Field& field : prompt_.fields) {
        const auto rows = static_cast<int>(field.choices.size());
        input.fieldRows.push_back(field.kind == FieldKind::Choice ? std::clamp(rows, 1, kMostRows) : 0);
    }
    layout_ = ArrangePrompt(input);
    Place(heading_, layout_.heading);
    Place(description_, layout_.description);
    Place(message_, layout_.message);
    Place(countdown_, layout_.countdown);
    Place(ok_, layout_.ok);
    Place(cancel_, layout_.cancel);
    const int rowHeight = RowHeight(input.lineHeight, dpi);
    for (std::size_t i = 0; i < fields_.size(); ++i) {
        Place(fields_[i].label, layout_.fields[i].label);
        Place(fields_[i].control, layout_.fields[i].control);
        if (prompt_.fields[i].kind == FieldKind::Choice) {
            SendMessageW(fields_[i].control, LB_SETITEMHEIGHT, 0, rowHeight);
        }
    }
}

// Keeps the upper left corner where it is, as far as the monitor has room below it.
void PromptWindow::Resize() {
    RECT area{0, 0, layout_.width, layout_.height};
    AdjustWindowRectExForDpi(&area, kStyle, FALSE, kExtendedStyle, dpi_);
    const LONG height = area.bottom - area.top;
    RECT window{};
    GetWindowRect(window_, &window);
    const RECT work = WorkArea(MonitorFromWindow(window_, MONITOR_DEFAULTTONEAREST));
    const LONG top = std::max(work.top, std::min(window.top, work.bottom - height));
    SetWindowPos(window_, nullptr, window.left, top, area.right - area.left, height,
                 SWP_NOZORDER | SWP_NOACTIVATE);
    InvalidateRect(window_, nullptr, TRUE);
}

// On the monitor that the user is looking at, as far as one can tell.
void PromptWindow::Centre() const {
    POINT cursor{};
    GetCursorPos(&cursor);
    const RECT work = WorkArea(MonitorFromPoint(cursor, MONITOR_DEFAULTTOPRIMARY));
    RECT window{};
    GetWindowRect(window_, &window);
    const LONG x = work.left + (work.right - work.left - (window.right - window.left)) / 2;
    const LONG y = work.top + (work.bottom - work.top - (window.bottom - window.top)) / 2;
    SetWindowPos(window_, nullptr, x, y, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}

// The frames; the controls inside them draw themselves.
void PromptWindow::Paint() const {
    PAINTSTRUCT paint;
    const HDC context = BeginPaint(window_, &paint);
    for (std::size_t i = 0; i < fields_.size(); ++i) {
        const bool focused = GetFocus() == fields_[i].control;
        DrawField(context, ToRect(layout_.fields[i].frame), focused, colours_, dpi_);
    }
    EndPaint(window_, &paint);
}

void PromptWindow::DrawItem(const DRAWITEMSTRUCT& item) const {
    if (item.CtlType == ODT_BUTTON) {
        DrawButton(item, item.hwndItem == ok_, colours_, dpi_);
    } else {
        DrawRow(item, colours_, dpi_);
    }
}

bool PromptWindow::IsField(HWND control) const {
    return std::any_of(fields_.begin(), fields_.end(),
                       [control](const FieldControls& field) { return field.control == control; });
}

LRESULT PromptWindow::ColourControl(HDC context, HWND control) const {
    const bool field = IsField(control);
    COLORREF text = colours_.text;
    if (control == message_) {
        text = colours_.error;
    } else if (control == countdown_) {
        text = secondsShown_ <= kSecondsThatHurry ? colours_.error : colours_.soft;
    } else if (control == description_ || (field && busy_)) {
        text = colours_.soft;
    }
    SetTextColor(context, text);
    SetBkColor(context, field ? colours_.field : colours_.back);
    return reinterpret_cast<LRESULT>(field ? fieldBrush_.get() : backBrush_.get());
}

void PromptWindow::OnCommand(int id, int notification) {
    if (id == IDCANCEL) {
        End(Outcome::Cancelled);
    } else if (id == IDOK) {
        OnOk();
    } else if (notification == EN_SETFOCUS || notification == EN_KILLFOCUS || notification == LBN_SETFOCUS ||
               notification == LBN_KILLFOCUS) {
        InvalidateRect(window_, nullptr, FALSE); // the frames show where the focus is
    }
}

void PromptWindow::OnTimer() {
    const std::uint64_t seconds = SecondsLeft(deadline_, GetTickCount64());
    if (seconds == 0) {
        End(Outcome::TimedOut);
    } else if (seconds != secondsShown_) {
        secondsShown_ = seconds;
        SetWindowTextW(countdown_, CountdownText(seconds).c_str());
    }
}

void PromptWindow::OnOk() {
    if (busy_) {
        return;
    }
    ReadFields();
    for (std::size_t i = 0; i < fields_.size(); ++i) {
        if (prompt_.fields[i].kind != FieldKind::Choice && prompt_.fields[i].text.empty()) {
            ShowMessage(L"This is still missing: " + prompt_.fields[i].label);
            SetFocus(fields_[i].control);
            return;
        }
    }
    if (!prompt_.submit) {
        End(Outcome::Answered);
    } else if (StartSubmission(prompt_, window_, kSubmitted)) {
        SetBusy(true);
    } else {
        ShowMessage(L"The system is short of resources. Please try again.");
    }
}

void PromptWindow::OnSubmitted(const std::wstring& error) {
    if (ended_) {
        return;
    }
    if (error.empty()) {
        End(Outcome::Answered);
        return;
    }
    SetBusy(false);
    ShowMessage(error);
    for (std::size_t i = 0; i < fields_.size(); ++i) {
        if (prompt_.fields[i].kind == FieldKind::Password) {
            SetWindowTextW(fields_[i].control, L"");
        }
    }
    FocusFirstEmptyField();
}

void PromptWindow::ReadFields() {
    for (std::size_t i = 0; i < fields_.size(); ++i) {
        Field& field = prompt_.fields[i];
        if (field.kind == FieldKind::Choice) {
            const LRESULT chosen = SendMessageW(fields_[i].control, LB_GETCURSEL, 0, 0);
            field.chosen = chosen < 0 ? 0 : static_cast<std::size_t>(chosen);
        } else {
            Wipe(field.text);
            field.text = TextOf(fields_[i].control);
        }
    }
}

void PromptWindow::SetBusy(bool busy) {
    busy_ = busy;
    if (busy) {
        ShowMessage(L"");
        SetFocus(cancel_); // a disabled control cannot keep it
    }
    for (const FieldControls& field : fields_) {
        EnableWindow(field.control, !busy);
    }
    EnableWindow(ok_, !busy);
    SetWindowTextW(ok_, busy ? L"Please wait" : prompt_.okText.c_str());
}

void PromptWindow::ShowMessage(const std::wstring& text) {
    if (text == messageText_) {
        return;
    }
    messageText_ = text;
    SetWindowTextW(message_, text.c_str());
    Arrange();
    Resize();
}

void PromptWindow::End(Outcome outcome) {
    if (!ended_) {
        ended_ = true;
        outcome_ = outcome;
    }
}

} // namespace

Outcome ShowPrompt(Prompt& prompt) {
    return PromptWindow(prompt).Run();
}

} // namespace authmodule
