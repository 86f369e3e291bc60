#include "ui/frmMain.h"

#include "api/CVHAPI.h"
#include "api/accountSettings.h"
#include "core/modShell.h"
#include "platform/Desktop.h"
#include "scheduler/CTimerFunctions.h"
#include "state/modGlobals.h"
#include "ui/frmOptions.h"
#include "ui/windows.h"

AutoForm<FrmMain> frmMain;

namespace box = platform::box;

FrmMain::FrmMain()
    : Form({.name = L"frmMain",
            .caption = L"Quillory - Desktop Wallpaper Manager",
            .width = 640,
            .height = 520,
            .background = look::paper,
            .edge = look::water,
            .text = look::ink}) {
    for (std::size_t i = 0; i < picSourceTabs.size(); ++i) {
        picSourceTabs[i].Tag = L"U";
        picSourceTabs[i].captionInset = 56;
        picSourceTabs[i].Click = [this, i] { picSourceTabs_Click(static_cast<std::int16_t>(i)); };
        picSourceTabsAlt[i].Visible = false;
        frmSourceTabs[i].Visible = false;
        frmSourceTabs[i].roundTop = false;
        showHand({&picSourceTabs[i]});
        makeReachable({&picSourceTabs[i]});
    }
    picBuff.Visible = false;
    showHand({&picCloseX, &lblUploadedWhere, &lblFavoriteWhere, &picMainTopLogo, &picSave, &picExit, &picOptions});
    makeReachable({&lblUploadedWhere, &lblFavoriteWhere, &picSave, &picExit, &picOptions});
    takeFocusOnClick({&picCloseX, &picMainTopLogo});
    giveAccessKeys({{&picSourceTabs[0], L'M'},
                    {&picSourceTabs[1], L'T'},
                    {&picSourceTabs[2], L'C'},
                    {&optMemberFavorites, L'F'},
                    {&optMemberUploads, L'U'},
                    {&lblEnterTag, L'N'},
                    {&lblGallery, L'G'},
                    {&lblCategory, L'A'},
                    {&picOptions, L'O'},
                    {&picExit, L'X'},
                    {&picSave, L'S'}});

    tmrMain.Timer = [this] { tmrMain_Timer(); };
    picSave.Click = [this] { picSave_Click(); };
    cmdSaveMin.Click = [this] { picSave_Click(); };
    picCloseX.Click = [this] { picSave_Click(); };
    picExit.Click = [this] { picExit_Click(); };
    picOptions.Click = [this] { picOptions_Click(); };
    picMainTopLogo.Click = [this] { picMainTopLogo_Click(); };
    lblFavoriteWhere.Click = [this] { lblFavoriteWhere_Click(); };
    lblUploadedWhere.Click = [this] { lblUploadedWhere_Click(); };
    optMemberFavorites.Click = [this] { optMemberFavorites_Click(); };
    optMemberUploads.Click = [this] { optMemberUploads_Click(); };
    cboGallery.Click = [this] { cboGallery_Click(); };
    cboGallery.KeyDown = [this] { cboGallery_KeyDown(); };
    cboGallery.KeyUp = [this] { cboGallery_KeyUp(); };
    cboGallery.Validate = [this](bool& Cancel) { cboGallery_Validate(Cancel); };
    cboCategory.KeyDown = [this] { cboCategory_KeyDown(); };
    cboCategory.KeyUp = [this] { cboCategory_KeyUp(); };
    cboCategory.Validate = [this](bool& Cancel) { cboCategory_Validate(Cancel); };
}

/// A close request of the system minimizes the window; no tray icon is made.
void FrmMain::Form_Unload(std::int16_t& Cancel) {
    WindowState = windowMinimized;
    Cancel = 1;
}

void FrmMain::tmrMain_Timer() { gTimers->TimerTick(); }

void stopClock() { frmMain->tmrMain.Enabled = false; }

void FrmMain::picSourceTabs_Click(std::int16_t Index) { toggleSourceTabs(Index); }

void FrmMain::picSave_Click() {
    if (activeTab == 1 && !validateTagName()) return;
    minimizeToTray();
    if (frmOptions->chkFreeze.Value == 0) {
        gAPI->apiForced = true;
        gAPI->RotateWallpaper();
    }
}

