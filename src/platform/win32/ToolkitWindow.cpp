#include "platform/win32/ToolkitWindow.h"

#include <utility>

#include "platform/Shell.h"
#include "platform/ToolkitPeer.h"
#include "platform/win32/Contrast.h"
#include "platform/win32/Loop.h"
#include "platform/win32/ToolkitBox.h"

// A form as a window of the system: made and ended, shown and hidden, and the one procedure that its messages come to.

namespace platform::win32 {

namespace {

std::map<const Form*, std::shared_ptr<FormWindow>> windows;
std::function<void()> taskbarCallback;

constexpr UINT dpiChanged = 0x02E0; // WM_DPICHANGED, Windows 8.1

UINT taskbarCreated() {
    static const UINT message = RegisterWindowMessageW(L"TaskbarCreated");
    return message;
}

LRESULT CALLBACK formProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (waitsForItsTurn(window, message, wParam, lParam)) return 0;
    const auto shown = formWindowAt(window);
    if (!shown || shown->closed) return DefWindowProcW(window, message, wParam, lParam);
    const auto alive = shown->form.weak_from_this().lock(); // through its own events
    LRESULT result = 0;
    guarded([&] { result = shown->handle(message, wParam, lParam); });
    return result;
}

/// A class for each form, so that its window can be told from the others from outside.
std::wstring registeredClass(const wchar_t* formName) {
    const std::wstring name = std::wstring(L"Quillory.") + formName;
    WNDCLASSEXW design{};
    design.cbSize = sizeof design;
    design.style = CS_DROPSHADOW;
    design.lpfnWndProc = formProcedure;
    design.hInstance = GetModuleHandleW(nullptr);
    design.lpszClassName = name.c_str();
    RegisterClassExW(&design); // fails for a form that was loaded before, whose class stands
    return name;
}

/// Owns the notices: not every taskbar leaves out a window for being a tool's, but none shows one with an owner.
HWND unseenOwner() {
    static const HWND owner = CreateWindowExW(WS_EX_TOOLWINDOW, L"STATIC", nullptr, WS_POPUP, 0, 0, 0, 0, nullptr,
                                              nullptr, GetModuleHandleW(nullptr), nullptr);
    return owner;
}

DWORD extendedStyle(const FormDesign& design) {
    if (design.notice) return WS_EX_NOACTIVATE | WS_EX_TOPMOST | WS_EX_TOOLWINDOW;
    return design.inTaskbar ? WS_EX_APPWINDOW : WS_EX_TOOLWINDOW;
}

} // namespace

std::shared_ptr<FormWindow> windowOfForm(const Form& form) {
    const auto found = windows.find(&form);
    return found == windows.end() ? nullptr : found->second;
}

std::shared_ptr<FormWindow> formWindowAt(HWND window) {
    for (const auto& [form, shown] : windows)
        if (shown->window == window && window) return shown;
    return nullptr;
}

std::vector<std::shared_ptr<FormWindow>> allFormWindows() {
    std::vector<std::shared_ptr<FormWindow>> all;
    all.reserve(windows.size());
    for (const auto& [form, shown] : windows) all.push_back(shown);
    return all;
}

void FormWindow::create() {
    setMessageFilter(filterKeys);
    // A notice may be shown by its handle before it has been given its place: until then there is nothing to see of it.
    const RECT place = form.design.notice ? RECT{} : placeOnScreen();
    window = CreateWindowExW(extendedStyle(form.design), registeredClass(form.design.name).c_str(),
                             form.design.caption.c_str(),
                             WS_POPUP | WS_CLIPCHILDREN | WS_SYSMENU | (form.design.inTaskbar ? WS_MINIMIZEBOX : 0U),
                             place.left, place.top, place.right - place.left, place.bottom - place.top, nullptr,
                             nullptr, GetModuleHandleW(nullptr), nullptr);
    dpi = windowDpi(window);
    applyInput();
}

/// Most starts go to the tray and show nothing for hours: what is only looked at waits until then.
void FormWindow::furnish() {
    if (std::exchange(furnished, true)) return;
    applyIcons();
    createNatives();
}

void FormWindow::destroy() {
    closed = true;
    dropReader();
    // A window takes the windows that it owns with it, and their forms live on.
    for (const auto& other : allFormWindows())
        if (GetWindow(other->window, GW_OWNER) == window) SetWindowLongPtrW(other->window, GWLP_HWNDPARENT, 0);
    disownBoxes(window);
    DestroyWindow(window);
    window = nullptr;
}

void FormWindow::show() {
    placeNow();
    if (form.design.notice || form.comesQuietly() || asking::blocks(form))
        ShowWindow(window, SW_SHOWNOACTIVATE);
    else
        ShowWindow(window, form.WindowState == windowMinimized ? SW_SHOWMINIMIZED : SW_SHOWNORMAL);
    // At once and whole, with the controls on it, before anything else may take its time.
    RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_UPDATENOW | RDW_ALLCHILDREN);
}

