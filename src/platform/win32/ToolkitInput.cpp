#include <algorithm>

#include <windows.h>

#include <windowsx.h>

#include "platform/Input.h"
#include "platform/ToolkitPeer.h"
#include "platform/win32/ToolkitWindow.h"

// The mouse on what a form draws itself, and the keys of a whole form: Tab, Return, Escape, access keys.

namespace platform::win32 {

// Mouse

namespace {

bool isDown(int key) { return GetKeyState(key) < 0; }

std::int16_t shiftMask() {
    return static_cast<std::int16_t>((isDown(VK_SHIFT) ? 1 : 0) | (isDown(VK_CONTROL) ? 2 : 0) |
                                     (isDown(VK_MENU) ? 4 : 0));
}

} // namespace

void FormWindow::raiseMouse(const MouseEvent& event, std::int16_t button, const Control* control, LPARAM where) const {
    if (!event || (control && !control->Enabled)) return;
    const RECT place = control ? pixelsOf(*control) : RECT{};
    event(button, shiftMask(), (GET_X_LPARAM(where) - place.left) * screen::TwipsPerPixelX(),
          (GET_Y_LPARAM(where) - place.top) * screen::TwipsPerPixelY());
}

std::int16_t buttonMask(WPARAM keys) {
    return static_cast<std::int16_t>((keys & MK_LBUTTON ? 1 : 0) | (keys & MK_RBUTTON ? 2 : 0) |
                                     (keys & MK_MBUTTON ? 4 : 0));
}

std::int16_t buttonPressedBy(UINT message) {
    return message == WM_LBUTTONDOWN ? 1 : message == WM_RBUTTONDOWN ? 2 : message == WM_MBUTTONDOWN ? 4 : 0;
}

std::int16_t buttonReleasedBy(UINT message) {
    return message == WM_LBUTTONUP ? 1 : message == WM_RBUTTONUP ? 2 : message == WM_MBUTTONUP ? 4 : 0;
}

Control* FormWindow::hit(LPARAM where) const {
    return Input::hitTest(form, GET_X_LPARAM(where) * 96.0 / dpi, GET_Y_LPARAM(where) * 96.0 / dpi);
}

bool FormWindow::isOver(const Control& control, LPARAM where) const {
    const RECT place = pixelsOf(control);
    return PtInRect(&place, {GET_X_LPARAM(where), GET_Y_LPARAM(where)});
}

void FormWindow::mouseDown(std::int16_t button, LPARAM where) {
    Control* const control = pressed ? pressed : hit(where);
    if (!control) return;
    pressed = control;
    buttonsDown |= button;
    if (GetCapture() != window) SetCapture(window); // a drag goes on outside
    raiseMouse(control->MouseDown, button, control, where);
}

void FormWindow::mouseUp(std::int16_t button, LPARAM where) {
    Control* const control = pressed;
    if (!control || !(buttonsDown & button)) return;
    buttonsDown = static_cast<std::int16_t>(buttonsDown & ~button);
    if (buttonsDown == 0) ReleaseCapture(); // which also lets go of `pressed`
    raiseMouse(control->MouseUp, button, control, where);
    if (button == 1 && !closed && isOver(*control, where)) Input::press(*control);
}

void FormWindow::mouseMoved(WPARAM buttons, LPARAM where) {
    const Control* const control = pressed ? pressed : hit(where);
    raiseMouse(control ? control->MouseMove : form.MouseMove, buttonMask(buttons), control, where);
}

HCURSOR FormWindow::cursorAt(POINT client) const {
    if (form.MousePointer != pointerDefault) return pointer(form.MousePointer);
    const Control* over = hit(MAKELPARAM(client.x, client.y));
    return pointer(over && over->Enabled ? over->MousePointer() : std::int16_t{pointerDefault});
}

void FormWindow::applyPointer() {
    // The system asks for the pointer only when the mouse moves, and not at all during a drag.
    POINT at;
    if (!GetCursorPos(&at) || !form.Visible) return;
    if (GetCapture() != window && WindowFromPoint(at) != window) return;
    ScreenToClient(window, &at);
    SetCursor(cursorAt(at));
}

// Keyboard

namespace {

void moveByTab(FormWindow& shown) {
    Control* const next = Input::nextInTabOrder(shown.form, shown.form.activeControl(), isDown(VK_SHIFT));
    if (next) Input::moveFocus(shown.form, next);
}

/// The next option of the same group in either direction, wrapping.
OptionButton* neighbour(const OptionButton& option, bool backwards) {
    std::vector<OptionButton*> group;
    for (Control* control : option.form.controls())
        if (auto* other = dynamic_cast<OptionButton*>(control); other && other->container == option.container)
            if (other == &option || other->canTakeFocus()) group.push_back(other);
    if (backwards) std::ranges::reverse(group);
    const auto self = std::ranges::find(group, &option);
    return self + 1 == group.end() ? group.front() : *(self + 1);
}

bool pressKey(FormWindow& shown, const MSG& message) {
    Form& form = shown.form;
    Control* const active = form.activeControl();
    const Native* const native = shown.nativeOf(active);
    const bool isRepeat = (message.lParam & 1L << 30) != 0;
    const bool windowless = active && !native && active->canTakeFocus();
    switch (message.wParam) {
    case VK_TAB:
        if (isDown(VK_CONTROL)) return false;
        shown.showCues();
        moveByTab(shown);
        return true;
    case VK_RETURN:
        if (isRepeat) return true;
        if (form.defaultButton())
            Input::pressReturn(form);
        else if (windowless || dynamic_cast<CommandButton*>(active))
            Input::press(*active);
        return true;
    case VK_ESCAPE: return !isRepeat && Input::pressEscape(form);
    case VK_SPACE:
        if (!windowless) return false;
        if (!isRepeat) Input::press(*active);
        return true;
    case VK_LEFT:
    case VK_UP:
    case VK_RIGHT:
    case VK_DOWN: {
        const auto* option = dynamic_cast<OptionButton*>(active);
        if (!option) return false;
        shown.showCues();
        Input::press(*neighbour(*option, message.wParam == VK_LEFT || message.wParam == VK_UP));
        return true;
    }
    default:
        return false;
    }
}

} // namespace

bool filterKeys(void* raw) {
    const MSG& message = *static_cast<const MSG*>(raw);
    const bool isAlt = message.message == WM_SYSKEYDOWN && message.wParam == VK_MENU;
    if (message.message != WM_KEYDOWN && message.message != WM_SYSCHAR && !isAlt) return false;
    const auto shown = formWindowAt(GetAncestor(message.hwnd, GA_ROOT));
    if (!shown || shown->closed || !shown->form.takesInput()) return false;
    const auto alive = shown->form.weak_from_this().lock();
    if (Native* native = shown->nativeOf(message.hwnd); native && isDropped(*native)) {
        // An open list has its own keys; Tab takes what is chosen in it along.
        if (message.wParam != VK_TAB) return false;
        guarded([&] { shown->acceptList(*native); });
    }
    if (isAlt) shown->showCues();
    if (isAlt) return false;
    bool handled = false;
    guarded([&] {
        handled = message.message == WM_KEYDOWN
                      ? pressKey(*shown, message)
                      : Input::pressAccessKey(shown->form, static_cast<wchar_t>(message.wParam));
    });
    return handled;
}

} // namespace platform::win32
