#include "core/modRegistry.h"

#include "platform/Registry.h"
#include "platform/Text.h"

namespace {

std::wstring keyPath(const std::wstring& app, const std::wstring& section) {
    return L"Software\\" + app + L"\\" + section + L"\\";
}

} // namespace

std::wstring getSetting(const std::wstring& app, const std::wstring& section, const std::wstring& key,
                        const std::wstring& defaultValue) {
    return readRegistryString(platform::hkeyCurrentUser, keyPath(app, section), key, defaultValue);
}

void saveSetting(const std::wstring& app, const std::wstring& section, const std::wstring& key,
                 const std::wstring& value) {
    writeRegistryString(platform::hkeyCurrentUser, keyPath(app, section), key, value);
}

std::wstring readRegistryString(std::uint32_t hive, const std::wstring& path, const std::wstring& key,
                                const std::wstring& defaultValue) {
    const auto value = platform::queryRegistryValue(hive, path, key);
    if (!value || value->type != platform::regSz) return defaultValue;
    return platform::fromAnsi(value->data.substr(0, value->data.find('\0')));
}

void writeRegistryString(std::uint32_t hive, const std::wstring& path, const std::wstring& key,
                         const std::wstring& value) {
    // The size is a count of characters: where the code page takes more than one byte for some, the end is cut.
    platform::setRegistryValue(hive, path, key, platform::regSz, platform::toAnsi(value).substr(0, value.size()));
}
