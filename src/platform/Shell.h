#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/Messages.h"

/// The shell: the data folder's parent, opening links and programs, the notification area.
namespace platform {

/// The user's application data folder (SHGetFolderPath, folder 26), without a trailing backslash, cut at the first
/// NUL; empty if the shell gives none.
std::wstring applicationDataFolder(WindowHandle owner);

/// ShellExecute; the platform's result, above 32 for success.
std::int32_t shellExecute(WindowHandle owner, const std::wstring& operation, const std::wstring& target,
                          const std::wstring& parameters, const std::wstring& directory, std::int32_t showCommand);

/// The shell's NOTIFYICONDATAA record in its first, 88-byte layout.
struct NotifyIconData {
    std::uint32_t cbSize = 0;
    std::uint32_t hWnd = 0;
    std::uint32_t uID = 0;
    std::uint32_t uFlags = 0;
    std::uint32_t uCallbackMessage = 0;
    std::uint32_t hIcon = 0;
    char szTip[64] = {};
};
static_assert(sizeof(NotifyIconData) == 88);

inline constexpr std::uint32_t nimAdd = 0;
inline constexpr std::uint32_t nimModify = 1;
inline constexpr std::uint32_t nimDelete = 2;

/// Shell_NotifyIconA. The record's uCallbackMessage reaches the window hWnd for each mouse event over the icon, with
/// uID as wParam and the mouse event's own message number as lParam. True if the shell took it.
bool notifyIcon(std::uint32_t message, const NotifyIconData& record);

/// Calls `callback` whenever the shell has made its taskbar anew, without the icons that were there before ("The
/// Taskbar", TaskbarCreated). It reaches the program while a form is loaded. One callback; the last one given holds.
void onTaskbarCreated(std::function<void()> callback);

} // namespace platform
