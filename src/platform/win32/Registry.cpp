#include "platform/Registry.h"

#include <windows.h>

#include "platform/Text.h"

namespace {

HKEY toHkey(std::uint32_t hive) { return reinterpret_cast<HKEY>(static_cast<std::uintptr_t>(hive)); }

} // namespace

namespace platform {

std::optional<RegistryValue> queryRegistryValue(std::uint32_t hive, const std::wstring& path,
                                                const std::wstring& name) {
    HKEY key = nullptr;
    if (RegOpenKeyA(toHkey(hive), toAnsi(path).c_str(), &key) != ERROR_SUCCESS) return std::nullopt;
    const std::string ansiName = toAnsi(name);
    DWORD type = 0;
    DWORD size = 0;
    LSTATUS status = RegQueryValueExA(key, ansiName.c_str(), nullptr, &type, nullptr, &size);
    RegistryValue value{type, std::string(size, ' ')};
    if (status == ERROR_SUCCESS && size > 0) {
        status =
            RegQueryValueExA(key, ansiName.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(value.data.data()), &size);
        value.type = type;
        if (status == ERROR_SUCCESS) value.data.resize(size);
    }
    RegCloseKey(key);
    if (status != ERROR_SUCCESS) return std::nullopt;
    return value;
}

void setRegistryValue(std::uint32_t hive, const std::wstring& path, const std::wstring& name, std::uint32_t type,
                      const std::string& data) {
    HKEY key = nullptr;
    if (RegCreateKeyA(toHkey(hive), toAnsi(path).c_str(), &key) != ERROR_SUCCESS) return;
    // The call counts a NUL that stands behind a string, even outside of the size given; so something else stands
    // there.
    const std::string guardedData = data + ' ';
    RegSetValueExA(key, toAnsi(name).c_str(), 0, type, reinterpret_cast<const BYTE*>(guardedData.data()),
                   static_cast<DWORD>(data.size()));
    RegCloseKey(key);
}

} // namespace platform
