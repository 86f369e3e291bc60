// Tells the end-to-end tests what stands on the Windows desktop, and changes what a test must be able to change.
//
// One command a line on standard input, its words separated by tabs, in UTF-8; one JSON answer a line on standard
// output. Given on the command line instead, one command is carried out in a process of its own. The commands are
// the entries of the table in answer(); an unknown or failing one answers {"error": ...}. Keys of the registry are
// those below HKEY_CURRENT_USER.

#include <windows.h>

#include <shlobj.h>
#include <tlhelp32.h>

#include <cstdint>
#include <functional>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "json.h"
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

std::wstring className(HWND window) {
    wchar_t name[256] = L"";
    GetClassNameW(window, name, 256);
    return name;
}

std::wstring textOf(HWND window) {
    std::wstring text(static_cast<std::size_t>(ask(window, WM_GETTEXTLENGTH)), L'\0');
    const LRESULT got = ask(window, WM_GETTEXT, text.size() + 1, reinterpret_cast<LPARAM>(text.data()));
    text.resize(static_cast<std::size_t>(got));
    return text;
}

std::string entriesOf(HWND combo) {
    std::vector<std::string> entries;
    const LRESULT count = ask(combo, CB_GETCOUNT);
    for (LRESULT i = 0; i < count; ++i) {
        std::wstring entry(static_cast<std::size_t>(ask(combo, CB_GETLBTEXTLEN, static_cast<WPARAM>(i))), L'\0');
        ask(combo, CB_GETLBTEXT, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(entry.data()));
        entries.push_back(json(entry));
    }
    return list(entries);
}

