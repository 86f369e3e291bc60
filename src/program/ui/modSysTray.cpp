#include "ui/modSysTray.h"

#include <algorithm>
#include <cstring>

#include "core/Errors.h"
#include "platform/Text.h"
#include "platform/Toolkit.h"

platform::NotifyIconData gTrayIcon;

namespace {

constexpr std::uint32_t messageIconAndTip = 7;
constexpr std::uint32_t mouseMove = 512; // WM_MOUSEMOVE: the icon's events come as mouse moves of the hidden window

bool iconIsThere = false;

/// The shell forgets all icons when it restarts.
void putIconBack() {
    if (iconIsThere) platform::notifyIcon(platform::nimAdd, gTrayIcon);
}

} // namespace

void storeTip(const std::wstring& tip) {
    std::string bytes = platform::toAnsi(tip) + '\0';
    bytes.resize(sizeof gTrayIcon.szTip, ' ');
    std::memcpy(gTrayIcon.szTip, bytes.data(), sizeof gTrayIcon.szTip);
}

void CreateSystrayIcon(Form& form, const std::wstring& tip) {
    trapErrors(L"Function CreateSystrayIcon, modSysTray", [&] {
        gTrayIcon.cbSize = sizeof gTrayIcon;
        gTrayIcon.hWnd = form.hWnd();
        gTrayIcon.uID = 1;
        gTrayIcon.uFlags = messageIconAndTip;
        gTrayIcon.uCallbackMessage = mouseMove;
        gTrayIcon.hIcon = form.hIcon();
        storeTip(tip);
        platform::notifyIcon(platform::nimAdd, gTrayIcon);
        iconIsThere = true;
        platform::onTaskbarCreated(putIconBack);
    });
}

void RemoveSystrayIcon() {
    trapErrors(L"Function RemoveSystrayIcon, modSysTray", [] {
        platform::notifyIcon(platform::nimDelete, gTrayIcon);
        iconIsThere = false;
    });
}
