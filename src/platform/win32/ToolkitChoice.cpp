#include <windows.h>

#include <commctrl.h>
#include <uxtheme.h>
#include <vssym32.h>

#include "platform/win32/ToolkitWindow.h"

namespace platform::win32 {

namespace {

/// The state of the theme's mark; those of options and of checks are numbered alike.
int markState(HWND button) {
    const LRESULT now = SendMessageW(button, BM_GETSTATE, 0, 0);
    const int first = now & BST_CHECKED ? CBS_CHECKEDNORMAL : CBS_UNCHECKEDNORMAL;
    const int offset = !IsWindowEnabled(button) ? CBS_UNCHECKEDDISABLED : now & BST_PUSHED ? CBS_UNCHECKEDPRESSED
                       : now & BST_HOT          ? CBS_UNCHECKEDHOT
                                                : CBS_UNCHECKEDNORMAL;
    return first + offset - CBS_UNCHECKEDNORMAL;
}

} // namespace

LRESULT drawChoice(const NMCUSTOMDRAW& job, const std::wstring& caption, Color color, bool cues, int dpi) {
    const HWND button = job.hdr.hwndFrom;
    const HTHEME theme = GetWindowTheme(button);
    if (job.dwDrawStage != CDDS_PREPAINT || !theme) return CDRF_DODEFAULT;
    const bool isOption = (GetWindowLongPtrW(button, GWL_STYLE) & BS_TYPEMASK) == BS_RADIOBUTTON;
    const int part = isOption ? BP_RADIOBUTTON : BP_CHECKBOX;
    const int state = markState(button);
    SIZE size;
    if (FAILED(GetThemePartSize(theme, job.hdc, part, state, nullptr, TS_DRAW, &size))) return CDRF_DODEFAULT;

    RECT text;
    GetClientRect(button, &text);
    const RECT mark{0, (text.bottom - size.cy) / 2, size.cx, (text.bottom - size.cy) / 2 + size.cy};
    DrawThemeBackground(theme, job.hdc, part, state, &mark, nullptr);
    const TextStyle style{.color = color, .middle = true};
    text.left = mark.right + toPixels(choiceGap, dpi);
    if (IsWindowEnabled(button)) {
        drawText(job.hdc, text, caption, style, dpi);
    } else {
        const COLORREF grey = GetSysColor(COLOR_GRAYTEXT);
        drawText(job.hdc, text, caption, {.color = {GetRValue(grey), GetGValue(grey), GetBValue(grey)}, .middle = true},
                 dpi);
    }
    if (cues && GetFocus() == button) {
        const SIZE needed = textSize(caption, style, text.right - text.left, dpi);
        const LONG top = (text.bottom - needed.cy) / 2;
        const RECT around{text.left - 1, top - 1, text.left + needed.cx + 1, top + needed.cy + 1};
        SetTextColor(job.hdc, 0); // the dots are drawn in these
        SetBkColor(job.hdc, RGB(255, 255, 255));
        DrawFocusRect(job.hdc, &around);
    }
    return CDRF_SKIPDEFAULT;
}

} // namespace platform::win32
