#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <string>

/// The message loop and what lives by it: one thread, on which everything arrives. A handler may pump messages itself,
/// so every callback given here may be entered again before it has returned.
namespace platform {

using WindowHandle = std::uint32_t; // 0 for none

/// A window procedure for messages of a hidden window: window, message, wParam, lParam, as the platform numbers them.
using WindowProcedure =
    std::function<std::int32_t(WindowHandle, std::uint32_t message, std::uint32_t wParam, std::int32_t lParam)>;

/// Makes a window that is never shown: class "STATIC", no style, no parent. 0 if the platform refuses.
WindowHandle createHiddenWindow(const std::wstring& title);

/// False if the platform refuses. Messages still waiting for the window are lost with it.
bool destroyHiddenWindow(WindowHandle window);

/// Sends the window's messages to `procedure` in place of its own procedure.
void hookWindow(WindowHandle window, WindowProcedure procedure);

/// Hands a message on to the procedure that the window had before it was hooked.
std::int32_t callFormerProcedure(WindowHandle window, std::uint32_t message, std::uint32_t wParam, std::int32_t lParam);

/// Takes the hook away; the window must be destroyed next.
void unhookWindow(WindowHandle window);

/// Dispatches all messages that are waiting, and returns at once if there are none.
void pumpMessages();

/// Waits until at least one message is there, and dispatches it.
void waitMessages();

/// Does long work on a thread of its own, and returns when it is done. Meanwhile this one answers what other programs
/// send to the windows and paints those that are uncovered. What a person does, timers and the network's messages stay
/// in the queue, so that nothing else of the program begins until then. Raises what the work raises.
void workAside(const std::function<void()>& work);

/// Dispatches messages until the process ends.
void runMessageLoop();

/// Calls `callback` from the message loop every `milliseconds`, first after that time. Slower where the platform's
/// timer is coarser; firings that come while the thread is busy fold into one. Returns an id for stopTimer, never 0.
std::uint32_t startTimer(std::uint32_t milliseconds, std::function<void()> callback);
void stopTimer(std::uint32_t id);

namespace box { // the platform's MB_ style bits and results
inline constexpr std::int32_t ok = 0;
inline constexpr std::int32_t yesNo = 4;
inline constexpr std::int32_t critical = 16;
inline constexpr std::int32_t question = 32;
inline constexpr std::int32_t exclamation = 48;
inline constexpr std::int32_t information = 64;
inline constexpr std::int32_t notAsked = 0; // the same question is up already
inline constexpr std::int32_t resultOk = 1;
inline constexpr std::int32_t resultYes = 6;
inline constexpr std::int32_t resultNo = 7;
} // namespace box

/// Shows a message box and returns the button. Messages go on being dispatched meanwhile, so the call may return late:
/// `answered` is told the button at once. A box that is up already is brought forward instead, and notAsked returned.
std::int32_t messageBox(const std::wstring& text, std::int32_t style, const std::wstring& title,
                        const std::function<void(std::int32_t button)>& answered = {});

/// What to do with an exception that a handler lets out into the message loop: it must not cross the platform's own
/// frames, so it is handed over here. Without a handler such an exception ends the process; one that the handler itself
/// lets out is lost.
void setEscapeHandler(std::function<void(std::exception_ptr)> handler);

/// Runs a callback of the platform, with what escapes from it going to the escape handler.
void guarded(const std::function<void()>& callback);

} // namespace platform
