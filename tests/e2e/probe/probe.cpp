// Tells the end-to-end tests what stands on the Windows desktop, and changes what a test must be able to change.
//
// One command a line on standard input, its words separated by tabs, in UTF-8; one JSON answer a line on standard
// output. The commands are the entries of the table in answer(); an unknown or failing one answers {"error": ...}. Keys
// of the registry are those below HKEY_CURRENT_USER, and their data one character for each byte.

#include <windows.h>

#include <shlobj.h>
#include <tlhelp32.h>

#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "json.h"
#include "surroundings.h"

namespace {

// ------------------------------------------------------------------------------------------------- windows

/// Sends a message to another program's window, which may be hung: no command waits for longer than two seconds.
LRESULT ask(HWND window, UINT message, WPARAM w = 0, LPARAM l = 0) {
    DWORD_PTR result = 0;
    SendMessageTimeoutW(window, message, w, l, SMTO_ABORTIFHUNG, 2000, &result);
    return static_cast<LRESULT>(result);
}

std::string describe(HWND window) {
    RECT place{};
    GetWindowRect(window, &place);
    std::wstring text(static_cast<std::size_t>(ask(window, WM_GETTEXTLENGTH)), L'\0');
    const LRESULT got = ask(window, WM_GETTEXT, text.size() + 1, reinterpret_cast<LPARAM>(text.data()));
    text.resize(static_cast<std::size_t>(got));
    wchar_t kind[256] = L"";
    GetClassNameW(window, kind, 256);
    return object({{"handle", std::to_string(reinterpret_cast<std::uintptr_t>(window))},
                   {"cls", json(std::wstring(kind))},
                   {"text", json(text)},
                   {"place", json(place)},
                   {"visible", json(IsWindowVisible(window) != FALSE)},
                   {"enabled", json(IsWindowEnabled(window) != FALSE)}});
}

BOOL CALLBACK collect(HWND window, LPARAM into) {
    reinterpret_cast<std::vector<std::string>*>(into)->push_back(describe(window));
    return TRUE;
}

/// The top-level windows of the desktop, in their order from front to back.
std::string windows(const Words&) {
    std::vector<std::string> found;
    EnumWindows(collect, reinterpret_cast<LPARAM>(&found));
    return list(found);
}

std::string children(const Words& words) {
    std::vector<std::string> found;
    EnumChildWindows(handle(words.at(1)), collect, reinterpret_cast<LPARAM>(&found));
    return list(found);
}

/// The window that the keyboard writes into.
std::string focus(const Words&) {
    GUITHREADINFO info{};
    info.cbSize = sizeof info;
    GetGUIThreadInfo(0, &info);
    return std::to_string(reinterpret_cast<std::uintptr_t>(info.hwndFocus));
}

/// forget icon WINDOW NUMBER: takes an icon out of the notification area behind its program's back.
std::string forgetIcon(const Words& words) {
    NOTIFYICONDATAW icon{};
    icon.cbSize = sizeof icon;
    icon.hWnd = handle(words.at(1));
    icon.uID = static_cast<UINT>(std::stoul(words.at(2)));
    return json(Shell_NotifyIconW(NIM_DELETE, &icon) != FALSE);
}

/// Tells all programs that the taskbar has been made anew, as the shell does after its own crash.
std::string announceTaskbar(const Words&) {
    return json(SendNotifyMessageW(HWND_BROADCAST, RegisterWindowMessageW(L"TaskbarCreated"), 0, 0) != FALSE);
}

// ------------------------------------------------------------------------------------------------ registry

std::wstring characters(const std::vector<BYTE>& bytes) { return {bytes.begin(), bytes.end()}; }

/// Every value of a key with its type and its raw data, in threes; null for no such key.
std::string readKey(const Words& words) {
    HKEY key = nullptr;
    if (RegOpenKeyW(HKEY_CURRENT_USER, words.at(1).c_str(), &key) != ERROR_SUCCESS) return "null";
    std::vector<std::string> values;
    for (DWORD i = 0;; ++i) {
        // The narrow call, since it hands out the data as the narrow writer gave them, without a NUL of its own.
        char name[256];
        DWORD length = sizeof name, type = 0, size = 0;
        if (RegEnumValueA(key, i, name, &length, nullptr, &type, nullptr, &size) != ERROR_SUCCESS) break;
        std::vector<BYTE> data(size);
        RegQueryValueExA(key, name, nullptr, &type, data.data(), &size);
        values.push_back(list({json(wide(name)), std::to_string(type), json(characters(data))}));
    }
    RegCloseKey(key);
    return list(values);
}

/// write KEY NAME TYPE BYTE...
std::string writeValue(const Words& words) {
    HKEY key = nullptr;
    RegCreateKeyW(HKEY_CURRENT_USER, words.at(1).c_str(), &key);
    std::vector<BYTE> data;
    for (std::size_t i = 4; i < words.size(); ++i) data.push_back(static_cast<BYTE>(std::stoul(words[i])));
    const auto size = static_cast<DWORD>(data.size());
    data.push_back(0xff); // a NUL behind the data would be stored with them, counted or not
    const std::string name(words.at(2).begin(), words.at(2).end());
    const auto type = static_cast<DWORD>(std::stoul(words.at(3)));
    const LSTATUS result = RegSetValueExA(key, name.c_str(), 0, type, data.data(), size);
    RegCloseKey(key);
    return json(result == ERROR_SUCCESS);
}

std::string deleteKey(const Words& words) {
    return json(RegDeleteTreeW(HKEY_CURRENT_USER, words.at(1).c_str()) == ERROR_SUCCESS);
}

// ---------------------------------------------------------------------------------------- desktop, programs

std::string applicationData(const Words&) {
    wchar_t path[MAX_PATH] = L"";
    SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, path);
    return json(std::wstring(path));
}

