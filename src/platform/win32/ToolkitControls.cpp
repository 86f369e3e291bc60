#include <utility>

#include <windows.h>

#include <commctrl.h>
#include <windowsx.h>

#include "platform/Input.h"
#include "platform/Spoken.h"
#include "platform/win32/Loop.h"
#include "platform/win32/ToolkitWindow.h"

// The native controls of a form: text boxes, combos, options, checks and command buttons, and what the person does in
// them.

namespace platform::win32 {

namespace {

constexpr int listLength = 12; // entries of an open combo that are seen at once

struct NativeDesign {
    const wchar_t* windowClass = nullptr; // null: drawn by the form
    DWORD style = 0;
    DWORD extendedStyle = 0;
    std::wstring text;
    bool named = false; // by a label
};

NativeDesign designOf(const Control& control) {
    if (const auto* box = dynamic_cast<const TextBox*>(&control))
        return {WC_EDITW, ES_AUTOHSCROLL | (box->passwordChar ? ES_PASSWORD : 0UL), WS_EX_CLIENTEDGE, {}, true};
    if (dynamic_cast<const ComboBox*>(&control))
        return {WC_COMBOBOXW, CBS_DROPDOWN | CBS_AUTOHSCROLL | WS_VSCROLL, 0, {}, true};
    // Not the automatic kinds: the values are the toolkit's to change, by its own rules.
    if (const auto* option = dynamic_cast<const OptionButton*>(&control))
        return {WC_BUTTONW, BS_RADIOBUTTON | BS_NOTIFY, 0, option->Caption};
    if (const auto* check = dynamic_cast<const CheckBox*>(&control))
        return {WC_BUTTONW, BS_CHECKBOX | BS_NOTIFY, 0, check->Caption};
    if (const auto* button = dynamic_cast<const CommandButton*>(&control))
        return {WC_BUTTONW, BS_PUSHBUTTON | BS_NOTIFY, 0, button->Caption};
    return {};
}

bool isKeyDown(UINT message) { return message == WM_KEYDOWN || message == WM_SYSKEYDOWN; }
bool isKeyUp(UINT message) { return message == WM_KEYUP || message == WM_SYSKEYUP; }

bool movesCaret(UINT message) {
    return (message >= WM_KEYFIRST && message <= WM_KEYLAST) || (message >= WM_MOUSEFIRST && message <= WM_MOUSELAST) ||
           message == EM_SETSEL;
}

/// A key that would change the text of a combo, or choose another entry while the list is closed.
bool changesText(const Native& combo, UINT message, WPARAM wParam) {
    constexpr WPARAM selectAll = 1;
    constexpr WPARAM copy = 3;
    switch (message) {
    case WM_CHAR:
        return wParam != selectAll && wParam != copy;
    case WM_PASTE:
    case WM_CUT:
    case WM_CLEAR:
    case WM_UNDO:
    case EM_UNDO:
    case WM_IME_CHAR:
    case WM_IME_STARTCOMPOSITION:
        return true;
    case WM_SYSKEYDOWN:
        return wParam == VK_BACK; // undo
    case WM_KEYDOWN:
        if (wParam == VK_DELETE) return true;
        if (wParam == VK_INSERT) return GetKeyState(VK_SHIFT) < 0;
        return !isDropped(combo) &&
               (wParam == VK_UP || wParam == VK_DOWN || wParam == VK_PRIOR || wParam == VK_NEXT);
    default:
        return false;
    }
}

/// Keys of navigation that an edit field would answer with a beep.
bool isIdleCharacter(UINT message, WPARAM wParam) {
    return message == WM_CHAR && (wParam == L'\t' || wParam == L'\r' || wParam == L'\x1b');
}

bool isCombo(const Native& native) { return native.edit && native.edit != native.window; }

} // namespace

/// Stands before the procedure of each native control and of a combo's inner window.
LRESULT CALLBACK nativeProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR id, DWORD_PTR data) {
    if (waitsForItsTurn(window, message, wParam, lParam)) return 0;
    auto& native = *reinterpret_cast<Native*>(data);
    if (message == WM_NCDESTROY) RemoveWindowSubclass(window, nativeProcedure, id);
    const auto shown = native.on.weak_from_this().lock();
    if (!shown || shown->closed) return DefSubclassProc(window, message, wParam, lParam);
    const auto alive = shown->form.weak_from_this().lock();
    LRESULT result = 0;
    guarded([&] { result = shown->handleNative(native, window, message, wParam, lParam); });
    return result;
}

