#pragma once

#include <string_view>

namespace updater {

/// True if the bytes are a whole 32-bit Windows program with windows: its headers stand as the format has them, and all
/// that they speak of is there. (PE Format: https://learn.microsoft.com/windows/win32/debug/pe-format)
bool isProgram(std::string_view bytes);

} // namespace updater