void FormWindow::hide() {
    disownBoxes(window);
    if (GetActiveWindow() == window)
        if (const HWND next = windowToReturnTo(window, GetWindow(window, GW_OWNER))) SetActiveWindow(next);
    ShowWindow(window, SW_HIDE);
    forgetLooks();
}

/// Which is soon made again, while the program may stay in the tray for days.
void FormWindow::forgetLooks() {
    buffer = Surface();
    for (const auto& [control, native] : natives) native->dropBackground();
    forgetUnseenPictures();
}

void FormWindow::activate(bool withKeyboard) {
    if (withKeyboard && !form.design.notice && form.takesInput()) {
        SetForegroundWindow(window);
        return;
    }
    SetWindowPos(window, HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
    if (!withKeyboard) announce(window);
}

void FormWindow::applyInput() {
    const auto owner = form.owner() ? windowOfForm(*form.owner()) : nullptr;
    const HWND ownerWindow = owner ? owner->window : form.design.notice ? unseenOwner() : nullptr;
    if (GetWindow(window, GW_OWNER) != ownerWindow)
        SetWindowLongPtrW(window, GWLP_HWNDPARENT, reinterpret_cast<LONG_PTR>(ownerWindow));
    const bool wasEnabled = IsWindowEnabled(window);
    if (wasEnabled == form.takesInput()) return;
    if (wasEnabled) endLists(); // or a list that is cut short would leave its entry in the field, unchosen
    EnableWindow(window, form.takesInput());
    applyFocus(); // keys reach a focused control even on a disabled window
}

void FormWindow::applyWindowState() {
    if (!form.Visible) return; // when it is shown
    ShowWindow(window, form.WindowState == windowMinimized ? SW_MINIMIZE : SW_RESTORE);
}

void FormWindow::placeSoon() {
    if (placePending) return;
    placePending = true;
    PostMessageW(window, placeWaits, 0, 0);
}

void FormWindow::placeNow() {
    placePending = false;
    if (IsIconic(window)) return; // until it is back
    const RECT place = placeOnScreen();
    placing = true;
    SetWindowPos(window, nullptr, place.left, place.top, place.right - place.left, place.bottom - place.top,
                 SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOOWNERZORDER);
    placing = false;
}

/// Follows what others do to the window: the shell, the system's menu, a call by its handle.
LRESULT FormWindow::windowMoved(const WINDOWPOS& moved) {
    const LRESULT result = DefWindowProcW(window, WM_WINDOWPOSCHANGED, 0, reinterpret_cast<LPARAM>(&moved));
    RECT client;
    GetClientRect(window, &client);
    const SIZE now{client.right, client.bottom};
    if (now.cx != size.cx || now.cy != size.cy) resized(std::exchange(size, now), now);
    if (moved.flags & (SWP_SHOWWINDOW | SWP_HIDEWINDOW)) form.Visible.adopt(IsWindowVisible(window) != 0);
    const bool wasIconic = std::exchange(iconic, IsIconic(window) != 0);
    if (form.Visible && iconic != wasIconic) form.WindowState.adopt(iconic ? windowMinimized : windowNormal);
    if (iconic) return result;
    if (wasIconic) {
        placeSoon(); // to where it was assigned meanwhile
        applyFocus();
        return result;
    }
    const RECT place = placeOnScreen();
    if (!placing && !placePending && !(moved.flags & SWP_NOMOVE) && (moved.x != place.left || moved.y != place.top))
        adoptPlace({moved.x, moved.y});
    return result;
}

LRESULT FormWindow::handle(UINT message, WPARAM wParam, LPARAM lParam) {
    if (const std::int16_t button = buttonPressedBy(message)) {
        mouseDown(button, lParam);
        return 0;
    }
    if (const std::int16_t button = buttonReleasedBy(message)) {
        mouseUp(button, lParam);
        return 0;
    }
    switch (message) {
    case placeWaits:
        if (placePending) placeNow();
        return 0;
    case focusMoved:
        followFocus();
        return 0;
    case blockedOne:
        if (GetActiveWindow() == window) asking::bringForward();
        return 0;
    case choiceMade:
        if (Native* native = nativeOf(reinterpret_cast<HWND>(lParam))) settleChoice(*native);
        return 0;
    case WM_MOUSEMOVE:
        mouseMoved(wParam, lParam);
        return 0;
    case WM_CAPTURECHANGED:
        if (reinterpret_cast<HWND>(lParam) == window) return 0; // taken again by who had it
        pressed = nullptr;
        buttonsDown = 0;
        PostMessageW(window, densityWaits, 0, 0);
        return 0;
    case densityWaits:
        densityAfterDrag();
        return 0;
    case dpiChanged:
        densityChanged(LOWORD(wParam), *reinterpret_cast<const RECT*>(lParam));
        return 0;
    case WM_GETOBJECT:
        if (static_cast<LONG>(lParam) == OBJID_CLIENT) return answerReader(wParam);
        break;
    case readerAsks:
        wParam == readerIsAlerted ? alertReader() : obeyReader(wParam, static_cast<LONG>(lParam));
        return 0;
    case WM_DISPLAYCHANGE:
        screensChanged(true);
        break;
    case WM_SYSCOLORCHANGE:
    case WM_THEMECHANGED: coloursChanged(); break;
    case WM_SETTINGCHANGE:
        coloursChanged();
        screensChanged(wParam == SPI_SETWORKAREA);
        break;
    case WM_COMMAND:
        if (lParam != 0) notified(reinterpret_cast<HWND>(lParam), HIWORD(wParam));
        return 0;
    case WM_NOTIFY:
        return drawNative(*reinterpret_cast<const NMHDR*>(lParam));
    case WM_CTLCOLOREDIT:
    case WM_CTLCOLORLISTBOX: {
        const LRESULT background = DefWindowProcW(window, message, wParam, lParam);
        if (!contrast()) SetTextColor(reinterpret_cast<HDC>(wParam), colorRef(form.design.text));
        return background;
    }
    case WM_SETFOCUS:
        applyFocus();
        return 0;
    case WM_ERASEBKGND:
        // The window itself is drawn by WM_PAINT, in one piece. A native control asks for what lies below it.
        if (const auto dc = reinterpret_cast<HDC>(wParam); WindowFromDC(dc) != window) print(dc);
        return 1;
    case WM_PRINTCLIENT:
        print(reinterpret_cast<HDC>(wParam));
        return 0;
    case WM_PAINT:
        paint();
        return 0;
    case WM_CTLCOLORSTATIC:
    case WM_CTLCOLORBTN:
        if (Native* native = nativeOf(reinterpret_cast<HWND>(lParam)); native && !native->edit) {
            SetBkMode(reinterpret_cast<HDC>(wParam), TRANSPARENT);
            SetTextColor(reinterpret_cast<HDC>(wParam),
                         contrast() ? GetSysColor(COLOR_WINDOWTEXT) : colorRef(form.design.text));
            return reinterpret_cast<LRESULT>(backgroundOf(*native));
        }
        break;
    case WM_SETCURSOR: {
        // A click on a window that is blocked goes to what blocks it.
        const WORD cause = HIWORD(lParam);
        if (static_cast<SHORT>(LOWORD(lParam)) == HTERROR && asking::blocks(form) && buttonPressedBy(cause)) {
            asking::bringForward();
            return TRUE;
        }
        if (LOWORD(lParam) != HTCLIENT) break;
        Native* native = nativeOf(reinterpret_cast<HWND>(wParam));
        if (native && form.MousePointer == pointerDefault && native->control.MousePointer == pointerDefault)
            return FALSE; // as the control itself will have it
        POINT at;
        GetCursorPos(&at);
        ScreenToClient(window, &at);
        SetCursor(native && form.MousePointer == pointerDefault ? pointer(native->control.MousePointer) : cursorAt(at));
        return TRUE;
    }
    case WM_MOUSEACTIVATE:
        if (form.design.notice) return MA_NOACTIVATE;
        break;
    case WM_ACTIVATE: {
        const LRESULT result = DefWindowProcW(window, message, wParam, lParam); // sets the focus
        if (LOWORD(wParam) != WA_INACTIVE && HIWORD(wParam) == 0 && form.Visible && form.Activate) form.Activate();
        if (LOWORD(wParam) != WA_INACTIVE && asking::blocks(form)) PostMessageW(window, blockedOne, 0, 0);
        return result;
    }
    case WM_CLOSE:
        if (form.design.closable && form.takesInput() && form.closeRequested) form.closeRequested();
        return 0;
    case WM_SYSCOMMAND:
        // The Alt key alone opens the menu of a title bar, which is not there, and would swallow the next key.
        if ((wParam & 0xFFF0) == SC_KEYMENU && lParam == 0) return 0;
        break;
    case WM_WINDOWPOSCHANGING:
        if (auto& moving = *reinterpret_cast<WINDOWPOS*>(lParam); moving.flags & SWP_SHOWWINDOW) {
            furnish();
            if (!placePending) break;
            const RECT place = placeOnScreen(); // never seen where it no longer belongs
            moving.x = place.left;
            moving.y = place.top;
            moving.cx = place.right - place.left;
            moving.cy = place.bottom - place.top;
            moving.flags &= ~static_cast<UINT>(SWP_NOMOVE | SWP_NOSIZE);
        }
        break;
    case WM_WINDOWPOSCHANGED:
        return windowMoved(*reinterpret_cast<const WINDOWPOS*>(lParam));
    default:
        // Told to every window; one of them passes it on.
        if (message == taskbarCreated() && taskbarCallback && &form == openForms().front()) {
            const auto callback = taskbarCallback;
            callback();
        }
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

} // namespace platform::win32

namespace platform {

using namespace win32;

void formLoaded(Form& form) {
    const auto shown = std::make_shared<FormWindow>(form);
    shown->create();
    windows[&form] = shown;
}

void formUnloaded(Form& form) {
    const auto shown = windowOfForm(form);
    if (!shown) return;
    shown->destroy();
    windows.erase(&form);
    forgetUnseenPictures();
}

void onTaskbarCreated(std::function<void()> callback) { taskbarCallback = std::move(callback); }

} // namespace platform
