#pragma once

#include "platform/Toolkit.h"
#include "ui/Chrome.h"
#include "ui/Look.h"

/// The options window. It stays loaded for the whole run: its controls are the live copy of the user's options, and the
/// rest of the program asks them and not the settings.
struct FrmOptions : Form {
    Backdrop imgOptionsBg{*this, {0, 40, 560, 520}, "options-bg"};
    Backdrop picHeaderBg{*this, {0, 0, 560, 40}, "header-560"};
    PictureBox imgMark{*this, {10, 8, 24, 24}, "mark"};
    Label lblHeaderTitle{*this, {42, 8, 470, 24}, L"Quillory Options", look::title};

    Sheet rotation{*this, {20, 56, 520, 172}};
    Label lblRotationText{rotation, {16, 12, 488, 20}, L"How often should Quillory rotate your wallpaper image?", look::body};
    TextBox txtFrequency{rotation, {16, 38, 60, 24}, L"3"};
    ComboBox cboFrequencyType{rotation, {84, 38, 120, 24}, {L"Minutes", L"Hours", L"Days"}, L"Hours"};
    CheckBox chkFreeze{rotation, {16, 74, 488, 20}, L"Freeze Current Wallpaper (Pause Rotation)"};
    Label lblNextRotationIn{rotation, {16, 104, 130, 20}, L"Next Rotation In:", look::caption};
    Label lblNextRotation{rotation, {150, 104, 354, 20}, L"Not Running", look::caption};
    Label lblMethodTitle{rotation, {16, 134, 130, 20}, L"Rotation Method:", look::caption};
    OptionButton optRandomize{rotation, {150, 134, 120, 20}, L"Randomize", true};
    OptionButton optSequential{rotation, {280, 134, 120, 20}, L"Sequential"};

    Sheet quality{*this, {20, 240, 520, 88}};
    Label lblQualityText{quality, {16, 12, 412, 24},
        L"Minimum vote rating for wallpapers to be downloaded by Quillory:", look::caption};
    TextBox txtRating{quality, {440, 12, 64, 24}, L"0"};
    Label lblQualityExample{quality, {16, 44, 488, 34},
        L"(Default is 0.  The greater this number, the fewer wallpapers in rotation, but the higher the quality.)",
        look::quiet};

    Sheet updates{*this, {20, 340, 520, 88}};
    CheckBox chkAutoUpdate{updates, {16, 12, 488, 20}, L"Automatically download and install Quillory updates"};
    Label lblUpdatesText{updates, {16, 40, 488, 36},
        L"Quillory periodically releases software updates which add functionality and fix bugs.  We strongly encourage "
        L"users to keep updates enabled.",
        look::quiet};

    Label lblLoggedInAs{*this, {36, 446, 90, 20}, L"Logged in as:", look::caption};
    Label lblLoggedIn{*this, {130, 446, 300, 20}, L"[Not Logged In]", look::caption};
    Link lblLogout{*this, {464, 446, 60, 20}, L"Logout", look::linkRight};

    Button picSave{*this, {282, 504, 150, 36}, "button-lamp", L"Save", look::lampButton};
    Button picCancel{*this, {440, 504, 100, 36}, "button-quiet", L"Cancel", look::quietButton};
    CloseMark picCloseX{*this, {530, 10, 20, 20}};

    FrmOptions();
    void Form_Unload(std::int16_t& Cancel);
    void loadOptions();
    void UpdateChangeOnTrigger();

    void picSave_Click();
    void picCancel_Click();
    void lblLogout_Click();
    void chkFreeze_MouseUp();

private:
    bool optionsAreValid();
    void applyFreeze();
    void leave();

    HeaderDrag drag{*this, picHeaderBg, lblHeaderTitle};
};
extern AutoForm<FrmOptions> frmOptions;
