#include "platform/Messages.h"

#include <map>
#include <utility>

#include "platform/Process.h"
#include "platform/Text.h"
#include "platform/ToolkitPeer.h"
#include "platform/win32/Com.h"
#include "platform/win32/Handles.h"
#include "platform/win32/Loop.h"
#include "platform/win32/ToolkitBox.h"

using platform::win32::fromHwnd;
using platform::win32::toHwnd;

namespace {

struct Hook {
    platform::WindowProcedure procedure;
    WNDPROC former = nullptr;
};

std::map<platform::WindowHandle, Hook> hooks;
std::map<UINT_PTR, std::function<void()>> timers;
std::function<void(std::exception_ptr)> escapeHandler;
bool (*messageFilter)(void* message) = nullptr;
bool running = false; // a message has been dispatched

LRESULT CALLBACK hookedProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    LRESULT result = 0;
    platform::guarded([&] {
        const auto found = hooks.find(fromHwnd(window));
        if (found == hooks.end()) {
            result = DefWindowProcA(window, message, wParam, lParam);
            return;
        }
        const auto procedure = found->second.procedure; // it may take the hook away
        result = procedure(fromHwnd(window), message, wParam, lParam);
    });
    return result;
}

void CALLBACK timerFired(HWND, UINT, UINT_PTR id, DWORD) {
    const auto found = timers.find(id);
    if (found == timers.end()) return; // stopped with a firing already in the queue
    const auto callback = found->second;
    platform::guarded(callback);
}

struct Aside {
    const std::function<void()>& work;
    std::exception_ptr failure;
};

DWORD WINAPI runAside(void* parameter) {
    auto& aside = *static_cast<Aside*>(parameter);
    const bool initialised = SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED));
    try {
        aside.work();
    } catch (...) {
        aside.failure = std::current_exception();
    }
    if (initialised) CoUninitialize();
    return 0;
}

void dispatch(MSG& message) {
    running = true;
    if (message.message == WM_QUIT) platform::endProcess();
    if (platform::win32::filterBoxKeys(message)) return;
    if (messageFilter && messageFilter(&message)) return;
    TranslateMessage(&message);
    DispatchMessageW(&message);
}

} // namespace

namespace platform {

bool win32::isRunning() { return running; }

bool win32::waitsForItsTurn(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (!Waiting::now()) return false;
    const bool isMouse = message >= WM_MOUSEFIRST && message <= WM_MOUSELAST;
    const bool isKey = message >= WM_KEYFIRST && message <= WM_KEYLAST;
    if (!isMouse && !isKey && message != WM_CLOSE && message != WM_SYSCOMMAND && message != BM_CLICK) return false;
    return PostMessageW(window, message, wParam, lParam) != 0;
}

void win32::setMessageFilter(bool (*filter)(void* message)) { messageFilter = filter; }

WindowHandle createHiddenWindow(const std::wstring& title) {
    return fromHwnd(CreateWindowExA(0, "STATIC", toAnsi(title).c_str(), 0, 0, 0, 0, 0, nullptr, nullptr,
                                    GetModuleHandleW(nullptr), nullptr));
}

bool destroyHiddenWindow(WindowHandle window) {
    const bool destroyed = DestroyWindow(toHwnd(window)) != 0;
    hooks.erase(window);
    return destroyed;
}

void hookWindow(WindowHandle window, WindowProcedure procedure) {
    if (const auto found = hooks.find(window); found != hooks.end()) {
        found->second.procedure = std::move(procedure);
        return;
    }
    const LONG_PTR former = GetWindowLongPtrA(toHwnd(window), GWLP_WNDPROC);
    if (former == 0) return; // no window
    hooks[window] = {std::move(procedure), reinterpret_cast<WNDPROC>(former)};
    SetWindowLongPtrA(toHwnd(window), GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&hookedProcedure));
}

std::int32_t callFormerProcedure(WindowHandle window, std::uint32_t message, std::uint32_t wParam,
                                 std::int32_t lParam) {
    const auto found = hooks.find(window);
    if (found == hooks.end()) return 0;
    return static_cast<std::int32_t>(CallWindowProcA(found->second.former, toHwnd(window), message, wParam, lParam));
}

void unhookWindow(WindowHandle window) {
    const auto found = hooks.find(window);
    if (found == hooks.end()) return;
    SetWindowLongPtrA(toHwnd(window), GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(found->second.former));
    hooks.erase(found);
}

void pumpMessages() {
    endMenu(); // its loop lies below and would not hear a key any more
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) dispatch(message);
}

void waitMessages() {
    endMenu();
    MSG message;
    if (GetMessageW(&message, nullptr, 0, 0) >= 0) dispatch(message);
}

void workAside(const std::function<void()>& work) {
    win32::useCom(); // for this thread, whatever the other one needs of it
    Aside aside{work, {}};
    const HANDLE thread = CreateThread(nullptr, 0, runAside, &aside, 0, nullptr);
    if (!thread) return work();
    const win32::Waiting here;
    do {
        MSG message; // looking for any message at all answers those that were sent
        while (PeekMessageW(&message, nullptr, WM_PAINT, WM_PAINT, PM_REMOVE)) dispatch(message);
    } while (MsgWaitForMultipleObjects(1, &thread, FALSE, INFINITE, QS_SENDMESSAGE | QS_PAINT) == WAIT_OBJECT_0 + 1);
    WaitForSingleObject(thread, INFINITE); // also if the other wait was refused, for the thread works on what lies here
    CloseHandle(thread);
    if (aside.failure) std::rethrow_exception(aside.failure);
}

void runMessageLoop() {
    for (;;) waitMessages();
}

std::uint32_t startTimer(std::uint32_t milliseconds, std::function<void()> callback) {
    const UINT_PTR id = SetTimer(nullptr, 0, milliseconds, timerFired);
    timers[id] = std::move(callback);
    return static_cast<std::uint32_t>(id);
}

void stopTimer(std::uint32_t id) {
    if (timers.erase(id) == 1) KillTimer(nullptr, id);
}

void setEscapeHandler(std::function<void(std::exception_ptr)> handler) { escapeHandler = std::move(handler); }

void guarded(const std::function<void()>& callback) {
    try {
        callback();
    } catch (...) {
        if (!escapeHandler) std::terminate();
        try {
            escapeHandler(std::current_exception());
        } catch (...) {
            // It could not even be told of, for want of memory perhaps.
        }
    }
}

} // namespace platform
