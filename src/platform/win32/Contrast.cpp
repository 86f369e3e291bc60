#include "platform/win32/Contrast.h"

#include <algorithm>
#include <cmath>

namespace platform::win32 {

namespace {

bool isDark(Color color) { return color.red * 3 + color.green * 6 + color.blue < 1280; }

bool isOn() {
    HIGHCONTRASTW theme{};
    theme.cbSize = sizeof theme;
    const bool known = SystemParametersInfoW(SPI_GETHIGHCONTRAST, sizeof theme, &theme, 0) != 0;
    // Where somebody has made the windows dark by hand, fields would be dark in the middle of light paper.
    return (known && (theme.dwFlags & HCF_HIGHCONTRASTON)) || isDark(systemColor(COLOR_WINDOW));
}

bool& known() {
    static bool on = isOn();
    return on;
}

} // namespace

bool contrast() { return known(); }

void contrastMayHaveChanged() { known() = isOn(); }

Color systemColor(int index) {
    const COLORREF color = GetSysColor(index);
    return {GetRValue(color), GetGValue(color), GetBValue(color)};
}

namespace {

void drawBox(Surface& onto, const RECT& place, int fill, int edge, const RECT& clip, int dpi) {
    draw(onto, {place, 0, std::max(1.0, std::floor(dpi / 96.0)), systemColor(edge), true, systemColor(fill)}, clip);
}

void drawCross(HDC dc, const RECT& place, int dpi) {
    const HPEN pen = CreatePen(PS_SOLID, std::max(1, dpi / 64), GetSysColor(COLOR_WINDOWTEXT));
    const HGDIOBJ former = SelectObject(dc, pen);
    const LONG inset = (place.right - place.left) * 3 / 10;
    const RECT cross{place.left + inset, place.top + inset, place.right - inset, place.bottom - inset};
    MoveToEx(dc, cross.left, cross.top, nullptr);
    LineTo(dc, cross.right, cross.bottom);
    MoveToEx(dc, cross.left, cross.bottom - 1, nullptr);
    LineTo(dc, cross.right, cross.top - 1);
    SelectObject(dc, former);
    DeleteObject(pen);
}

} // namespace

void drawInContrast(Surface& onto, const RECT& place, const Control& control, const RECT& clip, int dpi, wchar_t key) {
    const auto* picture = dynamic_cast<const PictureBox*>(&control);
    const auto words = [&](const std::wstring& text, TextStyle style, int color) {
        style.color = systemColor(control.Enabled ? color : COLOR_GRAYTEXT);
        drawText(onto.dc(), place, text, style, dpi, key);
    };
    if (dynamic_cast<const Frame*>(&control) || control.role == Role::trough) {
        drawBox(onto, place, COLOR_WINDOW, COLOR_WINDOWTEXT, clip, dpi);
    } else if (const auto* label = dynamic_cast<const Label*>(&control)) {
        words(label->Caption, label->style, control.role == Role::link ? COLOR_HOTLIGHT : COLOR_WINDOWTEXT);
    } else if (control.role == Role::closeMark) {
        drawCross(onto.dc(), place, dpi);
    } else if (control.role == Role::progress) {
        drawBox(onto, place, COLOR_HIGHLIGHT, COLOR_HIGHLIGHT, clip, dpi);
    } else if (control.role == Role::button || control.role == Role::tab) {
        const bool chosen = control.isSelected();
        drawBox(onto, place, chosen ? COLOR_HIGHLIGHT : COLOR_BTNFACE, COLOR_BTNTEXT, clip, dpi);
        TextStyle style = picture->style;
        style.align = Align::centre;
        words(picture->Caption, style, chosen ? COLOR_HIGHLIGHTTEXT : COLOR_BTNTEXT);
    } else if (picture && control.role != Role::backdrop) {
        drawPicture(onto.dc(), place, picture->Picture, dpi);
    }
}

} // namespace platform::win32
