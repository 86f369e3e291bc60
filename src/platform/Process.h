#pragma once

#include <string>

namespace platform {

/// From now on no library is loaded from the current folder. Call it first of all.
void leaveCurrentFolderOut();

/// True if another process of this program was running for this user's session when it was first asked.
bool previousInstance();

/// The folder of the running program, without a trailing backslash.
std::wstring programFolder();

/// Ends the process at once with exit code 0: no window is unloaded, no handler runs, no destructor of a global.
/// (The headless desktop throws headless::ProcessEnded to the test instead.)
[[noreturn]] void endProcess();

} // namespace platform
