#include "ui/Chrome.h"

#include <algorithm>

#include "core/Errors.h"
#include "core/Numbers.h"
#include "platform/Desktop.h"

HeaderDrag::HeaderDrag(Form& moved, Control& surface, Control& title) : form(moved) {
    surface.MouseDown = [this](std::int16_t, std::int16_t, double X, double Y) { MouseDown(X, Y); };
    surface.MouseMove = [this](std::int16_t, std::int16_t, double X, double Y) { MouseMove(X, Y); };
    surface.MouseUp = [this](std::int16_t, std::int16_t, double X, double Y) { MouseUp(X, Y); };
    title.MouseDown = surface.MouseDown;
    title.MouseMove = surface.MouseMove;
    title.MouseUp = surface.MouseUp;
}

void HeaderDrag::MouseDown(double X, double Y) {
    headerDragging = -1;
    headerDragX = toInteger(X);
    headerDragY = toInteger(Y);
    form.MousePointer = pointerSizeAll;
}

void HeaderDrag::MouseMove(double X, double Y) {
    // Relative: the surface moves with the window, so X comes back to where the drag began after each step.
    if (headerDragging == 0) return;
    form.Left = form.Left + X - headerDragX;
    form.Top = form.Top + Y - headerDragY;
}

void HeaderDrag::MouseUp(double X, double Y) {
    if (headerDragging == 0) return;
    MouseMove(X, Y);
    headerDragging = 0;
    form.MousePointer = pointerDefault;
}

void showHand(std::initializer_list<Control*> controls) {
    for (Control* control : controls) control->MousePointer = pointerHand;
}

void takeFocusOnClick(std::initializer_list<Control*> controls) {
    for (Control* control : controls) control->ClickFocus = true;
}

void giveAccessKeys(std::initializer_list<std::pair<Control*, wchar_t>> keys) {
    for (const auto& [control, letter] : keys) control->accessKey = letter;
}

void makeReachable(std::initializer_list<Control*> controls) {
    for (Control* control : controls) control->TabStop = true;
}

void setAlwaysOnTop(Form& form, bool onTop) {
    trapErrors(L"Function setAlwaysOnTop, modMisc", [&] {
        constexpr std::int32_t topmost = -1;
        constexpr std::int32_t notTopmost = -2;
        constexpr std::uint32_t noSizeNoMoveNoActivateShow = 83;
        platform::setWindowPos(form.hWnd(), onTop ? topmost : notTopmost, noSizeNoMoveNoActivateShow);
        form.Visible.adopt(true);
    });
}

bool existsInCombo(const std::wstring& text, const ComboBox& combo) {
    return trapErrors(L"Function existsInCombo, modMisc",
                      [&] { return std::ranges::find(combo.List(), text) != combo.List().end(); });
}