LRESULT FormWindow::handleNative(Native& native, HWND at, UINT message, WPARAM wParam, LPARAM lParam) {
    Control& control = native.control;
    auto* const combo = dynamic_cast<ComboBox*>(&control);
    const bool inEdit = at == native.edit;

    const auto raise = [&](const MouseEvent& event, std::int16_t button) {
        const RECT place = pixelsOf(control);
        raiseMouse(event, button, &control,
                   MAKELPARAM(GET_X_LPARAM(lParam) + place.left, GET_Y_LPARAM(lParam) + place.top));
    };

    // The second of two quick clicks on a button is a click like the first.
    if (message == WM_LBUTTONDBLCLK && !native.edit) message = WM_LBUTTONDOWN;
    if (const std::int16_t button = buttonPressedBy(message); button && !combo) raise(control.MouseDown, button);
    if (message == WM_MOUSEMOVE && !combo) raise(control.MouseMove, buttonMask(wParam));
    if (inEdit) {
        if (isKeyDown(message) && control.KeyDown) control.KeyDown();
        if (isIdleCharacter(message, wParam)) {
            if (!isDropped(native)) return 0; // there they choose and dismiss
        } else if (combo && combo->Locked && changesText(native, message, wParam)) {
            return 0;
        }
    }
    if (closed) return 0;
    const LRESULT result = inEdit ? fieldProcedure(at, message, wParam, lParam)
                                  : DefSubclassProc(at, message, wParam, lParam);
    if (closed) return result;

    if (message == WM_SETFOCUS && !assigning) PostMessageW(window, focusMoved, 0, 0);
    if (message == WM_KILLFOCUS && combo) hideSelection(native);
    if (inEdit && movesCaret(message)) adoptSelection(native);
    if (std::exchange(native.clicked, false)) Input::press(control); // outside of the button's own procedure
    if (closed) return result;
    if (const std::int16_t button = buttonReleasedBy(message); button && !combo) raise(control.MouseUp, button);
    if (!closed && inEdit && isKeyUp(message) && control.KeyUp) control.KeyUp();
    return result;
}

