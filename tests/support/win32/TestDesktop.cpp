#include "support/TestDesktop.h"

#include <chrono>
#include <deque>
#include <filesystem>

#include <windows.h>

#include "platform/Files.h"

namespace fs = std::filesystem;

namespace {

constexpr auto shellFolders = L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders";

std::deque<std::int32_t> answers;
std::vector<testDesktop::ShownBox> boxes;
HKEY ownHive = nullptr;
std::wstring formerWallpaper;

/// Of this process alone: test programs may run side by side.
std::wstring ownName() { return L"Quillory tests " + std::to_wstring(GetCurrentProcessId()); }

void removeFolder(const fs::path& folder) {
    std::error_code ignored;
    for (const auto& entry : fs::recursive_directory_iterator(folder, ignored))
        SetFileAttributesW(entry.path().c_str(), FILE_ATTRIBUTE_NORMAL); // one that is read-only would stay
    fs::remove_all(folder, ignored);
}

std::wstring textOf(HWND window) {
    std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(window)) + 1, L'\0');
    text.resize(static_cast<std::size_t>(GetWindowTextW(window, text.data(), static_cast<int>(text.size()))));
    return text;
}

/// The style bits by the icon that the box shows.
std::int32_t iconOf(HWND box) {
    const auto icons = {std::pair{platform::box::critical, IDI_ERROR},
                        {platform::box::question, IDI_QUESTION},
                        {platform::box::exclamation, IDI_WARNING},
                        {platform::box::information, IDI_INFORMATION}};
    for (HWND child = GetWindow(box, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
        const auto shown = reinterpret_cast<HICON>(SendMessageW(child, STM_GETICON, 0, 0));
        for (const auto& [bits, name] : icons) {
            if (shown && shown == LoadIcon(nullptr, name)) return bits;
        }
    }
    return 0;
}

void answer(HWND box) {
    const bool yesNo = GetDlgItem(box, IDYES) != nullptr;
    const std::int32_t buttons = yesNo ? platform::box::yesNo : platform::box::ok;
    boxes.push_back({textOf(GetDlgItem(box, 0xFFFF)), textOf(box), iconOf(box) | buttons});
    std::int32_t button = yesNo ? IDYES : IDOK;
    if (!answers.empty()) {
        button = answers.front();
        answers.pop_front();
    }
    if (button != 0) PostMessageW(GetDlgItem(box, button), BM_CLICK, 0, 0);
}

/// Told of each window of this thread that becomes active; the platform's dialogs have the class #32770.
LRESULT CALLBACK windowActivated(int code, WPARAM wParam, LPARAM lParam) {
    const auto window = reinterpret_cast<HWND>(wParam);
    if (code == HCBT_ACTIVATE && GetClassLongW(window, GCW_ATOM) == 32770 && !GetPropW(window, L"Answered")) {
        SetPropW(window, L"Answered", window);
        answer(window);
    }
    return CallNextHookEx(nullptr, code, wParam, lParam);
}

void makeHive() {
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    if (ownHive) RegCloseKey(ownHive);
    RegDeleteTreeW(HKEY_CURRENT_USER, ownName().c_str());
    RegCreateKeyW(HKEY_CURRENT_USER, ownName().c_str(), &ownHive);
    RegOverridePredefKey(HKEY_CURRENT_USER, ownHive);
}

} // namespace

namespace testDesktop {

void reset() {
    static const HHOOK hook = SetWindowsHookExW(WH_CBT, windowActivated, nullptr, GetCurrentThreadId());
    (void)hook;
    if (!ownHive) formerWallpaper = wallpaper();
    answers.clear();
    boxes.clear();
    platform::setEscapeHandler(nullptr);
    for (std::int16_t number = 1; number <= 511; ++number) platform::closeFile(number);
    removeFolder(scratchFolder());
    fs::create_directory(scratchFolder());
    makeHive();

    const std::wstring applicationData = scratchFolder() + L"\\AppData";
    fs::create_directory(applicationData);
    RegSetKeyValueW(HKEY_CURRENT_USER, shellFolders, L"AppData", REG_SZ, applicationData.c_str(),
                    static_cast<DWORD>(applicationData.size() + 1) * sizeof(wchar_t));
}

void cleanUp() {
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    RegDeleteTreeW(HKEY_CURRENT_USER, ownName().c_str());
    removeFolder(scratchFolder());
    if (wallpaper() != formerWallpaper) SystemParametersInfoW(SPI_SETDESKWALLPAPER, 0, formerWallpaper.data(), 3);
}

std::wstring scratchFolder() { return (fs::temp_directory_path() / ownName()).wstring(); }

void postMessage(platform::WindowHandle window, std::uint32_t message, std::uint32_t wParam, std::int32_t lParam) {
    PostMessageA(reinterpret_cast<HWND>(static_cast<std::uintptr_t>(window)), message, wParam, lParam);
}

void passTime(std::uint32_t milliseconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (std::chrono::steady_clock::now() < end) {
        platform::pumpMessages();
        Sleep(1);
    }
}

bool pumpUntil(const std::function<bool()>& done, int milliseconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (!done() && std::chrono::steady_clock::now() < end) passTime(1);
    return done();
}

void answerBoxes(const std::vector<std::int32_t>& buttons) { answers = {buttons.begin(), buttons.end()}; }

std::vector<ShownBox> shownBoxes() { return boxes; }

std::wstring wallpaper() {
    wchar_t path[MAX_PATH] = {};
    SystemParametersInfoW(SPI_GETDESKWALLPAPER, MAX_PATH, path, 0);
    return path;
}

} // namespace testDesktop
