#pragma once

#include "platform/Toolkit.h"
#include "ui/Chrome.h"
#include "ui/Look.h"

/// The quick start guide, modal, which opens after each login until the user ticks it away.
struct FrmQuickStart : Form {
    Backdrop picHeaderBg{*this, {0, 0, 560, 40}, "header-560"};
    PictureBox imgMark{*this, {10, 8, 24, 24}, "mark"};
    Label lblHeaderTitle{*this, {42, 8, 470, 24}, L"Quillory Wallpaper Manager", look::title};

    std::array<PictureBox, 4> imgGuide{{
        {*this, {24, 60, 64, 64}, "guide-0"},
        {*this, {24, 156, 64, 64}, "guide-1"},
        {*this, {24, 252, 64, 64}, "guide-2"},
        {*this, {24, 348, 64, 64}, "guide-3"},
    }};
    std::array<Label, 4> lblQuickStartText{{
        {*this, {108, 50, 432, 84},
            L"We're trying to make Quillory as easy as possible to use, while giving you the flexability you desire.  On the "
            L"top of the main screen, you will see three big buttons (Members / Tag / Category).  These are the \"sources\", "
            L"which determine where Quillory gets the wallpapers for rotation.  Clicking on each one will bring up a quick "
            L"description of what it is.",
            look::caption},
        {*this, {108, 146, 432, 84},
            L"Quillory downloads all of its wallpapers from VelvetHarbor (to save you space on your computer).  If you have any "
            L"wallpapers you would like to add to your rotation, visit VelvetHarbor and upload them (100% free) with your "
            L"account.",
            look::caption},
        {*this, {108, 242, 432, 84},
            L"After you configure Quillory, click the \"Save and Minimize\" button to send the program down to your system tray "
            L"(you'll see our logo/icon to the left of your clock in the bottom right-corner of your screen).  You can "
            L"double-click that icon to bring the configuration screen back up at any time, or right-click on the icon for "
            L"even more options.",
            look::caption},
        {*this, {108, 338, 432, 84}, L"Thanks for using Quillory.  Enjoy!", look::caption},
    }};

    CheckBox chkDontShowAgain{*this, {24, 452, 300, 20}, L"Don't show this again"};
    Button picClose{*this, {390, 444, 150, 36}, "button-lamp", L"Close", look::lampButton};
    CloseMark picCloseX{*this, {530, 10, 20, 20}};

    FrmQuickStart();
    void Form_Activate();
    void picClose_Click();

private:
    HeaderDrag drag{*this, picHeaderBg, lblHeaderTitle};
};
extern AutoForm<FrmQuickStart> frmQuickStart;
