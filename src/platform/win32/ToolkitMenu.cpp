#include <utility>

#include "platform/ToolkitPeer.h"
#include "platform/win32/ToolkitWindow.h"

// The popup menu.

namespace platform {

namespace {

/// The window that the menu belongs to while it is open. It goes with the menu, and takes it along: a menu that is told
/// to end keeps the mouse until its loop is reached again, which may lie below another one.
HWND menuOwner = nullptr;

} // namespace

void endMenu() {
    if (!menuOwner) return;
    EndMenu();
    DestroyWindow(std::exchange(menuOwner, nullptr));
}

MenuEntry* trackMenu(Form& form, const std::vector<MenuEntry*>& entries, const MenuEntry* defaultEntry) {
    const auto shown = win32::windowOfForm(form);
    if (!shown || menuOwner) return nullptr; // the system has one menu at a time, and keeps the first
    const HMENU menu = CreatePopupMenu();
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const MenuEntry& entry = *entries[i];
        const UINT id = static_cast<UINT>(i) + 1; // 0 is the answer for none
        if (!entry.Visible) continue;
        if (entry.Caption == L"-")
            AppendMenuW(menu, MF_SEPARATOR, id, nullptr);
        else
            AppendMenuW(menu, MF_STRING | (entry.Enabled ? MF_ENABLED : MF_GRAYED), id, entry.Caption.c_str());
        if (&entry == defaultEntry) SetMenuDefaultItem(menu, id, FALSE);
    }
    POINT at;
    GetCursorPos(&at);
    const UINT side = GetSystemMetrics(SM_MENUDROPALIGNMENT) ? TPM_RIGHTALIGN : TPM_LEFTALIGN;
    const HWND window = shown->window;
    const HWND owner = CreateWindowExW(WS_EX_TOOLWINDOW, L"STATIC", nullptr, WS_POPUP, 0, 0, 0, 0, window, nullptr,
                                       GetModuleHandleW(nullptr), nullptr);
    menuOwner = owner;
    auto chosen = static_cast<std::size_t>(
        TrackPopupMenu(menu, TPM_RETURNCMD | TPM_RIGHTBUTTON | side, at.x, at.y, 0, owner, nullptr));
    if (menuOwner == owner)
        DestroyWindow(std::exchange(menuOwner, nullptr));
    else
        chosen = 0; // ended by what came meanwhile
    // Without a message after it, the next menu of a window behind others closes at once (TrackPopupMenu, Remarks).
    PostMessageW(window, WM_NULL, 0, 0);
    DestroyMenu(menu);
    return chosen == 0 ? nullptr : entries[chosen - 1];
}

} // namespace platform
