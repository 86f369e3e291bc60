#pragma once

/// What the toolkit's peer adds to the message loop.
namespace platform::win32 {

/// Shows each message taken from the queue to `filter` first (a MSG*): where it returns true, the message is dealt
/// with. Null for no filter.
void setMessageFilter(bool (*filter)(void* message));

/// True once the program has dispatched a message.
bool isRunning();

} // namespace platform::win32
