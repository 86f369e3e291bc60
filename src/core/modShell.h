#pragma once

#include <cstdint>
#include <string>

/// Opens or starts `target` through the shell; True if the shell did.
bool shellOpen(const std::wstring& target, const std::wstring& operation, const std::wstring& parameters,
               const std::wstring& directory, std::int32_t showCommand);

/// A page in the user's browser.
void openLink(const std::wstring& url);
