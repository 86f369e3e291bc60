#pragma once

#include <cstddef>

/// The end of the process at a moment of the test's choice, and the desktop as the next process finds it.
namespace headless {

/// The process is killed at the Nth call from now on, 1 for the next, that touches what outlives it: files, registry,
/// wallpaper, other programs. The call, of a write its second half, is not carried out, ProcessEnded is thrown, and
/// what destructors do afterwards touches nothing any more. 0 for no call.
void killAtCall(std::size_t n);
bool wasKilled();

/// What such a call begins with. True at the one that the kill comes in, and behind it: for those that can stop
/// halfway.
bool isKilledHere();
void touch(); // the same for the others, with the throw

/// Forgets all but disk, registry, wallpaper and what was started.
void nextProcess();

/// Closes the files, forgets their failures. A part of nextProcess().
void closeFiles();

} // namespace headless
