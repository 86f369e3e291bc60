#include "ui/modSysTray.h"

#include <algorithm>
#include <cstring>

#include "core/Errors.h"
#include "platform/Messages.h"
#include "platform/Text.h"
#include "platform/Toolkit.h"

platform::NotifyIconData gTrayIcon;

namespace {

constexpr std::uint32_t messageIconAndTip = 7;
constexpr std::uint32_t mouseMove = 512; // WM_MOUSEMOVE: the icon's events come as mouse moves of the hidden window

bool iconIsWanted = false;
std::uint32_t retryTimer = 0; // runs while the icon that is wanted is not there

void stopTrying() {
    if (retryTimer != 0) platform::stopTimer(retryTimer);
    retryTimer = 0;
}

/// A busy shell may refuse, or take the icon only after its call has given up on the answer: an icon that cannot be
/// added may be there already, which shows by its record being taken. Otherwise it is tried again until it stands.
void putIcon() {
    constexpr std::uint32_t milliseconds = 1000;
    if (platform::notifyIcon(platform::nimAdd, gTrayIcon) || platform::notifyIcon(platform::nimModify, gTrayIcon))
        stopTrying();
    else if (retryTimer == 0)
        retryTimer = platform::startTimer(milliseconds, putIcon);
}

/// The shell forgets all icons when it restarts.
void putIconBack() {
    if (iconIsWanted) putIcon();
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
        iconIsWanted = true;
        putIcon();
        platform::onTaskbarCreated(putIconBack);
    });
}

void RemoveSystrayIcon() {
    trapErrors(L"Function RemoveSystrayIcon, modSysTray", [] {
        iconIsWanted = false;
        stopTrying();
        platform::notifyIcon(platform::nimDelete, gTrayIcon);
    });
}
