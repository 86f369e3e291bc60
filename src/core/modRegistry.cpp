#include "core/modRegistry.h"

#include "api/CVHAPI.h"
#include "core/Endpoints.h"
#include "core/modGlobals.h"
#include "platform/Registry.h"
#include "platform/Text.h"

namespace {

const std::wstring application{ProductName};

std::wstring keyPath(const std::wstring& app, const std::wstring& section) {
    return L"Software\\" + app + L"\\" + section + L"\\";
}

} // namespace

std::wstring accountSection() { return application + L" - " + gAPI->apiUsername; }

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

void saveLogin(const std::wstring& username, const std::wstring& passwordHash) {
    saveSetting(application, loginSection, L"SavedUsername", username);
    saveSetting(application, loginSection, L"SavedPassword", passwordHash);
}

void forgetLogin() { saveLogin({}, {}); }

std::wstring getLoginSetting(const std::wstring& key) { return getSetting(application, loginSection, key, {}); }

std::wstring getAccountSetting(const std::wstring& key, const std::wstring& defaultValue) {
    return getSetting(application, accountSection(), key, defaultValue);
}

void saveAccountSetting(const std::wstring& key, const std::wstring& value) {
    saveSetting(application, accountSection(), key, value);
}
