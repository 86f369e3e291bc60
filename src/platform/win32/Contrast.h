#pragma once

#include <windows.h>

#include "platform/Toolkit.h"
#include "platform/win32/ToolkitArt.h"

/// A contrast theme of the system's, whose colours people have chosen because they cannot read others.
namespace platform::win32 {

/// One is on, or colours of the user's own have dark windows.
bool contrast();

/// Looks again whether one is on, when the system says that something of the kind has changed.
void contrastMayHaveChanged();

/// A colour of the system's, by its COLOR_ index.
Color systemColor(int index);

/// Draws a control that has no window of its own, in the theme's colours alone; art behind words is left out. `key` is
/// the letter of its words to underline, 0 for none.
void drawInContrast(Surface& onto, const RECT& place, const Control& control, const RECT& clip, int dpi, wchar_t key);

} // namespace platform::win32
