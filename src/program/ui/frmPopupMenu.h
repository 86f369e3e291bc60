#pragma once

#include "platform/Toolkit.h"

/// The tray's menu, and the window that the tray icon's mouse events arrive at. Never shown.
struct FrmPopupMenu : Form {
    // mnuSystrayPopup: the entries of the one popup, from top to bottom.
    MenuEntry mnuProcessing{L"Quillory is busy...", false, false, {}};
    MenuEntry mnuPleaseWait{L"Please wait.", false, false, {}};
    MenuEntry mnuSep0{L"-", false, true, {}};
    MenuEntry mnuVisitVH{L"&Visit VelvetHarbor", true, true, {}};
    MenuEntry mnuViewCurrent{L"View Info on &Current Wallpaper", true, true, {}};
    MenuEntry mnuSep1{L"-", true, true, {}};
    MenuEntry mnuEditPreferences{L"Edit &Preferences", true, true, {}};
    MenuEntry mnuForce{L"&Rotate Wallpaper Now", true, true, {}};
    MenuEntry mnuSep2{L"-", true, true, {}};
    MenuEntry mnuExit{L"E&xit Quillory", true, true, {}};

    FrmPopupMenu();
    void Form_Unload(std::int16_t& Cancel);
    void Form_MouseMove(double X);

    void mnuVisitVH_Click();
    void mnuViewCurrent_Click();
    void mnuEditPreferences_Click();
    void mnuForce_Click();
    void mnuExit_Click();

private:
    void refreshTip();
    void updatePopupMenu();
};
extern AutoForm<FrmPopupMenu> frmPopupMenu;
