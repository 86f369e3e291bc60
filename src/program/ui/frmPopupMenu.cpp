#include "ui/frmPopupMenu.h"

#include "api/CVHAPI.h"
#include "core/Endpoints.h"
#include "core/Numbers.h"
#include "core/modShell.h"
#include "platform/Desktop.h"
#include "platform/RunTimeError.h"
#include "scheduler/CTimerFunctions.h"
#include "state/modGlobals.h"
#include "ui/frmMain.h"
#include "ui/frmOptions.h"
#include "ui/modSysTray.h"

AutoForm<FrmPopupMenu> frmPopupMenu;

namespace {

constexpr std::int32_t leftDoubleClick = 515; // WM_LBUTTONDBLCLK
constexpr std::int32_t rightButtonUp = 517;   // WM_RBUTTONUP

const std::wstring homePage = std::wstring(SiteHomeUrl) + L"?source=Quillory";

} // namespace

FrmPopupMenu::FrmPopupMenu()
    : Form({.name = L"frmPopupMenu",
            .caption = L"Popup Menu Form",
            .width = 100,
            .height = 100,
            .inTaskbar = false,
            .unseen = true}) {
    MouseMove = [this](std::int16_t, std::int16_t, double X, double) { Form_MouseMove(X); };
    mnuVisitVH.Click = [this] { mnuVisitVH_Click(); };
    mnuViewCurrent.Click = [this] { mnuViewCurrent_Click(); };
    mnuEditPreferences.Click = [this] { mnuEditPreferences_Click(); };
    mnuForce.Click = [this] { mnuForce_Click(); };
    mnuExit.Click = [this] { mnuExit_Click(); };
}

/// The icon's events come to this window for as long as the program runs. A close request can reach it, unseen as it
/// is: after its menu it is the foreground window.
void FrmPopupMenu::Form_Unload(std::int16_t& Cancel) { Cancel = 1; }

/// The tray icon's events arrive here, because its callback message is that of a mouse move: the event's number comes
/// as the X coordinate.
void FrmPopupMenu::Form_MouseMove(double X) {
    try {
        const std::int32_t event = toLong(X / screen::TwipsPerPixelX());
        refreshTip();
        if (event == leftDoubleClick) {
            if (frmMain->Enabled) frmMain->unMinimize();
        } else if (event == rightButtonUp) {
            updatePopupMenu();
            platform::setForegroundWindow(hWnd());
            PopupMenu({&mnuProcessing, &mnuPleaseWait, &mnuSep0, &mnuVisitVH, &mnuViewCurrent, &mnuSep1,
                       &mnuEditPreferences, &mnuForce, &mnuSep2, &mnuExit},
                      &mnuEditPreferences);
        }
    } catch (const RunTimeError& error) {
        platform::messageBox(L"Sub Form_MouseMove, frmPopupMenu", error.Number, error.Description);
    }
}

/// The tip has no timer: a mouse event over the icon is what makes it current, just before the shell shows it.
void FrmPopupMenu::refreshTip() {
    if (frmOptions->chkFreeze.Value == 1) {
        storeTip(L"Quillory - Frozen on Current Wallpaper"); // in the record alone: the icon keeps the tip that it had
        return;
    }
    if (gAPI->apiNetworkOutage)
        storeTip(L"Quillory - Waiting for Internet Connectivity");
    else
        storeTip(L"Quillory - Next update in " + getFormattedTimeUntilChange());
    platform::notifyIcon(platform::nimModify, gTrayIcon);
}

void FrmPopupMenu::updatePopupMenu() {
    const bool isBusy = !frmMain->Enabled;
    for (MenuEntry* entry : {&mnuProcessing, &mnuPleaseWait, &mnuSep0}) entry->Visible = isBusy;
    for (MenuEntry* entry : {&mnuViewCurrent, &mnuEditPreferences, &mnuForce}) entry->Enabled = !isBusy;
}

void FrmPopupMenu::mnuVisitVH_Click() { openLink(homePage); }

void FrmPopupMenu::mnuViewCurrent_Click() {
    const std::wstring& link = gAPI->apiActiveWallpaperLink;
    openLink(link.empty() ? homePage : link + L"?source=Quillory");
}

void FrmPopupMenu::mnuEditPreferences_Click() { frmMain->unMinimize(); }

void FrmPopupMenu::mnuForce_Click() {
    gAPI->apiForced = true;
    gAPI->RotateWallpaper();
}

void FrmPopupMenu::mnuExit_Click() { frmMain->exitQuillory(false); }
