#pragma once

#include <string>

#include "Handle.h"

namespace updater {

/// Waits until Quillory has ended, and then keeps it from starting for as long as the result is held; an empty result
/// if it has not ended in time (milliseconds).
Handle keepQuilloryOut(DWORD patience);

/// Waits until no process runs from a program's file, in any session; false if one still does after that time.
bool waitUntilEnded(const std::wstring& program, DWORD patience);

} // namespace updater
