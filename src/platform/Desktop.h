#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/Messages.h"

/// The desktop: screen, work area, cursor, wallpaper, and where a window stands among the others. All in real pixels.
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

/// Pixel size of the primary screen, whatever the scaling of the windows.
Size screenSize();

/// Pixels per logical inch, 96 for a screen at 100 %. Fixed for the life of the process.
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