std::string describe(HWND window) {
    RECT place{};
    GetWindowRect(window, &place);
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    std::vector<std::pair<std::wstring, std::string>> members{
        {L"handle", json(window)},
        {L"class", json(className(window))},
        {L"text", json(textOf(window))},
        {L"place", json(place)},
        {L"visible", json(IsWindowVisible(window) != FALSE)},
        {L"enabled", json(IsWindowEnabled(window) != FALSE)},
        {L"minimized", json(IsIconic(window) != FALSE)},
        {L"style", std::to_string(static_cast<DWORD>(GetWindowLongW(window, GWL_STYLE)))},
        {L"exstyle", std::to_string(static_cast<DWORD>(GetWindowLongW(window, GWL_EXSTYLE)))},
        {L"id", std::to_string(GetWindowLongW(window, GWL_ID))},
        {L"owner", json(GetWindow(window, GW_OWNER))},
        {L"process", std::to_string(process)},
    };
    if (lstrcmpiW(className(window).c_str(), L"Button") == 0)
        members.emplace_back(L"checked", json(ask(window, BM_GETCHECK) == BST_CHECKED));
    if (lstrcmpiW(className(window).c_str(), L"ComboBox") == 0) members.emplace_back(L"entries", entriesOf(window));
    return object(members);
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

std::string focus(const Words&) {
    GUITHREADINFO info{};
    info.cbSize = sizeof info;
    GetGUIThreadInfo(0, &info);
    return object({{L"foreground", json(GetForegroundWindow())}, {L"focus", json(info.hwndFocus)}});
}

/// Asks a window to close, as the system does when its taskbar entry is closed.
std::string closeWindow(const Words& words) { return json(PostMessageW(handle(words.at(1)), WM_CLOSE, 0, 0) != FALSE); }

/// The pixels of a stock message box icon on the face of a dialog, 32 lines of 32 pixels, four bytes each: B G R 0.
std::string stockIcon(const Words& words) {
    static const std::map<std::wstring, LPCWSTR> names{{L"exclamation", IDI_EXCLAMATION},
                                                       {L"information", IDI_ASTERISK},
                                                       {L"question", IDI_QUESTION},
                                                       {L"critical", IDI_HAND}};
    constexpr int side = 32;
    BITMAPINFO format{};
    format.bmiHeader = {sizeof(BITMAPINFOHEADER), side, -side, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void* pixels = nullptr;
    HDC dc = CreateCompatibleDC(nullptr);
    HBITMAP bitmap = CreateDIBSection(dc, &format, DIB_RGB_COLORS, &pixels, nullptr, 0);
    SelectObject(dc, bitmap);
    const RECT all{0, 0, side, side};
    FillRect(dc, &all, GetSysColorBrush(COLOR_3DFACE));
    DrawIcon(dc, 0, 0, LoadIconW(nullptr, names.at(words.at(1))));
    GdiFlush();
    return json(wide(hex(static_cast<std::uint8_t*>(pixels), side * side * 4)));
}

/// lettering FACE TENTHS WEIGHT WIDTH HEIGHT HEX: how a text (UTF-16), so many tenths of a point high and wrapped at
/// words, looks in a place of that size: for each pixel from 0, left free, to 255, covered.
std::string lettering(const Words& words) {
    const int tenths = std::stoi(words.at(2)), weight = std::stoi(words.at(3));
    const int width = std::stoi(words.at(4)), height = std::stoi(words.at(5));
    const std::vector<std::uint8_t> bytes = unhex(words.at(6));
    const auto* const text = reinterpret_cast<const wchar_t*>(bytes.data());
    BITMAPINFO format{};
    format.bmiHeader = {sizeof(BITMAPINFOHEADER), width, -height, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void* pixels = nullptr;
    HDC dc = CreateCompatibleDC(nullptr);
    HBITMAP bitmap = CreateDIBSection(dc, &format, DIB_RGB_COLORS, &pixels, nullptr, 0);
    HFONT font = CreateFontW(-MulDiv(tenths, GetDeviceCaps(dc, LOGPIXELSY), 720), 0, 0, 0, weight, FALSE, FALSE, FALSE,
                             DEFAULT_CHARSET, 0, 0, DEFAULT_QUALITY, 0, words.at(1).c_str());
    HGDIOBJ bitmapBefore = SelectObject(dc, bitmap), fontBefore = SelectObject(dc, font);
    SetTextColor(dc, RGB(255, 255, 255));
    SetBkMode(dc, TRANSPARENT);
    RECT place{0, 0, width, height};
    const auto length = static_cast<int>(bytes.size() / sizeof(wchar_t));
    DrawTextW(dc, text, length, &place, DT_WORDBREAK | DT_NOPREFIX);
    GdiFlush();
    std::vector<std::uint8_t> covered;
    for (int i = 0; i < width * height; ++i) covered.push_back(static_cast<std::uint8_t*>(pixels)[4 * i + 1]);
    SelectObject(dc, bitmapBefore);
    SelectObject(dc, fontBefore);
    DeleteObject(font);
    DeleteObject(bitmap);
    DeleteDC(dc);
    return json(wide(hex(covered.data(), covered.size())));
}

struct Search {
    const std::wstring& className;
    HWND found;
};

BOOL CALLBACK findClass(HWND window, LPARAM into) {
    auto& search = *reinterpret_cast<Search*>(into);
    if (className(window) != search.className) return TRUE;
    search.found = window;
    return FALSE;
}

/// follow CLASS MILLISECONDS: where a window that is about to appear stands until it goes again, each place in its turn,
/// and whether it ever was the foreground window, or not topmost.
std::string follow(const Words& words) {
    const ULONGLONG end = GetTickCount64() + std::stoul(words.at(2));
    std::vector<std::string> places;
    bool foreground = false, sank = false;
    Search search{words.at(1), nullptr};
    for (; GetTickCount64() < end; Sleep(1)) {
        if (!search.found) EnumWindows(findClass, reinterpret_cast<LPARAM>(&search));
        if (!search.found) continue;
        RECT place{};
        if (!GetWindowRect(search.found, &place)) break; // it has gone
        foreground |= GetForegroundWindow() == search.found;
        sank |= !(GetWindowLongW(search.found, GWL_EXSTYLE) & WS_EX_TOPMOST);
        if (places.empty() || places.back() != json(place)) places.push_back(json(place));
    }
    return object({{L"places", list(places)}, {L"foreground", json(foreground)}, {L"sank", json(sank)}});
}

/// Sends the registered message of that name to all top-level windows.
std::string broadcast(const Words& words) {
    return json(SendNotifyMessageW(HWND_BROADCAST, RegisterWindowMessageW(words.at(1).c_str()), 0, 0) != FALSE);
}

/// forget icon CLASS ID: takes a window's icon out of the notification area behind its program's back.
std::string forgetIcon(const Words& words) {
    Search search{words.at(1), nullptr};
    EnumWindows(findClass, reinterpret_cast<LPARAM>(&search));
    NOTIFYICONDATAW icon{};
    icon.cbSize = sizeof icon;
    icon.hWnd = search.found;
    icon.uID = static_cast<UINT>(std::stoul(words.at(2)));
    return json(Shell_NotifyIconW(NIM_DELETE, &icon) != FALSE);
}

// ------------------------------------------------------------------------------------------------ registry

struct Key {
    HKEY handle = nullptr;
    ~Key() {
        if (handle) RegCloseKey(handle);
    }
};

/// Every value of a key with its type and its raw data, and the names of the keys below it; null for no such key.
std::string readKey(const Words& words) {
    Key key;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, words.at(1).c_str(), 0, KEY_READ, &key.handle) != ERROR_SUCCESS) return "null";
    std::vector<std::pair<std::wstring, std::string>> values;
    for (DWORD i = 0;; ++i) {
        // The narrow call, since it hands out the data as the narrow writer gave them, without a NUL of its own.
        char name[256];
        DWORD length = sizeof name, type = 0, size = 0;
        if (RegEnumValueA(key.handle, i, name, &length, nullptr, &type, nullptr, &size) != ERROR_SUCCESS) break;
        std::vector<std::uint8_t> data(size);
        RegQueryValueExA(key.handle, name, nullptr, &type, data.data(), &size);
        values.emplace_back(wide(name),
                            object({{L"type", std::to_string(type)}, {L"data", json(wide(hex(data.data(), size)))}}));
    }
    std::vector<std::string> below;
    wchar_t name[256];
    for (DWORD i = 0; RegEnumKeyW(key.handle, i, name, 256) == ERROR_SUCCESS; ++i)
        below.push_back(json(std::wstring(name)));
    return object({{L"values", object(values)}, {L"keys", list(below)}});
}

/// writeValue KEY NAME TYPE HEX
std::string writeValue(const Words& words) {
    Key key;
    RegCreateKeyW(HKEY_CURRENT_USER, words.at(1).c_str(), &key.handle);
    auto data = unhex(words.at(4));
    const auto size = static_cast<DWORD>(data.size());
    data.push_back(0xff); // a NUL behind the data would be stored with them, counted or not
    const auto type = static_cast<DWORD>(std::stoul(words.at(3)));
    return json(RegSetValueExA(key.handle, utf8(words.at(2)).c_str(), 0, type, data.data(), size) == ERROR_SUCCESS);
}

std::string deleteValue(const Words& words) {
    return json(RegDeleteKeyValueW(HKEY_CURRENT_USER, words.at(1).c_str(), words.at(2).c_str()) == ERROR_SUCCESS);
}

std::string deleteKey(const Words& words) {
    return json(RegDeleteTreeW(HKEY_CURRENT_USER, words.at(1).c_str()) == ERROR_SUCCESS);
}

// ---------------------------------------------------------------------------------------- desktop, programs

/// Where the desktop's picture comes from. The system reads it once for each process: ask in a process of its own.
std::string wallpaper(const Words&) {
    wchar_t path[MAX_PATH] = L"";
    SystemParametersInfoW(SPI_GETDESKWALLPAPER, MAX_PATH, path, 0);
    return json(std::wstring(path));
}

std::string screen(const Words&) {
    RECT work{};
    SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
    HDC dc = GetDC(nullptr);
    const int dpi = GetDeviceCaps(dc, LOGPIXELSX);
    ReleaseDC(nullptr, dc);
    return object({{L"size", list({std::to_string(GetSystemMetrics(SM_CXSCREEN)),
                                   std::to_string(GetSystemMetrics(SM_CYSCREEN))})},
                   {L"work", json(work)},
                   {L"dpi", std::to_string(dpi)}});
}

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

// ----------------------------------------------------------------------------------------------- wallpaper

BOOL CALLBACK redraw(HWND window, LPARAM) {
    if (IsWindowVisible(window))
        RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_FRAME | RDW_ALLCHILDREN);
    return TRUE;
}

