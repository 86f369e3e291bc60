#include <algorithm>

#include <windows.h>

#include <commctrl.h>
#include <uxtheme.h>
#include <vssym32.h>

#include "platform/win32/Contrast.h"
#include "platform/win32/ToolkitWindow.h"

// How an option button and a check box are drawn: the mark of the theme, the caption in a colour of the form.

namespace platform::win32 {

namespace {

/// The state of the theme's mark; those of options and of checks are numbered alike.
int markState(HWND button) {
    const LRESULT now = SendMessageW(button, BM_GETSTATE, 0, 0);
    const int first = now & BST_CHECKED ? CBS_CHECKEDNORMAL : CBS_UNCHECKEDNORMAL;
    const int offset = !IsWindowEnabled(button) ? CBS_UNCHECKEDDISABLED
                       : now & BST_PUSHED       ? CBS_UNCHECKEDPRESSED
                       : now & BST_HOT          ? CBS_UNCHECKEDHOT
                                                : CBS_UNCHECKEDNORMAL;
    return first + offset - CBS_UNCHECKEDNORMAL;
}

/// The theme's mark, with the form's ink for its black: its greys become shades of the ink, its colours stay.
void drawMark(HTHEME theme, HDC dc, int part, int state, const RECT& place, Color ink) {
    const int width = place.right - place.left;
    const int height = place.bottom - place.top;
    Surface mark(width, height);
    if (!mark) return;
    BitBlt(mark.dc(), 0, 0, width, height, dc, place.left, place.top, SRCCOPY);
    const RECT all{0, 0, width, height};
    DrawThemeBackground(theme, mark.dc(), part, state, &all, nullptr);
    GdiFlush();
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            std::uint32_t& pixel = mark.row(y)[x];
            const auto [least, most] = std::minmax({pixel & 0xFF, pixel >> 8 & 0xFF, pixel >> 16 & 0xFF});
            if (most - least > 8) continue;
            const auto shade = [most](std::uint32_t from) { return from + (255 - from) * most / 255; };
            pixel = shade(ink.red) << 16 | shade(ink.green) << 8 | shade(ink.blue);
        }
    BitBlt(dc, place.left, place.top, width, height, mark.dc(), 0, 0, SRCCOPY);
}

/// The mark in the system's own colours: a style may be of another opinion than the contrast theme.
void drawPlainMark(HDC dc, bool isOption, int state, RECT place) {
    const bool isChecked = state >= CBS_CHECKEDNORMAL;
    const int look = isChecked ? state - CBS_CHECKEDNORMAL + CBS_UNCHECKEDNORMAL : state;
    UINT kind = (isOption ? DFCS_BUTTONRADIO : DFCS_BUTTONCHECK) | DFCS_FLAT;
    if (isChecked) kind |= DFCS_CHECKED;
    if (look == CBS_UNCHECKEDPRESSED) kind |= DFCS_PUSHED;
    if (look == CBS_UNCHECKEDDISABLED) kind |= DFCS_INACTIVE;
    DrawFrameControl(dc, &place, DFC_BUTTON, kind);
}

} // namespace

LRESULT drawChoice(const NMCUSTOMDRAW& job, const Control& choice, const std::wstring& caption, bool cues, int dpi) {
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
    if (contrast())
        drawPlainMark(job.hdc, isOption, state, mark);
    else
        drawMark(theme, job.hdc, part, state, mark, choice.form.design.text);
    const int wanted = IsWindowEnabled(button) ? COLOR_WINDOWTEXT : COLOR_GRAYTEXT;
    const bool designed = wanted == COLOR_WINDOWTEXT && !contrast();
    const TextStyle style{.color = designed ? choice.form.design.text : systemColor(wanted), .middle = true};
    text.left = mark.right + toPixels(choiceGap, dpi);
    drawText(job.hdc, text, caption, style, dpi, cues ? choice.accessKey : L'\0');
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
