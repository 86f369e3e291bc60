#include <algorithm>
#include <cmath>
#include <set>

#include "platform/win32/Contrast.h"
#include "platform/win32/ToolkitWindow.h"

// Where windows stand, and what happens to them when the screens change.

namespace platform::win32 {

/// Edges are rounded, and not lengths: two edges at the same sum of twips are the same pixel at every size.
RECT FormWindow::placeOnScreen() const {
    const double left = form.Left / screen::TwipsPerPixelX();
    const double top = form.Top / screen::TwipsPerPixelY();
    const double twipsPerPixel = 1440.0 / dpi;
    const auto rounded = [](double pixels) { return static_cast<LONG>(std::lround(pixels)); };
    return {rounded(left), rounded(top), rounded(left + form.Width / twipsPerPixel),
            rounded(top + form.Height / twipsPerPixel)};
}

void FormWindow::adoptPlace(POINT leftTop) {
    form.Left.adopt(leftTop.x * screen::TwipsPerPixelX());
    form.Top.adopt(leftTop.y * screen::TwipsPerPixelY());
}

void FormWindow::densityChanged(int now, const RECT& suggested) {
    // A window in the hand keeps its size until it is let go: otherwise it could jump to and fro between two screens.
    if (pressed || rescaling) return;
    const bool moved = placing; // by the program, which knows where it wants the window
    if (!moved) adoptPlace({suggested.left, suggested.top});
    applyDensity(now);
    if (!moved) keepReachable();
}

void FormWindow::densityAfterDrag() {
    const int now = windowDpi(window);
    if (pressed || now == dpi) return;
    // Around the middle, which stays on the screen that it has come to.
    const RECT place = placeOnScreen();
    const double shrink = (1 - static_cast<double>(now) / dpi) / 2;
    adoptPlace({place.left + std::lround((place.right - place.left) * shrink),
                place.top + std::lround((place.bottom - place.top) * shrink)});
    applyDensity(now);
}

void FormWindow::applyDensity(int now) {
    if (now == dpi) return;
    rescaling = true;
    dpi = now;
    applyIcons();
    placeNow();
    rescaleNatives();
    RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_ALLCHILDREN);
    rescaling = false;
    forgetUnseenPictures();
}

void forgetUnseenPictures() {
    std::set<int> used;
    for (const auto& shown : allFormWindows())
        if (shown->form.Visible) used.insert(shown->dpi);
    forgetPictures(used);
}

void FormWindow::applyIcons() {
    for (const auto& [kind, metric] : {std::pair{ICON_SMALL, SM_CXSMICON}, std::pair{ICON_BIG, SM_CXICON}})
        SendMessageW(window, WM_SETICON, static_cast<WPARAM>(kind), reinterpret_cast<LPARAM>(programIcon(metric, dpi)));
}

void FormWindow::coloursChanged() {
    contrastMayHaveChanged();
    for (const auto& [control, native] : natives) SendMessageW(native->window, WM_SYSCOLORCHANGE, 0, 0);
    RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_FRAME | RDW_ALLCHILDREN);
}

void FormWindow::screensChanged(bool mayHide) {
    if (pressed) return;
    // A twip of the primary screen may be another length than before.
    RECT now;
    if (!placePending && !IsIconic(window) && GetWindowRect(window, &now)) adoptPlace({now.left, now.top});
    if (mayHide) keepReachable();
}

/// Moves a window that reaches over its screen's work area into it, as far as it fits, its header first.
void FormWindow::keepReachable() {
    if (form.design.notice) return;
    const RECT place = placeOnScreen();
    MONITORINFO monitor{};
    monitor.cbSize = sizeof monitor;
    if (!GetMonitorInfoW(MonitorFromRect(&place, MONITOR_DEFAULTTONEAREST), &monitor)) return;
    const RECT& room = monitor.rcWork;
    const POINT within{std::max(room.left, std::min(place.left, room.right - (place.right - place.left))),
                       std::max(room.top, std::min(place.top, room.bottom - (place.bottom - place.top)))};
    if (within.x == place.left && within.y == place.top) return;
    adoptPlace(within);
    placeSoon();
}

void FormWindow::rescaleNatives() {
    for (const auto& [control, native] : natives) {
        SendMessageW(native->window, WM_SETFONT, reinterpret_cast<WPARAM>(font({}, dpi)), FALSE);
        placeNative(*native);
    }
}

} // namespace platform::win32
