#pragma once

#include "platform/Toolkit.h"

/// The desktop's side of the toolkit. Each desktop implements these; Toolkit.cpp alone calls them.
namespace platform {

/// Makes the window, hidden, with all its controls. The form calls back through Input.h and its own events.
void formLoaded(Form& form);

/// Destroys the window. Nothing is raised from it any more.
void formUnloaded(Form& form);

void formChanged(Form& form, Aspect aspect);
void controlChanged(Control& control, Aspect aspect);

/// The form's activeControl() has moved.
void focusChanged(Form& form);

/// Brings the window to the front of the program's windows, active.
void activate(Form& form);

/// Whether the person may use the window has changed (takesInput()), or its owner.
void inputChanged(Form& form);

/// Absolute place of a control on its form, in design pixels.
Place placeOnForm(const Control& control);

WindowHandle windowOf(const Form& form);
std::uint32_t smallIconOf(const Form& form);

/// Shows the visible entries at the mouse pointer until one is chosen or the menu is dismissed (null).
MenuEntry* trackMenu(Form& form, const std::vector<MenuEntry*>& entries, const MenuEntry* defaultEntry);

} // namespace platform
