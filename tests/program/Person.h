#pragma once

#include <cstdint>
#include <functional>

/// What tests of the whole program need of the desktop that they run on.
namespace person {

/// Lets what is under way come to its end: for showing that something does not happen.
void settle();

/// Runs something from the message loop, behind what is waiting.
void later(std::function<void()> action, int milliseconds = 0);

/// Forgets all that was to run later.
void forgetWhatIsDue();

/// Runs something from the message loop as soon as `holds` does: for a person before a modal window, whose loop does
/// not return to the test.
void once(std::function<bool()> holds, std::function<void()> action);

/// The port that the site shall listen on, 0 for any, and where it does: the program's way to port 80 leads there.
std::int32_t sitePort();
void siteListens(std::int32_t port);

} // namespace person
