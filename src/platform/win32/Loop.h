#pragma once

#include <windows.h>

/// What the toolkit's peer adds to the message loop.
namespace platform::win32 {

/// Shows each message taken from the queue to `filter` first (a MSG*): where it returns true, the message is dealt
/// with. Null for no filter.
void setMessageFilter(bool (*filter)(void* message));

/// While one lives, the thread waits in the midst of something, and answers what other programs send it.
class Waiting {
public:
    Waiting() { ++count; }
    ~Waiting() { --count; }
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;
    static bool now() { return count > 0; }

private:
    static inline int count = 0;
};

/// True if the message has been put into the queue instead: one that says what a person does, and came while Waiting
/// lives. The shell sends the events of the tray's icon, and a program can send clicks, keys and a close request. Each
/// could open a menu or a question there, whose loop lets everything in.
bool waitsForItsTurn(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

/// True once the program has dispatched a message.
bool isRunning();

} // namespace platform::win32
