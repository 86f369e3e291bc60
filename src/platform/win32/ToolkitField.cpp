#include <windows.h>

#include <commctrl.h>

#include "platform/win32/ToolkitWindow.h"

// How a text box stands in its place: one line, in the middle of its height.

namespace platform::win32 {

namespace {

int lineHeight(HWND field) {
    const HDC dc = GetDC(field);
    const HGDIOBJ former = SelectObject(dc, reinterpret_cast<HFONT>(SendMessageW(field, WM_GETFONT, 0, 0)));
    TEXTMETRICW metrics{};
    GetTextMetricsW(dc, &metrics);
    SelectObject(dc, former);
    ReleaseDC(field, dc);
    return metrics.tmHeight;
}

/// Fills what is neither client area nor edge as the field itself fills its client area.
void fillPadding(HWND field) {
    RECT whole;
    RECT client;
    GetWindowRect(field, &whole);
    GetClientRect(field, &client);
    MapWindowPoints(field, nullptr, reinterpret_cast<POINT*>(&client), 2);
    OffsetRect(&client, -whole.left, -whole.top);
    const LONG edge = client.left; // as wide as the one above and below
    const HDC dc = GetWindowDC(field);
    const auto background = reinterpret_cast<HBRUSH>(
        SendMessageW(GetParent(field), IsWindowEnabled(field) ? WM_CTLCOLOREDIT : WM_CTLCOLORSTATIC,
                     reinterpret_cast<WPARAM>(dc), reinterpret_cast<LPARAM>(field)));
    const RECT above{client.left, edge, client.right, client.top};
    const RECT below{client.left, client.bottom, client.right, whole.bottom - whole.top - edge};
    FillRect(dc, &above, background);
    FillRect(dc, &below, background);
    ReleaseDC(field, dc);
}

} // namespace

LRESULT fieldProcedure(HWND field, UINT message, WPARAM wParam, LPARAM lParam) {
    const LRESULT result = DefSubclassProc(field, message, wParam, lParam);
    switch (message) {
    case WM_NCCALCSIZE: {
        // Both kinds of parameter begin with the rectangle.
        auto& client = *reinterpret_cast<RECT*>(lParam);
        constexpr int slack = 2; // the field's own, around a line
        if (const LONG spare = client.bottom - client.top - lineHeight(field) - slack; spare > 0) {
            client.top += spare / 2;
            client.bottom -= spare - spare / 2;
        }
        break;
    }
    case WM_NCPAINT:
        fillPadding(field);
        break;
    case WM_ENABLE:
        RedrawWindow(field, nullptr, nullptr, RDW_FRAME | RDW_INVALIDATE);
        break;
    case WM_NCHITTEST:
        return HTCLIENT; // the padding takes the mouse as the line does
    default:
        break;
    }
    return result;
}

} // namespace platform::win32
