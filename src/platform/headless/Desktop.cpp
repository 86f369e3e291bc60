#include "platform/Desktop.h"

#include "platform/ToolkitPeer.h"
#include "platform/headless/Kill.h"
#include "platform/headless/State.h"
#include "platform/headless/Toolkit.h"

using headless::state;

namespace platform {

Size screenSize() { return state.screen; }

Size desktopSize() { return state.desktop.width > 0 ? state.desktop : state.screen; }

std::int32_t screenDpi() { return state.dpi; }

Rect workArea() { return state.workArea; }

std::optional<Point> cursorPosition() { return state.cursor; }

bool setWallpaper(const std::wstring& path, std::uint32_t flags) {
    headless::touch();
    state.wallpapers.push_back({path, flags});
    return state.wallpaperTaken;
}

void setWindowPos(WindowHandle window, std::int32_t insertAfter, std::uint32_t flags) {
    state.placed.push_back({window, insertAfter, flags});
}

void setForegroundWindow(WindowHandle window) {
    state.foreground.push_back(window);
    Form* const form = headless::formOf(window);
    if (form && asking::blocks(*form))
        asking::bringForward();
    else if (form)
        activate(*form, true);
}

} // namespace platform
