#include "core/modGlobals.h"

#include <algorithm>

#include "api/CVHAPI.h"
#include "core/CTimerFunctions.h"
#include "core/Errors.h"
#include "core/modRegistry.h"
#include "ui/frmMain.h"

std::unique_ptr<CVHAPI> gAPI;
std::unique_ptr<CTimerFunctions> gTimers;

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

namespace {

/// Swaps the picture of a tab with that of its other state.
void swapTabPicture(FrmMain& window, std::size_t i) {
    window.picBuff.Picture = window.picSourceTabs[i].Picture;
    window.picSourceTabs[i].Picture = window.picSourceTabsAlt[i].Picture;
    window.picSourceTabsAlt[i].Picture = window.picBuff.Picture;
}

} // namespace

void toggleSourceTabs(std::int16_t Index) {
    trapErrors(L"Function toggleSourceTabs, modGlobals", [&] {
        FrmMain& window = *frmMain;
        for (std::size_t i = 0; i < window.picSourceTabs.size(); ++i) {
            PictureBox& tab = window.picSourceTabs[i];
            const bool isChosen = static_cast<std::int32_t>(i) == Index;
            if (tab.Tag == (isChosen ? L"U" : L"A")) {
                swapTabPicture(window, i);
                tab.Tag = isChosen ? L"A" : L"U";
                tab.MousePointer = isChosen ? pointerDefault : pointerHand;
            }
            window.frmSourceTabs[i].Visible = isChosen;
        }
        if (Index >= 0 && Index <= 2) activeTab = Index;
        noWallpapersExist = false;
        saveAccountSetting(L"ActiveTab", std::to_wstring(Index));
    });
}

void updateCategoryList() {
    trapErrors(L"Function updateCategoryList, modGlobals", [] {
        if (selectedGallery.empty()) selectedGallery = allGalleries;
        if (selectedCategory.empty()) selectedCategory = allCategories;
        ComboBox& galleryBox = frmMain->cboGallery;
        ComboBox& categoryBox = frmMain->cboCategory;
        galleryBox.Clear();
        categoryBox.Clear();
        galleryBox.AddItem(allGalleries);
        for (const auto& gallery : galleries) galleryBox.AddItem(gallery.front());
        galleryBox.Text = selectedGallery;
        categoryBox.AddItem(allCategories);
        if (selectedGallery != allGalleries) {
            const auto& gallery = galleries.item(selectedGallery);
            for (std::size_t i = 1; i < gallery.size(); ++i) categoryBox.AddItem(gallery[i]);
        }
        categoryBox.Text = selectedCategory;
        galleryBox.Enabled = true;
        categoryBox.Enabled = true;
    });
}
