// Tells the end-to-end tests what stands on the Windows desktop, and changes what a test must be able to change.
//
// One command a line on standard input, a JSON array of its words; one JSON answer a line on standard output, in ASCII
// alone. The commands are the entries of the table in answer(); an unknown or failing one answers {"error": ...}. Keys
// of the registry are those below HKEY_CURRENT_USER, and their data arrays of bytes.

#include <windows.h>

#include <shlobj.h>
#include <tlhelp32.h>

#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "surroundings.h"
#include "words.h"

namespace {

// ------------------------------------------------------------------------------------------------- windows

/// Sends a message to another program's window, which may be hung: no command waits for longer than two seconds.
LRESULT ask(HWND window, UINT message, WPARAM w = 0, LPARAM l = 0) {
    DWORD_PTR result = 0;
    SendMessageTimeoutW(window, message, w, l, SMTO_ABORTIFHUNG, 2000, &result);
    return static_cast<LRESULT>(result);
}

json describe(HWND window) {
    const bool visible = IsWindowVisible(window) != FALSE; // before its place: what is shown meanwhile has just moved
    std::wstring text(static_cast<std::size_t>(ask(window, WM_GETTEXTLENGTH)), L'\0');
    const LRESULT got = ask(window, WM_GETTEXT, text.size() + 1, reinterpret_cast<LPARAM>(text.data()));
    text.resize(static_cast<std::size_t>(got));
    wchar_t kind[256] = L"";
    GetClassNameW(window, kind, 256);
    RECT around{};
    GetWindowRect(window, &around);
    return {{"handle", number(window)},
            {"cls", narrow(kind)},
            {"text", narrow(text)},
            {"place", place(around)},
            {"visible", visible},
            {"enabled", IsWindowEnabled(window) != FALSE}};
}

BOOL CALLBACK collect(HWND window, LPARAM into) {
    reinterpret_cast<json*>(into)->push_back(describe(window));
    return TRUE;
}

/// The top-level windows of the desktop, in their order from front to back.
json windows(const json&) {
    json found = json::array();
    EnumWindows(collect, reinterpret_cast<LPARAM>(&found));
    return found;
}

json children(const json& words) {
    json found = json::array();
    EnumChildWindows(handle(words.at(1)), collect, reinterpret_cast<LPARAM>(&found));
    return found;
}

/// The window that the keyboard writes into.
json focus(const json&) {
    GUITHREADINFO info{};
    info.cbSize = sizeof info;
    GetGUIThreadInfo(0, &info);
    return number(info.hwndFocus);
}

/// forget icon WINDOW NUMBER: takes an icon out of the notification area behind its program's back.
json forgetIcon(const json& words) {
    NOTIFYICONDATAW icon{};
    icon.cbSize = sizeof icon;
    icon.hWnd = handle(words.at(1));
    icon.uID = words.at(2);
    return Shell_NotifyIconW(NIM_DELETE, &icon) != FALSE;
}

/// Tells all programs that the taskbar has been made anew, as the shell does after its own crash.
json announceTaskbar(const json&) {
    return SendNotifyMessageW(HWND_BROADCAST, RegisterWindowMessageW(L"TaskbarCreated"), 0, 0) != FALSE;
}

// ------------------------------------------------------------------------------------------------ registry

std::wstring text(const json& word) { return wide(word.get<std::string>()); }

/// Every value of a key with its type and its raw data, in threes; null for no such key.
json readKey(const json& words) {
    HKEY key = nullptr;
    if (RegOpenKeyW(HKEY_CURRENT_USER, text(words.at(1)).c_str(), &key) != ERROR_SUCCESS) return nullptr;
    json values = json::array();
    for (DWORD i = 0;; ++i) {
        // The narrow call, since it hands out the data as the narrow writer gave them, without a NUL of its own.
        char name[256];
        DWORD length = sizeof name, type = 0, size = 0;
        if (RegEnumValueA(key, i, name, &length, nullptr, &type, nullptr, &size) != ERROR_SUCCESS) break;
        std::vector<BYTE> data(size);
        RegQueryValueExA(key, name, nullptr, &type, data.data(), &size);
        values.push_back({name, type, data});
    }
    RegCloseKey(key);
    return values;
}

/// write KEY NAME TYPE BYTES
json writeValue(const json& words) {
    HKEY key = nullptr;
    RegCreateKeyW(HKEY_CURRENT_USER, text(words.at(1)).c_str(), &key);
    const std::string name = words.at(2);
    std::vector<BYTE> data = words.at(4);
    const auto size = static_cast<DWORD>(data.size());
    data.push_back(0xff); // a NUL behind the data would be stored with them, counted or not
    const LSTATUS result = RegSetValueExA(key, name.c_str(), 0, words.at(3), data.data(), size);
    RegCloseKey(key);
    return result == ERROR_SUCCESS;
}

json deleteKey(const json& words) {
    return RegDeleteTreeW(HKEY_CURRENT_USER, text(words.at(1)).c_str()) == ERROR_SUCCESS;
}

// ---------------------------------------------------------------------------------------- desktop, programs

json applicationData(const json&) {
    wchar_t path[MAX_PATH] = L"";
    SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, path);
    return narrow(path);
}

