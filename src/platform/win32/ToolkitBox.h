#pragma once

#include <windows.h>

namespace platform::win32 {

/// The window of the message box that came last; null if there is none, or not yet.
HWND lastBox();

/// Lets boxes stand without this window, which is about to be hidden or destroyed.
void disownBoxes(HWND owner);

/// The keys of a message box that is up, while another loop than its own takes the messages.
bool filterBoxKeys(MSG& message);

/// Where the keyboard goes when a window leaves that has it: to what waits for an answer, to `former` if it can be
/// seen, or to the front one of the forms. Null if there is none.
HWND windowToReturnTo(HWND leaving, HWND former);

/// Makes a window known in the taskbar that has come without the keyboard.
void announce(HWND window);

} // namespace platform::win32
