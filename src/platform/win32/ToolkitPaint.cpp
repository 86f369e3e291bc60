#include <algorithm>
#include <cmath>

#include "platform/Input.h"
#include "platform/ToolkitPeer.h"
#include "platform/win32/Contrast.h"
#include "platform/win32/ToolkitWindow.h"

// How a form draws itself and its controls without a window, into one buffer.

namespace platform::win32 {

namespace {

constexpr double cornerRadius = 6;
constexpr BYTE disabledVeil = 140; // how much of the background covers a control that is disabled
constexpr Color white{255, 255, 255};

int edgeWidth(int dpi) { return std::max(1, dpi / 96); }

void fillRect(HDC dc, const RECT& rect, Color color) {
    SetDCBrushColor(dc, colorRef(color));
    FillRect(dc, &rect, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
}

void drawCaptioned(HDC dc, const RECT& rect, const PictureBox& box, int dpi, wchar_t key) {
    drawPicture(dc, rect, box.Picture, dpi);
    RECT captioned = rect;
    captioned.left += toPixels(box.captionInset, dpi);
    drawText(dc, captioned, box.Caption, box.style, dpi, key);
}

void drawFrame(Surface& onto, RECT rect, const Frame& frame, RECT clip, int dpi) {
    const int radius = toPixels(cornerRadius, dpi);
    IntersectRect(&clip, &clip, &rect);
    RECT top{rect.left, rect.top, rect.right, rect.top + edgeWidth(dpi)};
    if (!frame.roundTop) rect.top -= radius; // the corners lie outside of the clip
    draw(onto, {rect, radius + 0.0, edgeWidth(dpi) + 0.0, frame.edge, true, frame.fill}, clip);
    if (!frame.roundTop) fillRect(onto.dc(), top, frame.edge);
}

void drawFocus(Surface& onto, RECT rect, Color color, Color inner, const RECT& clip, int dpi) {
    // Two lines, so that it is seen on dark and on light.
    const double width = std::max(1.0, std::round(dpi / 48.0));
    draw(onto, {rect, toPixels(4, dpi) + 0.0, width, color, false, {}}, clip);
    InflateRect(&rect, -static_cast<int>(width), -static_cast<int>(width));
    draw(onto, {rect, toPixels(2, dpi) + 0.0, std::max(1.0, std::round(dpi / 96.0)), inner, false, {}}, clip);
}

} // namespace

RECT FormWindow::pixelsOf(const Control& control) const {
    const Place place = placeOnForm(control);
    return {toPixels(place.x, dpi), toPixels(place.y, dpi), toPixels(place.x + place.width, dpi),
            toPixels(place.y + place.height, dpi)};
}

void FormWindow::invalidate(const Control& control) {
    if (const auto before = drawnAt.find(&control); before != drawnAt.end())
        InvalidateRect(window, &before->second, FALSE);
    if (!control.isShown()) return;
    const RECT now = pixelsOf(control);
    InvalidateRect(window, &now, FALSE);
}

void FormWindow::resized(SIZE from, SIZE to) {
    // The edge at the right and below is elsewhere now.
    const int edge = edgeWidth(dpi);
    for (const auto [right, bottom] : {from, to})
        for (const RECT& side : {RECT{right - edge, 0, right, bottom}, RECT{0, bottom - edge, right, bottom}})
            InvalidateRect(window, &side, FALSE);
}

void FormWindow::showCues() {
    if (cues) return;
    cues = true;
    SendMessageW(window, WM_CHANGEUISTATE, MAKEWPARAM(UIS_CLEAR, UISF_HIDEFOCUS | UISF_HIDEACCEL), 0);
    RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_ALLCHILDREN);
    moveRing();
}

void FormWindow::moveRing() {
    const Control* const active = cues ? form.activeControl() : nullptr;
    if (ringed == active) return;
    if (ringed) invalidate(*ringed);
    ringed = active;
    if (ringed) invalidate(*ringed);
}

void FormWindow::paint() {
    PAINTSTRUCT job;
    const HDC screen = BeginPaint(window, &job);
    redraw(job.rcPaint);
    const RECT& dirty = job.rcPaint;
    BitBlt(screen, dirty.left, dirty.top, dirty.right - dirty.left, dirty.bottom - dirty.top, buffer.dc(), dirty.left,
           dirty.top, SRCCOPY);
    EndPaint(window, &job);
}

void FormWindow::print(HDC onto) {
    RECT all;
    GetClientRect(window, &all);
    redraw(all);
    BitBlt(onto, 0, 0, all.right, all.bottom, buffer.dc(), 0, 0, SRCCOPY);
}

void FormWindow::redraw(const RECT& dirty) {
    RECT all;
    GetClientRect(window, &all);
    // Grows only: a window that is cut off for a while keeps its buffer.
    if (buffer.width() < all.right || buffer.height() < all.bottom)
        buffer = Surface(std::max<int>(buffer.width(), all.right), std::max<int>(buffer.height(), all.bottom));
    if (!buffer) return;

    const HDC dc = buffer.dc();
    const int saved = SaveDC(dc);
    IntersectClipRect(dc, dirty.left, dirty.top, dirty.right, dirty.bottom);
    const bool contrasting = contrast();
    const Color background = contrasting ? systemColor(COLOR_WINDOW) : form.design.background;
    const Color line = contrasting ? systemColor(COLOR_WINDOWTEXT) : form.design.edge;
    fillRect(dc, dirty, background);
    for (const Control* control : form.controls()) {
        if (!control->isShown() || nativeOf(control)) continue;
        const RECT rect = pixelsOf(*control);
        drawnAt[control] = rect;
        RECT seen;
        if (!IntersectRect(&seen, &rect, &dirty)) continue;

        Surface below;
        const int width = seen.right - seen.left;
        const int height = seen.bottom - seen.top;
        if (!control->Enabled && !contrasting) {
            below = Surface(width, height);
            BitBlt(below.dc(), 0, 0, width, height, dc, seen.left, seen.top, SRCCOPY);
        }
        const int unclipped = SaveDC(dc);
        IntersectClipRect(dc, rect.left, rect.top, rect.right, rect.bottom);
        const wchar_t key = cues ? control->accessKey : L'\0';
        if (contrasting)
            drawInContrast(buffer, rect, *control, dirty, dpi, key);
        else if (const auto* frame = dynamic_cast<const Frame*>(control))
            drawFrame(buffer, rect, *frame, dirty, dpi);
        else if (const auto* label = dynamic_cast<const Label*>(control))
            drawText(dc, rect, label->Caption, label->style, dpi, key);
        else if (const auto* box = dynamic_cast<const PictureBox*>(control))
            drawCaptioned(dc, rect, *box, dpi, key);
        RestoreDC(dc, unclipped);
        if (below)
            GdiAlphaBlend(dc, seen.left, seen.top, width, height, below.dc(), 0, 0, width, height,
                       {AC_SRC_OVER, 0, disabledVeil, 0});
        if (control == ringed) drawFocus(buffer, rect, line, contrasting ? background : white, dirty, dpi);
    }
    const int edge = edgeWidth(dpi);
    for (const RECT& side : {RECT{0, 0, all.right, edge}, RECT{0, all.bottom - edge, all.right, all.bottom},
                             RECT{0, 0, edge, all.bottom}, RECT{all.right - edge, 0, all.right, all.bottom}})
        fillRect(dc, side, line);
    RestoreDC(dc, saved);
}

HBRUSH FormWindow::backgroundOf(Native& native) {
    const RECT rect = pixelsOf(native.control);
    const int width = rect.right - rect.left;
    const int height = rect.bottom - rect.top;
    redraw(rect);
    Surface below(width, height);
    if (!below) return GetSysColorBrush(COLOR_WINDOW);
    BitBlt(below.dc(), 0, 0, width, height, buffer.dc(), rect.left, rect.top, SRCCOPY);
    native.dropBackground();
    native.background = CreatePatternBrush(static_cast<HBITMAP>(GetCurrentObject(below.dc(), OBJ_BITMAP)));
    return native.background;
}

} // namespace platform::win32
