#pragma once

#include "platform/Toolkit.h"

/// The desktop's side of the toolkit. Each desktop implements these; Toolkit.cpp alone calls them.
namespace platform {

/// Makes the window, hidden; its controls at the latest when it is shown. The form calls back through Input.h and its own
/// events.
void formLoaded(Form& form);

/// Destroys the window. Nothing is raised from it any more.
void formUnloaded(Form& form);

void formChanged(Form& form, Aspect aspect);
void controlChanged(Control& control, Aspect aspect);

/// The form's activeControl() has moved.
void focusChanged(Form& form);

/// Brings the window to the front of the program's windows, active or, without the keyboard, only shown in the taskbar.
void activate(Form& form, bool withKeyboard);

/// Whether the person may use the window may have changed (takesInput()), or its owner.
void inputChanged(Form& form);

/// Shows a message box and returns its button. `gone` is told the button as soon as it is pressed, before the box
/// leaves the screen: a loop that runs on top of the box's own may keep the call from returning for long.
std::int32_t showBox(const std::wstring& text, std::int32_t style, const std::wstring& title,
                     const std::function<void(std::int32_t)>& gone);

/// Which of the boxes that are up takes input may have changed: the one that is asking::last(), or none.
void boxInputChanged();

/// As activate(), for the box that came last.
void activateBox(bool withKeyboard);

/// True if the keyboard is the program's, and before its first message: whoever starts a program means to use it.
bool hasKeyboard();

/// Ends a menu that is open, without a choice.
void endMenu();

/// Absolute place of a control on its form, in design pixels.
Place placeOnForm(const Control& control);

WindowHandle windowOf(const Form& form);
std::uint32_t smallIconOf(const Form& form);

/// Shows the visible entries at the mouse pointer until one is chosen or the menu is dismissed (null).
MenuEntry* trackMenu(Form& form, const std::vector<MenuEntry*>& entries, const MenuEntry* defaultEntry);

} // namespace platform
