#include "Registration.h"

#include <windows.h>

namespace updater {

void tellInstalledVersion(const std::wstring& folder, const std::wstring& version, std::size_t size) {
    constexpr auto name = L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Quillory";
    for (const HKEY root : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
        HKEY key = nullptr;
        if (RegOpenKeyExW(root, name, 0, KEY_QUERY_VALUE | KEY_SET_VALUE, &key) != ERROR_SUCCESS) continue;
        wchar_t location[1024] = L"";
        DWORD length = sizeof location;
        RegGetValueW(key, nullptr, L"InstallLocation", RRF_RT_REG_SZ, nullptr, location, &length);
        if (CompareStringOrdinal(location, -1, folder.c_str(), -1, TRUE) == CSTR_EQUAL) {
            const auto kilobytes = static_cast<DWORD>((size + 1023) / 1024);
            RegSetValueExW(key, L"DisplayVersion", 0, REG_SZ, reinterpret_cast<const BYTE*>(version.c_str()),
                           static_cast<DWORD>(sizeof(wchar_t)) * static_cast<DWORD>(version.size() + 1));
            RegSetValueExW(key, L"EstimatedSize", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&kilobytes),
                           sizeof kilobytes);
        }
        RegCloseKey(key);
    }
}

} // namespace updater
