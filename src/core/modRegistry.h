#pragma once

#include <cstdint>
#include <string>

/// The settings: texts in the current user's registry, addressed by application, section and key. Nothing is cached and
/// nothing is reported: what cannot be read is the default, what cannot be written is lost.

/// Section of the automatic login, the one thing that does not belong to an account.
inline const std::wstring loginSection = L"Velvet Harbor";

/// Saves the pair that an automatic login uses; forgetting means saving it empty.
void saveLogin(const std::wstring& username, const std::wstring& passwordHash);
void forgetLogin();
std::wstring getLoginSetting(const std::wstring& key);

/// Section of the account that is logged in.
std::wstring accountSection();

std::wstring getSetting(const std::wstring& application, const std::wstring& section, const std::wstring& key,
                        const std::wstring& defaultValue);
void saveSetting(const std::wstring& application, const std::wstring& section, const std::wstring& key,
                 const std::wstring& value);

/// The text of a REG_SZ value up to its first NUL; the default for a missing value or one of another type. A value that
/// is there and empty reads as empty.
std::wstring readRegistryString(std::uint32_t hive, const std::wstring& path, const std::wstring& key,
                                const std::wstring& defaultValue);

/// Stores a REG_SZ value of exactly as many bytes as the text has characters, without a terminating NUL.
void writeRegistryString(std::uint32_t hive, const std::wstring& path, const std::wstring& key,
                         const std::wstring& value);

/// The two calls as the program uses them: its own product name, and the account's section.
std::wstring getAccountSetting(const std::wstring& key, const std::wstring& defaultValue);
void saveAccountSetting(const std::wstring& key, const std::wstring& value);
