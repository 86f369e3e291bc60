#include "state/modGlobals.h"

#include <algorithm>

#include "platform/RunTimeError.h"

std::wstring tempFolder;
std::wstring screenAspectRatio;

bool idleHold;
std::int32_t secondsSinceChange;
std::int32_t changeInterval;
bool noWallpapersExist;

std::int32_t activeTab;
std::wstring selectedGallery;
std::wstring selectedCategory;
Galleries galleries;

std::int32_t wallpaperId;
std::wstring wallpaperLink;

std::int32_t timerTick;
std::int16_t Start_CheckIdle, Start_ChangeWallpaper, Start_SockTimeout, Start_NetworkRetry;

Galleries::Gallery& Galleries::add(const std::wstring& name) {
    if (find(name)) throw RunTimeError(errors::duplicateKey);
    return entries.emplace_back(Gallery{name});
}

const Galleries::Gallery& Galleries::item(const std::wstring& name) const {
    const Gallery* found = find(name);
    if (!found) throw RunTimeError(errors::invalidCall);
    return *found;
}

const Galleries::Gallery* Galleries::find(const std::wstring& name) const {
    const auto found = std::ranges::find_if(entries, [&](const Gallery& gallery) { return gallery.front() == name; });
    return found == entries.end() ? nullptr : &*found;
}
