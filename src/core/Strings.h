#pragma once

#include <string>
#include <vector>

using Strings = std::vector<std::wstring>;

inline const std::wstring crLf = L"\r\n";

/// The pieces between the separators; always at least one.
Strings split(const std::wstring& text, const std::wstring& separator);

std::wstring join(const Strings& pieces, const std::wstring& separator);
