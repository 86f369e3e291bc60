#include "platform/Spoken.h"

#include <algorithm>

namespace platform {

namespace {

double right(const Control& control) { return control.Left + control.Width; }
double bottom(const Control& control) { return control.Top + control.Height; }

std::wstring actionOf(Role role) {
    switch (role) {
    case Role::button: return L"Press";
    case Role::closeMark: return L"Close";
    case Role::link: return L"Open";
    case Role::tab: return L"Switch";
    case Role::option: return L"Select";
    case Role::check: return L"Toggle";
    default: return {};
    }
}

std::wstring nameOf(const Control& control) {
    if (!control.name.empty()) return control.name;
    if (const auto* label = dynamic_cast<const Label*>(&control)) return label->Caption;
    if (const auto* picture = dynamic_cast<const PictureBox*>(&control)) return picture->Caption;
    if (const auto* option = dynamic_cast<const OptionButton*>(&control)) return option->Caption;
    if (const auto* check = dynamic_cast<const CheckBox*>(&control)) return check->Caption;
    const Label* const label = labelOf(control);
    return label ? label->Caption() : std::wstring{};
}

std::wstring valueOf(const Control& control) {
    if (const auto* box = dynamic_cast<const TextBox*>(&control)) return box->passwordChar ? L"" : box->Text();
    if (const auto* combo = dynamic_cast<const ComboBox*>(&control)) return combo->Text;
    return control.spokenValue();
}

} // namespace

Spoken spokenOf(const Control& control) {
    const auto* option = dynamic_cast<const OptionButton*>(&control);
    const auto* check = dynamic_cast<const CheckBox*>(&control);
    Spoken spoken;
    spoken.name = nameOf(control);
    spoken.value = valueOf(control);
    spoken.action = actionOf(control.role);
    spoken.shown = control.form.Visible && control.isShown();
    spoken.enabled = control.Enabled && control.form.takesInput();
    spoken.focusable = control.TabStop && control.canTakeFocus();
    spoken.focused = control.form.activeControl() == &control && spoken.focusable;
    spoken.selected = control.isSelected();
    spoken.checked = (option && option->Value) || (check && check->Value == 1);
    return spoken;
}

std::vector<Control*> spokenControls(const Form& form) {
    std::vector<Control*> speaking;
    std::ranges::copy_if(form.controls(), std::back_inserter(speaking), [](const Control* control) {
        return control->role != Role::art && control->role != Role::backdrop && control->role != Role::trough;
    });
    return speaking;
}

std::wstring spokenName(const Form& form) {
    if (!form.design.notice && !form.design.caption.empty()) return form.design.caption;
    for (const Control* control : form.controls())
        if (const auto* label = dynamic_cast<const Label*>(control)) return label->Caption;
    return {};
}

std::wstring spokenMessage(const Form& form) {
    if (!form.design.notice) return {};
    std::wstring message;
    for (const Control* control : form.controls())
        if (const auto* label = dynamic_cast<const Label*>(control)) message = label->Caption;
    return message;
}

const Label* labelOf(const Control& field) {
    const Label* beside = nullptr;
    const Label* above = nullptr;
    for (const Control* control : field.form.controls()) {
        const auto* label = dynamic_cast<const Label*>(control);
        if (!label || label->container != field.container) continue;
        const bool sameLine = label->Top < bottom(field) && bottom(*label) > field.Top;
        if (sameLine && right(*label) <= field.Left && (!beside || right(*label) > right(*beside))) beside = label;
        const bool over = bottom(*label) <= field.Top && label->Left <= field.Left && right(*label) > field.Left;
        if (over && (!above || bottom(*label) > bottom(*above))) above = label;
    }
    return beside ? beside : above;
}

} // namespace platform
