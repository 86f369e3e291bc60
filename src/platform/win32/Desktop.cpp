#include "platform/Desktop.h"

#include <windows.h>

#include "platform/win32/Density.h"
#include "platform/win32/Handles.h"
#include "platform/win32/Loop.h"
#include "platform/win32/ToolkitWindow.h"

namespace platform {

Size screenSize() {
    MONITORINFOEXW primary{};
    primary.cbSize = sizeof primary;
    GetMonitorInfoW(MonitorFromPoint({0, 0}, MONITOR_DEFAULTTOPRIMARY), &primary);
    // The metrics of windows lie where the system scales them; the display mode does not.
    DEVMODEW mode{};
    mode.dmSize = sizeof mode;
    const bool known = EnumDisplaySettingsW(primary.szDevice[0] ? primary.szDevice : nullptr, ENUM_CURRENT_SETTINGS,
                                            &mode) != 0;
    if (!known || mode.dmPelsWidth == 0 || mode.dmPelsHeight == 0) return desktopSize();
    return {static_cast<std::int32_t>(mode.dmPelsWidth), static_cast<std::int32_t>(mode.dmPelsHeight)};
}

Size desktopSize() { return {GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)}; }

std::int32_t screenDpi() { return win32::primaryDpi(); }

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
    const win32::Waiting here; // for each program that is told of it
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
