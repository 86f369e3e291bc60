#include "api/accountSettings.h"
#include "core/Errors.h"
#include "core/Strings.h"
#include "ui/frmMain.h"
#include "ui/frmPopupMenu.h"
#include "ui/modSysTray.h"
#include "ui/windows.h"

// The main window's way into the tray and out of it.

void minimizeToTray() {
    trapErrors(L"Function minimizeToTray, modMisc", [] {
        frmMain->Hide();
        CreateSystrayIcon(*frmPopupMenu, L"Quillory Wallpaper Manager");
        if (getAccountSetting(L"MinimizeHelp", L"0") == L"0") {
            showNotice(L"Quillory - Information",
                       L"Quillory has been minimized!" + crLf + crLf +
                           L"You'll see the Quillory icon in the bottom-right corner of your monitor.  To "
                           L"bring the preferences screen "
                           L"back, double-click on the icon.  To see more options, right-click on it.");
            saveAccountSetting(L"MinimizeHelp", L"1");
        }
    });
}

void FrmMain::unMinimize() {
    WindowState = windowNormal;
    Visible = true;
    Left = screen::Width() / 2 - Width / 2;
    Top = screen::Height() / 2 - Height / 2;
    SetFocus();
    RemoveSystrayIcon();
}
