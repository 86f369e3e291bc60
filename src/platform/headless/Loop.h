#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "platform/Messages.h"

/// The headless desktop's message loop as a test sees it: a queue, a clock that only the test turns, and a person whose
/// answers to message boxes are given beforehand.
namespace headless {

/// Thrown by platform::endProcess in place of ending the test program. No trap of the program may swallow it, so it is
/// no std::exception.
struct ProcessEnded {};

/// A test would wait for ever: nothing is queued, no socket or lookup can report, no script is left to go on.
struct Stuck {};

/// Forgets messages, windows, timers, boxes and answers. Every test begins with it.
void resetLoop();

/// Puts something into the queue, behind what is waiting. May be called from any thread.
void post(std::function<void()> action);

/// The same as a message for a hidden window; it is lost if the window is gone when its turn comes.
void postMessage(platform::WindowHandle window, std::uint32_t message, std::uint32_t wParam, std::int32_t lParam);

/// While true, no hidden window can be made.
extern bool refuseWindows;

/// Asked, in the order added, when the queue is empty: may post messages (sockets that became ready), waiting up to
/// `milliseconds` of real time for something to happen. Returns false if nothing can come from it any more.
using MessageSource = std::function<bool(int milliseconds)>;
void addMessageSource(MessageSource source);

/// Turns the clock forward; timers that come due fire in the order of their times, with the queue pumped after each.
void advance(std::uint32_t milliseconds);

/// Pumps until `done` holds, letting sources work, for at most `milliseconds` of real time. Returns done().
bool pumpUntil(const std::function<bool()>& done, int milliseconds = 30000);

struct ShownBox {
    std::wstring text;
    std::int32_t style;
    std::wstring title;
};

/// All message boxes so far.
extern std::vector<ShownBox> boxes;

/// Buttons for the boxes to come; a box without an answer gets OK, or Yes where there is no OK.
extern std::deque<std::int32_t> answers;

/// Called while a box is up, before it is answered; empty for nobody.
extern std::function<void(const ShownBox&)> whileBoxIsUp;

/// What an event handler let out into the loop goes to the program's escape handler; without one it is thrown to the
/// test.

} // namespace headless
