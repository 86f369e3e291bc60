#include "platform/Desktop.h"

#include <windows.h>

#include "platform/win32/Handles.h"
#include "platform/win32/ToolkitWindow.h"

namespace platform {

Size screenSize() {
    // The metrics of a window's scaling lie after the scaling was changed; the display mode does not.
    DEVMODEW mode{};
    mode.dmSize = sizeof mode;
    if (EnumDisplaySettingsW(nullptr, ENUM_CURRENT_SETTINGS, &mode) && mode.dmPelsWidth > 0 && mode.dmPelsHeight > 0)
        return {static_cast<std::int32_t>(mode.dmPelsWidth), static_cast<std::int32_t>(mode.dmPelsHeight)};
    return {GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)};
}

std::int32_t screenDpi() {
    static const std::int32_t dpi = [] {
        const HDC screen = GetDC(nullptr);
        const int value = GetDeviceCaps(screen, LOGPIXELSX);
        ReleaseDC(nullptr, screen);
        return value > 0 ? value : USER_DEFAULT_SCREEN_DPI;
    }();
    return dpi;
}

Rect workArea() {
    RECT area{};
    SystemParametersInfoW(SPI_GETWORKAREA, 0, &area, 0);
    return {area.left, area.top, area.right, area.bottom};
}

std::optional<Point> cursorPosition() {
    POINT point;
    if (!GetCursorPos(&point)) return std::nullopt;
    return Point{point.x, point.y};
}

bool setWallpaper(const std::wstring& path, std::uint32_t flags) {
    std::wstring buffer = path;
    return SystemParametersInfoW(SPI_SETDESKWALLPAPER, 0, buffer.data(), flags) != 0;
}

void setWindowPos(WindowHandle window, std::int32_t insertAfter, std::uint32_t flags) {
    SetWindowPos(win32::toHwnd(window), reinterpret_cast<HWND>(static_cast<std::intptr_t>(insertAfter)), 0, 0, 0, 0,
                 flags);
}

void setForegroundWindow(WindowHandle window) {
    const auto shown = win32::formWindowAt(win32::toHwnd(window));
    if (shown && asking::blocks(shown->form))
        asking::bringForward();
    else
        SetForegroundWindow(win32::toHwnd(window));
}

} // namespace platform
