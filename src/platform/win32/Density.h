#pragma once

#include <windows.h>

/// Pixels per logical inch of screens and windows, 96 at 100 %. What only newer systems than Windows 7 tell is looked
/// up at run time; where they do not, all screens have the density that the system had at the logon.
namespace platform::win32 {

/// Of the primary screen, now.
int primaryDpi();

/// Of the screen that the window is on, as the system scales it.
int windowDpi(HWND window);

/// GetSystemMetrics at a density.
int metricAt(int metric, int dpi);

} // namespace platform::win32