LRESULT CALLBACK afterWallpaper(HWND window, UINT message, WPARAM w, LPARAM l) {
    constexpr UINT untilPainted = 200; // milliseconds
    if (message == WM_SETTINGCHANGE && w == SPI_SETDESKWALLPAPER) {
        SetTimer(window, 1, untilPainted, nullptr);
    } else if (message == WM_TIMER) {
        KillTimer(window, 1);
        EnumWindows(redraw, 0);
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

// ------------------------------------------------------------------------------------------------ commands

std::string answer(const Words& words) {
    static const std::map<std::wstring, std::function<std::string(const Words&)>> commands{
        {L"windows", windows},
        {L"children", children},
        {L"focus", focus},
        {L"close", closeWindow},
        {L"follow", follow},
        {L"broadcast", broadcast},
        {L"forget icon", forgetIcon},
        {L"icon", stockIcon},
        {L"lettering", lettering},
        {L"key", readKey},
        {L"write", writeValue},
        {L"delete", deleteValue},
        {L"deletekey", deleteKey},
        {L"wallpaper", wallpaper},
        {L"screen", screen},
        {L"read", readAloud},
        {L"act", act},
        {L"contrast", contrastTheme},
        {L"resolution", resolution},
        {L"appdata", applicationData},
        {L"processes", processes},
        {L"end", endProcess},
    };
    try {
        return commands.at(words.at(0))(words);
    } catch (const std::exception& fault) {
        return object({{L"error", json(wide(fault.what()))}});
    }
}

Words split(const std::wstring& line) {
    Words words;
    std::size_t begin = 0;
    for (std::size_t end = 0; end != std::wstring::npos; begin = end + 1) {
        end = line.find(L'\t', begin);
        words.push_back(line.substr(begin, end - begin));
    }
    return words;
}

} // namespace

int wmain(int count, wchar_t** arguments) {
    CoInitialize(nullptr);
    if (count > 1) {
        std::cout << answer(Words(arguments + 1, arguments + count)) << std::endl;
        return 0;
    }
    ReleaseDC(nullptr, GetDC(nullptr)); // the first touch raises the desktop: two threads at once would raise two
    CreateThread(nullptr, 0, keepWindowsInFront, nullptr, 0, nullptr);
    for (std::string line; std::getline(std::cin, line);) std::cout << answer(split(wide(line))) << std::endl;
    return 0;
}