void FrmMain::picExit_Click() { exitQuillory(false); }

void FrmMain::picOptions_Click() {
    Hide();
    frmOptions->Show();
    platform::setForegroundWindow(frmOptions->hWnd());
}

void FrmMain::picMainTopLogo_Click() { openLink(std::wstring(SiteHomeUrl) + L"?source=Quillory"); }

void FrmMain::lblFavoriteWhere_Click() {
    openLink(std::wstring(MemberSiteUrl) + gAPI->apiUsername + L"/favorites/?source=Quillory");
}

void FrmMain::lblUploadedWhere_Click() {
    openLink(std::wstring(MemberSiteUrl) + gAPI->apiUsername + L"/uploads/?source=Quillory");
}

void FrmMain::optMemberFavorites_Click() {
    noWallpapersExist = false;
    saveAccountSetting(L"UseMembers", L"Favorites");
}

void FrmMain::optMemberUploads_Click() {
    noWallpapersExist = false;
    saveAccountSetting(L"UseMembers", L"Uploads");
}

// The combos: a keystroke cannot change the text while the key is down, and another gallery resets the category.

void FrmMain::forgetCategoryOfOtherGallery() {
    if (cboGallery.Text == selectedGallery) return;
    cboCategory.Text = allCategories;
    selectedCategory = allCategories;
}

void FrmMain::cboGallery_Click() { forgetCategoryOfOtherGallery(); }

void FrmMain::cboGallery_KeyDown() {
    cboGallery.Locked = true;
    if (cboGallery.Text == selectedGallery) return;
    forgetCategoryOfOtherGallery();
    cboCategory.Locked = false;
}

void FrmMain::cboGallery_KeyUp() {
    cboGallery.Locked = false;
    if (cboGallery.Text == selectedGallery) return;
    forgetCategoryOfOtherGallery();
    cboCategory.Locked = false;
}

void FrmMain::cboGallery_Validate(bool& Cancel) {
    if (!existsInCombo(cboGallery.Text, cboGallery)) {
        cboGallery.Text = selectedGallery;
        Cancel = true;
        return;
    }
    if (cboGallery.Text != selectedGallery) {
        selectedGallery = cboGallery.Text;
        updateCategoryList();
    }
    noWallpapersExist = false;
    saveAccountSetting(L"Gallery", cboGallery.Text);
}

void FrmMain::cboCategory_KeyDown() { cboCategory.Locked = true; }

void FrmMain::cboCategory_KeyUp() { cboCategory.Locked = false; }

/// selectedCategory stays at the value of the last reset or login: that is what a text that fails falls back to.
void FrmMain::cboCategory_Validate(bool& Cancel) {
    if (!existsInCombo(cboCategory.Text, cboCategory)) {
        cboCategory.Text = selectedCategory;
        Cancel = true;
        return;
    }
    noWallpapersExist = false;
    saveAccountSetting(L"Category", cboCategory.Text);
}

bool FrmMain::validateTagName() {
    const std::wstring tag = txtTagName.Text;
    if (tag.empty()) {
        platform::messageBox(L"Please enter one or more tags that you would like to use!", box::exclamation,
                             L"Quillory Tag Error");
        return false;
    }
    if (tag.size() > 64) {
        refuseTag(L"A tag can only be a maximum of 64 characters long.  Please double-check your tag exists on Velvet "
                  L"Harbor, "
                  L"then try again.",
                  L"Tag Too Long");
        return false;
    }
    const std::wstring allowed = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-*, ";
    if (tag.find_first_not_of(allowed) != std::wstring::npos) {
        refuseTag(L"Oops! A tag can only contain letters, numbers, dashes, spaces, and wildcard characters (*)." +
                      crLf + crLf + L"To enter multiple tags, seperate them with a comma.",
                  L"Invalid Character");
        return false;
    }
    lastTagName = tag;
    noWallpapersExist = false;
    saveAccountSetting(L"TagName", tag);
    return true;
}

void FrmMain::refuseTag(const std::wstring& text, const std::wstring& title) {
    txtTagName.Text = lastTagName;
    platform::messageBox(text, box::information, title);
    if (!Visible) return;
    txtTagName.SetFocus();
    txtTagName.SelStart = static_cast<std::int32_t>(txtTagName.Text().size());
}
