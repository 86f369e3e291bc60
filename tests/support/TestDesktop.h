#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/Messages.h"

/// The desktop that a test runs on, with what a test must be able to do to either: the headless one, or Windows.
///
/// On Windows a test leaves the user's things alone: the current user's registry hive is a key of the test program's
/// own, and the application data folder lies in the scratch folder.
namespace testDesktop {

/// Makes all new. Called before every test.
void reset();

/// Takes away what reset() has made, at the end of the test program.
void cleanUp();

/// An empty folder, without a backslash at the end.
std::wstring scratchFolder();

/// Writes a file of exactly these bytes.
void putFile(const std::wstring& path, const std::string& bytes);

/// Puts a message into the queue for a hidden window.
void postMessage(platform::WindowHandle window, std::uint32_t message, std::uint32_t wParam, std::int32_t lParam);

/// Lets time pass, with the message loop running: at once on the headless desktop, really on Windows.
void passTime(std::uint32_t milliseconds);

/// Runs the message loop until `done` holds, for at most `milliseconds` of real time. Returns done().
bool pumpUntil(const std::function<bool()>& done, int milliseconds = 30000);

/// The buttons for the message boxes to come; a box without an answer gets OK, or Yes. On Windows 0 leaves the box up,
/// for the test to answer by itself.
void answerBoxes(const std::vector<std::int32_t>& buttons);

struct ShownBox {
    std::wstring text;
    std::wstring title;
    std::int32_t style; // icon and buttons
    friend bool operator==(const ShownBox&, const ShownBox&) = default;
};

/// All message boxes since the test began.
std::vector<ShownBox> shownBoxes();

/// The file that is the desktop's wallpaper.
std::wstring wallpaper();

} // namespace testDesktop
