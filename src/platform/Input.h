#pragma once

#include <string>

#include "platform/Toolkit.h"

/// What a person does to the controls, with the rules that hold on every desktop: where the focus goes, who is asked
/// first, which event follows. The desktop's peer calls these for mouse and keyboard; a test calls them as the person.
struct Input {
    /// Moves the focus to `to` (null: to none). The control that has it is asked by Validate first. False if it stays.
    static bool moveFocus(Form& form, Control* to);

    /// A click or its equal from the keyboard: focus first, for what can have it, then the value, then Click.
    /// False if nothing was pressed: disabled, blocked, or the focus was kept by another control.
    static bool press(Control& control);

    /// The next or previous control in the tab order, wrapping; null if there is none.
    static Control* nextInTabOrder(const Form& form, const Control* from, bool backwards);

    /// The Return key: presses the form's default button, if it is enabled.
    static bool pressReturn(Form& form);

    /// The Escape key: presses what the form has for it.
    static bool pressEscape(Form& form);

    /// Alt and a letter: a click on the control that has it as its access key; for a label, the focus to its field.
    static bool pressAccessKey(Form& form, wchar_t letter);

    static void type(TextBox& box, const std::wstring& text);
    static void type(ComboBox& box, const std::wstring& text); // KeyDown, the change unless locked, KeyUp
    static void choose(ComboBox& box, const std::wstring& entry); // from the list: text, then Click

    /// The topmost windowless control with mouse behaviour at a point of the form, in design pixels; null for none.
    static Control* hitTest(const Form& form, double x, double y);
};