/// The numbers of the processes that run the named program.
json processes(const json& words) {
    json found = json::array();
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32FirstW(snapshot, &entry); more; more = Process32NextW(snapshot, &entry))
        if (text(words.at(1)) == entry.szExeFile) found.push_back(entry.th32ProcessID);
    CloseHandle(snapshot);
    return found;
}

json endProcess(const json& words) {
    HANDLE process = OpenProcess(PROCESS_TERMINATE, FALSE, words.at(1));
    const bool ended = TerminateProcess(process, 1) != FALSE;
    CloseHandle(process);
    return ended;
}

BOOL CALLBACK redraw(HWND window, LPARAM) {
    if (IsWindowVisible(window))
        RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_FRAME | RDW_ALLCHILDREN);
    return TRUE;
}

LRESULT CALLBACK afterWallpaper(HWND window, UINT message, WPARAM w, LPARAM l) {
    constexpr UINT untilPainted = 200; // milliseconds, on a machine that has nothing else to do
    static int times = 0;
    if (message == WM_SETTINGCHANGE && w == SPI_SETDESKWALLPAPER) {
        times = 5;
        SetTimer(window, 1, untilPainted, nullptr);
    } else if (message == WM_TIMER) {
        EnumWindows(redraw, 0);
        if (--times == 0) KillTimer(window, 1);
    }
    return DefWindowProcW(window, message, w, l);
}

/// Wine paints a new wallpaper over the taskbar and all windows, where Windows paints it behind them. Where the probe
/// runs, they come back to the front.
DWORD WINAPI keepWindowsInFront(void*) {
    WNDCLASSW kind{};
    kind.lpfnWndProc = afterWallpaper;
    kind.lpszClassName = L"Probe";
    RegisterClassW(&kind);
    CreateWindowW(L"Probe", nullptr, WS_POPUP, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
    for (MSG message; GetMessageW(&message, nullptr, 0, 0) > 0;) DispatchMessageW(&message);
    return 0;
}

/// The screen's size. The first time, with which the desktop comes up as the registry has it, goes before all that
/// looks at windows.
json screen(const json&) {
    static const bool raised = [] {
        SetThreadDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2); // the screen's own pixels
        ReleaseDC(nullptr, GetDC(nullptr)); // two threads at once would raise two desktops
        CoInitialize(nullptr);
        return CreateThread(nullptr, 0, keepWindowsInFront, nullptr, 0, nullptr) != nullptr;
    }();
    if (!raised) throw std::runtime_error("no thread");
    return {GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)};
}

// ------------------------------------------------------------------------------------------------ commands

json answer(const json& words) {
    static const std::map<std::string, json (*)(const json&)> commands{
        {"screen", screen},
        {"windows", windows},
        {"children", children},
        {"focus", focus},
        {"read", read},
        {"contrast", contrastTheme},
        {"resolution", resolution},
        {"forget icon", forgetIcon},
        {"announce taskbar", announceTaskbar},
        {"key", readKey},
        {"write", writeValue},
        {"deletekey", deleteKey},
        {"appdata", applicationData},
        {"processes", processes},
        {"end", endProcess},
    };
    try {
        return commands.at(words.at(0).get<std::string>())(words);
    } catch (const std::exception& fault) {
        return {{"error", fault.what()}};
    }
}

} // namespace

int main() {
    for (std::string line; std::getline(std::cin, line);)
        std::cout << answer(json::parse(line)).dump(-1, ' ', true) << std::endl;
}
