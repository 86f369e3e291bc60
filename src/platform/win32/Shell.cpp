#include "platform/Shell.h"

#include <windows.h>

#include <shellapi.h>
#include <shlobj.h>

#include "platform/win32/Com.h"
#include "platform/win32/Handles.h"

using platform::win32::toHwnd;

namespace platform {

std::wstring applicationDataFolder(WindowHandle owner) {
    wchar_t folder[MAX_PATH] = {};
    if (FAILED(SHGetFolderPathW(toHwnd(owner), CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder))) return {};
    std::wstring path = folder;
    if (path.ends_with(L'\\')) path.pop_back();
    return path;
}

std::int32_t shellExecute(WindowHandle owner, const std::wstring& operation, const std::wstring& target,
                          const std::wstring& parameters, const std::wstring& directory, std::int32_t showCommand) {
    win32::useCom(); // handlers of links may be COM objects
    const HINSTANCE result = ShellExecuteW(toHwnd(owner), operation.c_str(), target.c_str(),
                                           parameters.empty() ? nullptr : parameters.c_str(),
                                           directory.empty() ? nullptr : directory.c_str(), showCommand);
    return static_cast<std::int32_t>(reinterpret_cast<std::intptr_t>(result));
}

bool notifyIcon(std::uint32_t message, const NotifyIconData& record) {
    static_assert(sizeof(NotifyIconData) == NOTIFYICONDATAA_V1_SIZE);
    NOTIFYICONDATAA data{};
    CopyMemory(&data, &record, sizeof record);
    return Shell_NotifyIconA(message, &data) != 0;
}

} // namespace platform
