#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// Values in the registry, as the ANSI calls RegQueryValueExA and RegSetValueExA see them.
namespace platform {

inline constexpr std::uint32_t hkeyCurrentUser = 0x80000001u;
inline constexpr std::uint32_t regSz = 1; // REG_SZ

struct RegistryValue {
    std::uint32_t type = 0; // REG_SZ and so on
    std::string data;   // exactly the stored bytes, a terminating NUL included if one was stored
};

/// The value `name` under the key `path` (backslashes between levels; one at the end is allowed), or nothing if key or
/// value is missing or cannot be read. The key is not created.
std::optional<RegistryValue> queryRegistryValue(std::uint32_t hive, const std::wstring& path, const std::wstring& name);

/// Stores the value, making all missing levels of the key. `data` is stored as it is: no NUL is added. A failure is
/// not reported.
void setRegistryValue(std::uint32_t hive, const std::wstring& path, const std::wstring& name, std::uint32_t type,
                      const std::string& data);

} // namespace platform
