#pragma once

#include <string>

#include "Handle.h"

namespace updater {

/// The title of the updater's message boxes.
inline constexpr wchar_t boxTitle[] = L"Quillory Update";

/// Waits until Quillory has ended, and then keeps it from starting for as long as the result is held; an empty result
/// if it has not ended in time (milliseconds).
Handle keepQuilloryOut(DWORD patience);

/// Waits until no process runs from a program's file, in any session; false if one still does after that time.
bool waitUntilEnded(const std::wstring& program, DWORD patience);

/// Waits until Quillory runs from a file and has taken its place as the one that runs; false if that does not happen in
/// time, or it ends again at once.
bool waitUntilUp(const std::wstring& program, DWORD patience);

/// Ends what runs from a program's file.
void endAll(const std::wstring& program);

/// Closes the message boxes that earlier updates have left open, since they hold the updater's files.
void closeLeftBoxes();

} // namespace updater