void FormWindow::createNatives() {
    const INITCOMMONCONTROLSEX classes{sizeof classes, ICC_STANDARD_CLASSES};
    InitCommonControlsEx(&classes);
    for (Control* control : form.controls()) {
        const NativeDesign design = designOf(*control);
        if (!design.windowClass) continue;
        auto native = std::make_unique<Native>(*this, *control);
        // The system names a field after the label window before it, which is here to be found and not to be seen.
        if (const Label* label = design.named ? labelOf(*control) : nullptr)
            native->label = CreateWindowExW(0, WC_STATICW, label->Caption().c_str(), WS_CHILD, 0, 0, 0, 0, window,
                                            nullptr, GetModuleHandleW(nullptr), nullptr);
        native->window = CreateWindowExW(design.extendedStyle, design.windowClass, design.text.c_str(),
                                         WS_CHILD | design.style, 0, 0, 0, 0, window, nullptr,
                                         GetModuleHandleW(nullptr), nullptr);
        SetWindowSubclass(native->window, nativeProcedure, 1, reinterpret_cast<DWORD_PTR>(native.get()));
        SendMessageW(native->window, WM_SETFONT, reinterpret_cast<WPARAM>(font({}, dpi)), 0);
        if (const auto* box = dynamic_cast<TextBox*>(control)) {
            native->edit = native->window;
            if (box->passwordChar) SendMessageW(native->window, EM_SETPASSWORDCHAR, box->passwordChar, 0);
        } else if (dynamic_cast<ComboBox*>(control)) {
            COMBOBOXINFO info{};
            info.cbSize = sizeof info;
            GetComboBoxInfo(native->window, &info);
            native->edit = info.hwndItem;
            SetWindowSubclass(native->edit, nativeProcedure, 1, reinterpret_cast<DWORD_PTR>(native.get()));
            SendMessageW(native->window, CB_SETMINVISIBLE, listLength, 0);
            showList(*native);
        } else if (dynamic_cast<OptionButton*>(control)) {
            SendMessageW(native->window, BM_SETDONTCLICK, TRUE, 0); // the focus alone is no click
        }
        placeNative(*native);
        auto* const field = dynamic_cast<TextBox*>(control);
        const std::int32_t start = field ? field->SelStart() : 0;
        const std::int32_t length = field ? field->SelLength() : 0;
        showText(*native); // which takes the selection away
        if (field) {
            field->SelStart.adopt(start);
            field->SelLength.adopt(length);
        }
        for (const Aspect aspect : {Aspect::value, Aspect::enabled, Aspect::selection}) apply(*native, aspect);
        natives[control] = std::move(native);
    }
    applyShownNatives();
    SendMessageW(window, WM_CHANGEUISTATE, MAKEWPARAM(UIS_SET, UISF_HIDEFOCUS | UISF_HIDEACCEL), 0);
}

Native* FormWindow::nativeOf(const Control* control) const {
    const auto found = natives.find(control);
    return found == natives.end() ? nullptr : found->second.get();
}

Native* FormWindow::nativeOf(HWND at) const {
    for (const auto& [control, native] : natives)
        if (at && (native->window == at || native->edit == at)) return native.get();
    return nullptr;
}

void FormWindow::apply(Native& native, Aspect aspect) {
    const Assigning now(assigning);
    switch (aspect) {
    case Aspect::text:
        showText(native);
        break;
    case Aspect::list:
        showList(native);
        break;
    case Aspect::value: {
        const auto* option = dynamic_cast<OptionButton*>(&native.control);
        const auto* check = dynamic_cast<CheckBox*>(&native.control);
        if (option) Button_SetCheck(native.window, option->Value ? BST_CHECKED : BST_UNCHECKED);
        if (check) Button_SetCheck(native.window, check->Value == 1 ? BST_CHECKED : BST_UNCHECKED);
        break;
    }
    case Aspect::enabled: {
        const bool enabled = native.control.Enabled;
        if ((IsWindowEnabled(native.window) != 0) == enabled) break;
        if (!enabled) endList(native);
        if (enabled) EnableWindow(native.window, TRUE);
        applyFocus(); // away from it beforehand, and back to it
        if (!enabled) EnableWindow(native.window, FALSE);
        break;
    }
    case Aspect::selection:
        if (const auto* box = dynamic_cast<TextBox*>(&native.control))
            SendMessageW(native.window, EM_SETSEL, static_cast<WPARAM>(box->SelStart()),
                         box->SelStart + box->SelLength);
        break;
    case Aspect::place:
        placeNative(native);
        break;
    case Aspect::visible:
        applyShownNatives();
        break;
    default:
        break; // read when it is needed
    }
}

void FormWindow::applyShownNatives() {
    const Assigning now(assigning);
    for (const auto& [control, native] : natives) {
        const bool isVisible = (GetWindowLongPtrW(native->window, GWL_STYLE) & WS_VISIBLE) != 0;
        if (isVisible == control->isShown()) continue;
        if (isVisible) applyFocus(); // away from it beforehand
        ShowWindow(native->window, isVisible ? SW_HIDE : SW_SHOWNA);
        if (native->label) ShowWindow(native->label, isVisible ? SW_HIDE : SW_SHOWNA);
        if (!isVisible) applyFocus(); // or back to it
    }
}

