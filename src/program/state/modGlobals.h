#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class CVHAPI;
class CTimerFunctions;

/// The program's global state. Everything starts at zero, false or empty. This room knows no other: gAPI and gTimers
/// are defined where their classes are.

extern std::unique_ptr<CVHAPI> gAPI;             // the one service client
extern std::unique_ptr<CTimerFunctions> gTimers; // the one scheduler

extern std::wstring tempFolder;        // the data folder, with a backslash at the end
extern std::wstring screenAspectRatio; // screen width over height, as the service is asked for it

extern bool idleHold;                   // the idle trigger has fired, rotation is held
extern std::int32_t secondsSinceChange; // scheduler ticks counted since the last rotation
extern std::int32_t changeInterval;     // seconds between rotations
extern bool noWallpapersExist;          // the source yielded no wallpaper: the rotation count stands still

extern std::int32_t activeTab;       // the source: 0 member, 1 tags, 2 category
extern std::wstring selectedGallery; // in effect, by its name
extern std::wstring selectedCategory;

/// The gallery tree, in the order of the service, keyed by gallery name. The first item of a gallery is its own name,
/// those behind it are its categories.
class Galleries {
public:
    using Gallery = std::vector<std::wstring>;

    void clear() { entries.clear(); }

    /// A new gallery with its name as first item. Raises duplicateKey (457) for a name that is there already.
    Gallery& add(const std::wstring& name);

    /// Raises invalidCall (5) for a name that is not there.
    const Gallery& item(const std::wstring& name) const;

    auto begin() const { return entries.begin(); }
    auto end() const { return entries.end(); }
    std::size_t size() const { return entries.size(); }

private:
    const Gallery* find(const std::wstring& name) const;
    std::vector<Gallery> entries;
};
extern Galleries galleries;

extern std::int32_t wallpaperId; // of the wallpaper being fetched
extern std::wstring wallpaperLink;

extern std::int32_t timerTick; // 0 to 59
extern std::int16_t Start_CheckIdle, Start_ChangeWallpaper, Start_SockTimeout, Start_NetworkRetry;

inline const std::wstring allGalleries = L"All Galleries";
inline const std::wstring allCategories = L"All Categories";
inline const std::wstring loadingText = L"Loading..."; // in a combo: the gallery tree has not arrived yet