/// The numbers of the processes that run the named program.
std::string processes(const Words& words) {
    std::vector<std::string> found;
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32FirstW(snapshot, &entry); more; more = Process32NextW(snapshot, &entry))
        if (lstrcmpiW(entry.szExeFile, words.at(1).c_str()) == 0) found.push_back(std::to_string(entry.th32ProcessID));
    CloseHandle(snapshot);
    return list(found);
}

std::string endProcess(const Words& words) {
    HANDLE process = OpenProcess(PROCESS_TERMINATE, FALSE, static_cast<DWORD>(std::stoul(words.at(1))));
    const bool ended = TerminateProcess(process, 1) != FALSE;
    CloseHandle(process);
    return json(ended);
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
std::string screen(const Words&) {
    static const bool raised = [] {
        SetThreadDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2); // the screen's own pixels
        ReleaseDC(nullptr, GetDC(nullptr)); // two threads at once would raise two desktops
        CoInitialize(nullptr);
        return CreateThread(nullptr, 0, keepWindowsInFront, nullptr, 0, nullptr) != nullptr;
    }();
    if (!raised) throw std::runtime_error("no thread");
    return list({std::to_string(GetSystemMetrics(SM_CXSCREEN)), std::to_string(GetSystemMetrics(SM_CYSCREEN))});
}

// ------------------------------------------------------------------------------------------------ commands

std::string answer(const Words& words) {
    static const std::map<std::wstring, std::function<std::string(const Words&)>> commands{
        {L"screen", screen},
        {L"windows", windows},
        {L"children", children},
        {L"focus", focus},
        {L"read", read},
        {L"contrast", contrastTheme},
        {L"resolution", resolution},
        {L"forget icon", forgetIcon},
        {L"announce taskbar", announceTaskbar},
        {L"key", readKey},
        {L"write", writeValue},
        {L"deletekey", deleteKey},
        {L"appdata", applicationData},
        {L"processes", processes},
        {L"end", endProcess},
    };
    try {
        return commands.at(words.at(0))(words);
    } catch (const std::exception& fault) {
        return object({{"error", json(wide(fault.what()))}});
    }
}

Words split(const std::wstring& line) {
    Words words;
    std::wistringstream rest(line);
    for (std::wstring word; std::getline(rest, word, L'\t');) words.push_back(word);
    return words;
}

} // namespace

int main() {
    for (std::string line; std::getline(std::cin, line);) std::cout << answer(split(wide(line))) << std::endl;
}
