#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Desktop.h"
#include "platform/Registry.h"
#include "platform/Shell.h"

/// The headless desktop's small services as a test sees them: what the machine looks like, which of its calls fail, and
/// what the program has done to it.
namespace headless {

/// Without regard to letter case, as file names and registry names compare.
struct CaselessOrder {
    bool operator()(const std::wstring& left, const std::wstring& right) const;
    bool operator()(const std::pair<std::wstring, std::wstring>& left,
                    const std::pair<std::wstring, std::wstring>& right) const;
};

/// Values by path (without a backslash at the end) and name.
using Registry = std::map<std::pair<std::wstring, std::wstring>, platform::RegistryValue, CaselessOrder>;

struct WallpaperCall {
    std::wstring path;
    std::uint32_t flags;
};
struct ShellCall {
    platform::WindowHandle owner;
    std::wstring operation;
    std::wstring target;
    std::wstring parameters;
    std::wstring directory;
    std::int32_t showCommand;
};
struct TrayCall {
    std::uint32_t message = 0;
    platform::NotifyIconData record;
};
struct PlaceCall {
    platform::WindowHandle window;
    std::int32_t insertAfter;
    std::uint32_t flags;
};

/// The machine. A test sets what it likes; reset() makes it new.
struct State {
    Registry registry; // of the current user; there is no other hive

    platform::Size screen{1920, 1080};
    platform::Size desktop{}; // where the system scales the windows; otherwise the screen's
    std::int32_t dpi = 96;
    platform::Rect workArea{0, 0, 1920, 1040};
    std::optional<platform::Point> cursor{{0, 0}}; // nothing: the desktop is locked

    std::wstring applicationData = L"C:\\Users\\alice\\AppData\\Roaming"; // empty: the shell knows of none
    std::wstring programFolder = L"C:\\Program Files\\Quillory";
    bool previousInstance = false;

    bool wallpaperTaken = true;    // the result of setWallpaper
    std::int32_t shellResult = 42; // the result of shellExecute
    bool notificationArea = true;  // false: the shell takes no icon

    std::vector<WallpaperCall> wallpapers;
    std::vector<ShellCall> started; // links and programs
    std::vector<TrayCall> trayCalls;
    std::optional<platform::NotifyIconData> trayIcon; // what stands in the notification area
    std::vector<PlaceCall> placed;
    std::vector<platform::WindowHandle> foreground;
};
extern State state;

inline Registry& registry() { return state.registry; }

/// Makes everything new, the loop of Loop.h too. The disk is then empty but for the application data folder and the
/// program's folder. Every test begins with it.
void reset();

/// Where a path of the program really lies: "C:\..." below a temporary folder, made by the first reset() and removed at
/// the end of the process. Existing names are found whatever their letter case.
std::filesystem::path mapFolder(const std::wstring& path);

/// The file operations that can be told to fail.
enum class FileCall { any, setAttributes, remove, makeDirectory, open, length, write, flush, replace, read };

/// From now on the call fails with the error for this path, or for every path if it is empty.
void failFile(FileCall call, const std::wstring& path, std::int32_t number);

/// The Nth call from now on, 1 for the next, fails with the error, whichever it is; later ones do not. 0 for no call.
void failNthFileCall(std::size_t n, std::int32_t number);

/// True once the failure asked of failNthFileCall has come: a loop over N ends when a run goes by without it.
bool nthFileCallFailed();

/// Closes the files, forgets the failures, empties the disk. A part of reset().
void resetFiles();

} // namespace headless
