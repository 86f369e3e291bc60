#pragma once

#include <functional>
#include <vector>

#include "platform/Toolkit.h"

/// Windows on the headless desktop: no peer at all, the controls' values are everything. What would need a person or a
/// screen is asked from the test.
namespace headless {

/// Chooses from an open menu: the entry, or null to dismiss it. Empty: menus are dismissed.
extern std::function<MenuEntry*(const std::vector<MenuEntry*>&)> chooseFromMenu;
extern const MenuEntry* menuDefault; // of the last menu that was opened

/// Forms brought to the front with the keyboard, by name, in order.
extern std::vector<std::wstring> activated;

/// The window that lies above the others: a form's name or a box's title; empty for none. Notices do not count.
std::wstring inFront();

/// False while the person is at another program.
extern bool programHasKeyboard;

/// What the program does when the shell has started again; empty if it asked for nothing.
extern std::function<void()> taskbarCreated;

/// The form whose window has this handle; null if it is gone.
Form* formOf(platform::WindowHandle window);

void resetToolkit();

} // namespace headless
