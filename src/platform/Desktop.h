#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/Messages.h"

/// The desktop: screen, work area, cursor, wallpaper, and where a window stands among the others. All in pixels.
namespace platform {

struct Size {
    std::int32_t width;
    std::int32_t height;
};
struct Point {
    std::int32_t x;
    std::int32_t y;
    friend bool operator==(const Point&, const Point&) = default;
};
struct Rect {
    std::int32_t left;
    std::int32_t top;
    std::int32_t right;
    std::int32_t bottom;
};

/// Size of the primary screen in its own pixels, for which pictures are made, whatever the scaling of windows.
Size screenSize();

/// Size of the primary screen in the pixels in which windows and the work area stand. The same as screenSize(), unless
/// the system scales the windows itself.
Size desktopSize();

/// Pixels per logical inch of the primary screen, now: 96 at 100 %.
std::int32_t screenDpi();

/// The screen less the taskbar (SystemParametersInfo, action 48).
Rect workArea();

/// Nothing while the platform does not tell, as on a locked desktop.
std::optional<Point> cursorPosition();

/// Makes the bitmap file the desktop's wallpaper at once (SystemParametersInfo, action 20, parameter 0). `flags`: 1
/// updates the user's profile, 2 tells all windows. True on success.
bool setWallpaper(const std::wstring& path, std::uint32_t flags);

/// SetWindowPos with position and size 0. `insertAfter`: -1 topmost, -2 not topmost; `flags`: SWP_ bits.
void setWindowPos(WindowHandle window, std::int32_t insertAfter, std::uint32_t flags);

/// Asks for the foreground; the platform may refuse.
void setForegroundWindow(WindowHandle window);

} // namespace platform
