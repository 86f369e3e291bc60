#pragma once

#include <string>

/// The settings as the program uses them, under its own product name: those of the account that is logged in, and the
/// pair that an automatic login uses.

std::wstring getAccountSetting(const std::wstring& key, const std::wstring& defaultValue);
void saveAccountSetting(const std::wstring& key, const std::wstring& value);

/// Saves the pair; forgetting means saving it empty.
void saveLogin(const std::wstring& username, const std::wstring& passwordHash);
void forgetLogin();
std::wstring getLoginSetting(const std::wstring& key);
