#include "ui/frmQuickStart.h"

#include "api/accountSettings.h"
#include "ui/frmMain.h"

AutoForm<FrmQuickStart> frmQuickStart;

FrmQuickStart::FrmQuickStart()
    : Form({.name = L"frmQuickStart",
            .caption = L"Quillory - Quick Start Guide",
            .width = 560,
            .height = 500,
            .startUp = StartUp::centreOwner,
            .background = look::paper,
            .edge = look::water,
            .text = look::ink}) {
    showHand({&picClose, &picCloseX});
    makeReachable({&picClose});
    takeFocusOnClick({&picCloseX});
    giveAccessKeys({{&chkDontShowAgain, L'D'}, {&picClose, L'C'}});
    escapePresses = &picClose;
    Activate = [this] { Form_Activate(); };
    picClose.Click = [this] { picClose_Click(); };
    picCloseX.Click = [this] { picClose_Click(); };
}

void FrmQuickStart::Form_Activate() {
    if (frmMain->Visible) return;
    Left = screen::Width() / 2 - Width / 2;
    Top = screen::Height() / 2 - Height / 2;
}

void FrmQuickStart::picClose_Click() {
    saveAccountSetting(L"HideQuickStart", chkDontShowAgain.Value == 1 ? L"1" : L"0");
    frmQuickStart.Unload();
}
