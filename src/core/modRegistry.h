#pragma once

#include <cstdint>
#include <string>

/// The settings: texts in the current user's registry, addressed by application, section and key. Nothing is cached and
/// nothing is reported: what cannot be read is the default, what cannot be written is lost.

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
