#include <algorithm>
#include <utility>
#include <vector>

#include <windows.h>

#include <commctrl.h>

#include "platform/Asking.h"
#include "platform/ToolkitPeer.h"
#include "platform/win32/Loop.h"
#include "platform/win32/ToolkitBox.h"
#include "platform/win32/ToolkitWindow.h"

// The system makes a message box and runs its loop; the rules of what waits for an answer are the toolkit's. So each
// box is caught as it is made, and followed to its end.

namespace platform {

using namespace win32;

namespace {

constexpr UINT isShown = WM_APP; // to a box, behind all that comes with its being shown

struct Box {
    const std::function<void(std::int32_t)>& gone;
    HWND owner = nullptr;
    bool quiet = false;
    HWND window = nullptr;
    HHOOK hook = nullptr;
    std::int32_t button = 0;
    bool isGone = false;
};
std::vector<Box*> boxes; // in the order of their coming

void leave(Box& box) {
    if (std::exchange(box.isGone, true)) return;
    const bool hadKeyboard = GetActiveWindow() == box.window;
    std::erase(boxes, &box);
    box.gone(box.button);
    if (!hadKeyboard) return;
    if (const HWND next = windowToReturnTo(box.window, box.owner)) SetActiveWindow(next);
}

LRESULT CALLBACK boxProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR id, DWORD_PTR data) {
    auto& box = *reinterpret_cast<Box*>(data);
    switch (message) {
    case WM_NCDESTROY: RemoveWindowSubclass(window, boxProcedure, id); break;
    case isShown:
        if (box.hook) UnhookWindowsHookEx(std::exchange(box.hook, nullptr));
        if (box.quiet) announce(window);
        return 0;
    case WM_COMMAND:
        if (HIWORD(wParam) == BN_CLICKED) box.button = LOWORD(wParam);
        break;
    case WM_WINDOWPOSCHANGING:
        // The answer: what the box has blocked must be able to take the activation from it.
        if (reinterpret_cast<const WINDOWPOS*>(lParam)->flags & SWP_HIDEWINDOW) guarded([&] { leave(box); });
        break;
    case WM_WINDOWPOSCHANGED:
        if (reinterpret_cast<const WINDOWPOS*>(lParam)->flags & SWP_SHOWWINDOW) PostMessageW(window, isShown, 0, 0);
        break;
    default: break;
    }
    return DefSubclassProc(window, message, wParam, lParam);
}

/// Sees the box made, and keeps a quiet one from activating itself.
LRESULT CALLBACK boxHook(int code, WPARAM wParam, LPARAM lParam) {
    const auto window = reinterpret_cast<HWND>(wParam);
    if (!boxes.empty()) {
        Box& box = *boxes.back();
        if (code == HCBT_CREATEWND && !box.window && GetClassWord(window, GCW_ATOM) == LOWORD(WC_DIALOG)) {
            box.window = window;
            SetWindowSubclass(window, boxProcedure, 1, reinterpret_cast<DWORD_PTR>(&box));
        }
        if (code == HCBT_ACTIVATE && box.quiet && window == box.window) return 1;
    }
    return CallNextHookEx(nullptr, code, wParam, lParam);
}

/// Whose window it is that the keyboard goes to. Nobody's counts as the program's, while windows change.
bool isOurs(HWND window) {
    DWORD process = 0;
    if (window && window != GetDesktopWindow()) GetWindowThreadProcessId(window, &process);
    return process == 0 || process == GetCurrentProcessId();
}

} // namespace

HWND win32::lastBox() { return boxes.empty() ? nullptr : boxes.back()->window; }

void win32::disownBoxes(HWND owner) {
    for (Box* box : boxes)
        if (box->window && GetWindow(box->window, GW_OWNER) == owner)
            SetWindowLongPtrW(box->window, GWLP_HWNDPARENT, 0);
}

bool win32::filterBoxKeys(MSG& message) {
    const auto found = std::ranges::find(boxes, GetAncestor(message.hwnd, GA_ROOT), &Box::window);
    return found != boxes.end() && (*found)->window && IsDialogMessageW((*found)->window, &message);
}

HWND win32::windowToReturnTo(HWND leaving, HWND former) {
    if (const asking::Question* last = asking::last()) {
        const auto shown = last->form ? windowOfForm(*last->form) : nullptr;
        return shown ? shown->window : last->form ? nullptr : lastBox();
    }
    const auto isThere = [&](HWND window) { return window && window != leaving && IsWindowVisible(window); };
    if (isThere(former)) return former;
    for (HWND window = GetTopWindow(nullptr); window; window = GetWindow(window, GW_HWNDNEXT))
        if (const auto shown = formWindowAt(window); shown && isThere(window) && !shown->form.design.notice)
            return window;
    return nullptr;
}

void win32::announce(HWND window) {
    FLASHWINFO flash{sizeof flash, window, FLASHW_TRAY | FLASHW_TIMERNOFG, 0, 0};
    FlashWindowEx(&flash);
}

std::int32_t showBox(const std::wstring& text, std::int32_t style, const std::wstring& title,
                     const std::function<void(std::int32_t)>& gone) {
    // A hidden window may well be the active one, after a click on the tray icon; a box that it owns gets lost behind
    // other programs.
    HWND owner = GetActiveWindow();
    if (!IsWindowVisible(owner) || IsIconic(owner)) owner = nullptr;
    const bool quiet = !hasKeyboard();
    if (quiet) owner = nullptr; // only so is it in the taskbar
    auto bits = static_cast<UINT>(style);
    if (!owner && !quiet) bits |= MB_SETFOREGROUND;
    if ((bits & MB_TYPEMASK) > MB_CANCELTRYCONTINUE) bits &= ~static_cast<UINT>(MB_TYPEMASK); // else there is no box

    Box box{gone, owner, quiet};
    boxes.push_back(&box);
    boxInputChanged();
    box.hook = SetWindowsHookExW(WH_CBT, boxHook, nullptr, GetCurrentThreadId());
    box.button = MessageBoxW(owner, text.c_str(), title.c_str(), bits);
    if (box.hook) UnhookWindowsHookEx(box.hook);
    leave(box);
    return box.button;
}

void boxInputChanged() {
    const asking::Question* const last = asking::last();
    for (const Box* box : boxes)
        if (box->window) EnableWindow(box->window, last && !last->form && box == boxes.back());
}

void activateBox(bool withKeyboard) {
    const HWND window = lastBox();
    if (!window) return; // it is about to come, in front
    if (withKeyboard) {
        SetForegroundWindow(window);
        return;
    }
    SetWindowPos(window, HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
    announce(window);
}

bool hasKeyboard() { return !win32::isRunning() || isOurs(GetForegroundWindow()); }

} // namespace platform
