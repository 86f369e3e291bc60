#include "api/CVHAPI.h"
#include "api/accountSettings.h"
#include "core/Errors.h"
#include "core/modMisc.h"
#include "state/modGlobals.h"
#include "ui/frmMain.h"
#include "ui/windows.h"

// The choice of a source in the main window: its tabs, and the two combos that the gallery tree fills.

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

void getGalleries() {
    frmMain->cboGallery.Enabled = false;
    frmMain->cboCategory.Enabled = false;
    Strings queryKeys, queryValues;
    array_push(queryKeys, L"withcategories");
    array_push(queryValues, L"yes");
    gAPI->APICloseSock();
    gAPI->APISend(L"vh.getGalleries", queryKeys, queryValues);
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
