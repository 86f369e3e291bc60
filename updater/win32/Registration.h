#pragma once

#include <string>

namespace updater {

/// Brings the system's list of programs up to the version that is installed in a folder, and its size in bytes; where
/// no entry is for that folder, nothing happens.
void tellInstalledVersion(const std::wstring& folder, const std::wstring& version, std::size_t size);

} // namespace updater
