#include "platform/Registry.h"

#include "platform/Text.h"
#include "platform/headless/Kill.h"
#include "platform/headless/State.h"

namespace {

/// As the name arrives through an ANSI call.
std::wstring throughAnsi(const std::wstring& text) { return platform::fromAnsi(platform::toAnsi(text)); }

std::pair<std::wstring, std::wstring> keyOf(std::wstring path, const std::wstring& name) {
    if (path.ends_with(L'\\')) path.pop_back();
    return {throughAnsi(path), throughAnsi(name)};
}

} // namespace

namespace platform {

std::optional<RegistryValue> queryRegistryValue(std::uint32_t hive, const std::wstring& path,
                                                const std::wstring& name) {
    if (hive != hkeyCurrentUser) return std::nullopt;
    const auto found = headless::registry().find(keyOf(path, name));
    if (found == headless::registry().end()) return std::nullopt;
    return found->second;
}

void setRegistryValue(std::uint32_t hive, const std::wstring& path, const std::wstring& name, std::uint32_t type,
                      const std::string& data) {
    headless::touch();
    if (hive == hkeyCurrentUser && !headless::wasKilled()) headless::registry()[keyOf(path, name)] = {type, data};
}

} // namespace platform
