#include "platform/Input.h"

#include <algorithm>
#include <cwctype>

#include "platform/Spoken.h"
#include "platform/ToolkitPeer.h"

namespace {

bool isOn(const Control* control) {
    const auto* option = dynamic_cast<const OptionButton*>(control);
    return !option || option->Value;
}

/// A group of options is one stop of the Tab key: the option that is on.
bool isTabStop(const Control* control) { return control->TabStop && control->canTakeFocus() && isOn(control); }

bool hasMouse(const Control* control) {
    return control->Click || control->MouseDown || control->MouseMove || control->MouseUp;
}

} // namespace

bool Input::moveFocus(Form& form, Control* to) {
    Control* from = form.active;
    if (from == to) return true;
    const auto alive = form.weak_from_this().lock();
    if (from && from->Validate && from->canTakeFocus()) {
        bool Cancel = false;
        from->Validate(Cancel);
        if (Cancel) {
            platform::focusChanged(form);
            return false;
        }
    }
    if (!form.isLoaded()) return false;
    form.active = to;
    platform::focusChanged(form);
    if (to && to->GotFocus) to->GotFocus();
    return true;
}

bool Input::press(Control& control) {
    Form& form = control.form;
    if (!form.takesInput() || !control.canTakeFocus()) return false;
    const auto alive = form.weak_from_this().lock();
    if ((control.TabStop || control.ClickFocus) && !moveFocus(form, &control)) return false;
    if (auto* option = dynamic_cast<OptionButton*>(&control)) {
        for (Control* other : form.all)
            if (auto* sibling = dynamic_cast<OptionButton*>(other); sibling && sibling->container == option->container)
                sibling->Value = sibling == option;
    } else if (auto* check = dynamic_cast<CheckBox*>(&control)) {
        check->Value = check->Value == 1 ? 0 : 1;
    }
    if (control.Click) {
        const auto click = control.Click;
        click();
    }
    return true;
}

Control* Input::nextInTabOrder(const Form& form, const Control* from, bool backwards) {
    auto order = form.all;
    if (backwards) std::ranges::reverse(order);
    auto start = std::ranges::find(order, from);
    if (start != order.end()) std::rotate(order.begin(), start + 1, order.end());
    auto found = std::ranges::find_if(order, isTabStop);
    return found == order.end() ? nullptr : *found;
}

bool Input::pressReturn(Form& form) {
    CommandButton* button = form.byReturn;
    if (!button || !button->Enabled || !form.takesInput()) return false;
    // The focused control is asked first, as if the focus were to go to the button.
    if (Control* from = form.active; from && from->Validate) {
        bool Cancel = false;
        from->Validate(Cancel);
        if (Cancel) return false;
    }
    if (button->Click) button->Click();
    return true;
}

bool Input::pressEscape(Form& form) { return form.escapePresses && press(*form.escapePresses); }

bool Input::pressAccessKey(Form& form, wchar_t letter) {
    for (Control* control : form.all) {
        if (!control->accessKey || std::towupper(control->accessKey) != std::towupper(letter)) continue;
        if (!form.takesInput() || !control->canTakeFocus()) continue;
        if (!dynamic_cast<Label*>(control) || control->Click) return press(*control);
        for (Control* field : form.all)
            if (field->canTakeFocus() && field->TabStop && platform::labelOf(*field) == control)
                return moveFocus(form, field);
    }
    return false;
}

void Input::type(TextBox& box, const std::wstring& text) {
    if (!box.form.takesInput() || !box.canTakeFocus() || !moveFocus(box.form, &box)) return;
    box.Text = text;
}

void Input::type(ComboBox& box, const std::wstring& text) {
    if (!box.form.takesInput() || !box.canTakeFocus() || !moveFocus(box.form, &box)) return;
    if (box.KeyDown) box.KeyDown();
    if (!box.Locked) box.Text = text;
    if (box.KeyUp) box.KeyUp();
}

void Input::choose(ComboBox& box, const std::wstring& entry) {
    if (!box.form.takesInput() || !box.canTakeFocus() || !moveFocus(box.form, &box)) return;
    box.Text = entry;
    if (box.Click) box.Click();
}

Control* Input::hitTest(const Form& form, double x, double y) {
    for (auto it = form.all.rbegin(); it != form.all.rend(); ++it) {
        Control* control = *it;
        if (!control->isShown() || !hasMouse(control)) continue;
        const Place place = platform::placeOnForm(*control);
        if (x >= place.x && x < place.x + place.width && y >= place.y && y < place.y + place.height) return control;
    }
    return nullptr;
}
