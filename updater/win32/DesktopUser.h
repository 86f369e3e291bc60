#pragma once

#include <string>

namespace updater {

/// The person at the desktop. An administrator's consent may have started the updater under another account, and in any
/// case with more rights than Quillory is to have; the desktop's shell knows who the person is.

/// The person's application data folder, without a backslash at its end; the updater's own if there is no shell to
/// tell.
std::wstring applicationDataFolder();

/// Starts a program as the person does, without the updater's rights. Where there is no shell to lend its rights, or
/// the updater has no more of them itself, the program starts with the updater's. Throws std::system_error.
void startAsPerson(const std::wstring& program);

/// Starts a program with the updater's rights. Throws std::system_error.
void startAsUpdater(const std::wstring& program, const std::wstring& argument);

} // namespace updater
