#include "api/accountSettings.h"

#include "api/CVHAPI.h"
#include "core/Endpoints.h"
#include "core/modRegistry.h"
#include "state/modGlobals.h"

namespace {

const std::wstring application{ProductName};

/// Section of the automatic login, the one thing that does not belong to an account.
const std::wstring loginSection = L"Velvet Harbor";

std::wstring accountSection() { return application + L" - " + gAPI->apiUsername; }

} // namespace

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
