#include "platform/Shell.h"

#include "platform/headless/Kill.h"
#include "platform/headless/State.h"

using headless::state;

namespace platform {

std::wstring applicationDataFolder(WindowHandle) { return state.applicationData; }

std::int32_t shellExecute(WindowHandle owner, const std::wstring& operation, const std::wstring& target,
                          const std::wstring& parameters, const std::wstring& directory, std::int32_t showCommand) {
    headless::touch();
    state.started.push_back({owner, operation, target, parameters, directory, showCommand});
    return state.shellResult;
}

bool notifyIcon(std::uint32_t message, const NotifyIconData& record) {
    state.trayCalls.push_back({message, record});
    const bool adding = message == nimAdd;
    if (!state.notificationArea || adding == state.trayIcon.has_value()) return false;
    if (message == nimDelete)
        state.trayIcon.reset();
    else
        state.trayIcon = record;
    return true;
}

} // namespace platform
