#include "platform/ToolkitPeer.h"

#include "platform/win32/Handles.h"
#include "platform/win32/ToolkitWindow.h"

// What the program changes about a form or a control, as its window is told it.

namespace platform {

using namespace win32;

void formChanged(Form& form, Aspect aspect) {
    const auto shown = windowOfForm(form);
    if (!shown) return;
    switch (aspect) {
    case Aspect::visible:
        form.Visible ? shown->show() : shown->hide();
        break;
    case Aspect::place:
        shown->placeSoon();
        break;
    case Aspect::enabled:
        shown->applyInput();
        break;
    case Aspect::pointer:
        shown->applyPointer();
        break;
    case Aspect::windowState:
        shown->applyWindowState();
        break;
    default:
        break;
    }
}

void controlChanged(Control& control, Aspect aspect) {
    const auto shown = windowOfForm(control.form);
    if (!shown) return;
    shown->tellReaderOf(control, aspect);
    if (Native* native = shown->nativeOf(&control)) {
        shown->apply(*native, aspect);
        return;
    }
    shown->invalidate(control);
    if (dynamic_cast<Frame*>(&control)) shown->applyShownNatives();
    if (aspect == Aspect::pointer || aspect == Aspect::visible) shown->applyPointer();
}

void focusChanged(Form& form) {
    if (const auto shown = windowOfForm(form)) shown->applyFocus();
}

void activate(Form& form, bool withKeyboard) {
    if (const auto shown = windowOfForm(form)) shown->activate(withKeyboard);
}

void inputChanged(Form& form) {
    if (const auto shown = windowOfForm(form)) shown->applyInput();
}

WindowHandle windowOf(const Form& form) {
    const auto shown = windowOfForm(form);
    return shown ? fromHwnd(shown->window) : 0;
}

std::uint32_t smallIconOf(const Form&) {
    const HICON icon = programIcon(SM_CXSMICON, win32::primaryDpi());
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(icon));
}

} // namespace platform