void FormWindow::placeNative(Native& native) {
    const RECT place = pixelsOf(native.control);
    const int width = place.right - place.left;
    const int height = place.bottom - place.top;
    MoveWindow(native.window, place.left, place.top, width, height, TRUE);
    if (!isCombo(native)) return;
    // A combo takes its height from that of its field, which not every system counts alike: set, look, and correct.
    auto field = SendMessageW(native.window, CB_GETITEMHEIGHT, static_cast<WPARAM>(-1), 0);
    for (int attempt = 0; attempt < 2; ++attempt) {
        RECT all;
        GetWindowRect(native.window, &all);
        field += height - (all.bottom - all.top);
        SendMessageW(native.window, CB_SETITEMHEIGHT, static_cast<WPARAM>(-1), field);
    }
    hideSelection(native);
}

// What the person does

void FormWindow::notified(HWND child, UINT code) {
    Native* native = nativeOf(child);
    if (!native || assigning) return;
    if (!native->edit) {
        if (code == BN_CLICKED) native->clicked = true;
        return;
    }
    if (!isCombo(*native)) {
        if (code == EN_CHANGE) adoptText(*native);
        return;
    }
    switch (code) {
    case CBN_EDITCHANGE:
        adoptText(*native);
        break;
    case CBN_DROPDOWN:
        native->picked = native->dismissed = false;
        // What the focus leaves behind may fill this list, which takes its height from its entries as it opens.
        followFocus();
        if (!closed && form.activeControl() != &native->control)
            PostMessageW(native->window, CB_SHOWDROPDOWN, FALSE, 0);
        break;
    case CBN_SELCHANGE:
        native->picked = true;
        // The field gets the entry only after this. With the list open, arrows look around; nothing is chosen yet.
        PostMessageW(window, choiceMade, 0, reinterpret_cast<LPARAM>(native->window));
        break;
    case CBN_SELENDCANCEL:
        native->dismissed = isDropped(*native); // it is told of closed lists too, when they lose the focus
        break;
    case CBN_CLOSEUP:
        PostMessageW(window, choiceMade, 0, reinterpret_cast<LPARAM>(native->window));
        break;
    default:
        break;
    }
}

LRESULT FormWindow::drawNative(const NMHDR& notification) {
    const Native* const native = nativeOf(notification.hwndFrom);
    if (!native || notification.code != NM_CUSTOMDRAW) return 0;
    const auto& job = reinterpret_cast<const NMCUSTOMDRAW&>(notification);
    if (const auto* option = dynamic_cast<const OptionButton*>(&native->control))
        return drawChoice(job, *option, option->Caption, cues, dpi);
    if (const auto* check = dynamic_cast<const CheckBox*>(&native->control))
        return drawChoice(job, *check, check->Caption, cues, dpi);
    return CDRF_DODEFAULT;
}

void FormWindow::applyFocus() {
    moveRing();
    if (GetActiveWindow() == window && !IsIconic(window)) giveFocus();
    tellFocus();
}

void FormWindow::giveFocus() {
    const Control* active = form.activeControl();
    const Native* native = active && active->canTakeFocus() ? nativeOf(active) : nullptr;
    const HWND has = GetFocus();
    const HWND target = !form.takesInput() ? nullptr : native ? native->window : window;
    if (has == target || (native && target && has == native->edit)) return;
    const Assigning now(assigning);
    SetFocus(target);
}

void FormWindow::followFocus() {
    const Native* native = nativeOf(GetFocus());
    if (native && &native->control != form.activeControl()) Input::moveFocus(form, &native->control);
}

} // namespace platform::win32
