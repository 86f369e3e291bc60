#include "ui/frmOptions.h"

#include "api/CVHAPI.h"
#include "api/accountSettings.h"
#include "core/Numbers.h"
#include "scheduler/CTimerFunctions.h"
#include "state/modGlobals.h"
#include "ui/frmMain.h"

AutoForm<FrmOptions> frmOptions;

namespace box = platform::box;

FrmOptions::FrmOptions()
    : Form({.name = L"frmOptions",
            .caption = L"Quillory Options",
            .width = 560,
            .height = 560,
            .background = look::paper,
            .edge = look::water,
            .text = look::ink}) {
    showHand({&picCancel, &picSave, &picCloseX, &lblLogout});
    makeReachable({&lblLogout, &picSave, &picCancel});
    takeFocusOnClick({&picCloseX});
    giveAccessKeys({{&lblRotationText, L'H'},
                    {&chkFreeze, L'F'},
                    {&optRandomize, L'R'},
                    {&optSequential, L'Q'},
                    {&lblQualityText, L'M'},
                    {&chkAutoUpdate, L'A'},
                    {&lblLogout, L'L'},
                    {&picSave, L'S'},
                    {&picCancel, L'C'}});
    escapePresses = &picCancel;
    picSave.Click = [this] { picSave_Click(); };
    picCancel.Click = [this] { picCancel_Click(); };
    picCloseX.Click = [this] { picCancel_Click(); };
    lblLogout.Click = [this] { lblLogout_Click(); };
    chkFreeze.MouseUp = [this](auto&&...) { chkFreeze_MouseUp(); };
}

/// Its controls are the user's options: a close request cancels, and the form stays.
void FrmOptions::Form_Unload(std::int16_t& Cancel) {
    Cancel = 1;
    picCancel_Click();
}

void FrmOptions::loadOptions() {
    txtFrequency.Text = getAccountSetting(L"Frequency", L"3");
    cboFrequencyType.Text = getAccountSetting(L"FrequencyType", L"Hours");
    chkFreeze.Value = toInteger(getAccountSetting(L"Freeze", L"0"));
    chkAutoUpdate.Value = toInteger(getAccountSetting(L"AutoUpdate", L"1"));
    txtRating.Text = getAccountSetting(L"QualityRating", L"0");
    const bool randomize = getAccountSetting(L"Method", L"Randomize") == L"Randomize";
    (randomize ? optSequential : optRandomize).Value = false;
    (randomize ? optRandomize : optSequential).Value = true;
    if (toDouble(txtFrequency.Text) < 10 && cboFrequencyType.Text == L"Minutes") txtFrequency.Text = L"10";
    UpdateChangeOnTrigger();
}

/// Sets the schedule, and restarts the countdown: a cancel does so as surely as a save.
void FrmOptions::UpdateChangeOnTrigger() {
    secondsSinceChange = 0;
    const double frequency = toDouble(txtFrequency.Text);
    if (cboFrequencyType.Text == L"Minutes") changeInterval = toLong(frequency * 60);
    if (cboFrequencyType.Text == L"Hours") changeInterval = toLong(frequency * 60 * 60);
    if (cboFrequencyType.Text == L"Days") changeInterval = toLong(frequency * 60 * 60 * 24);
}

/// The checks, in the order that the user meets them. What an earlier step has written into a box stays written.
bool FrmOptions::optionsAreValid() {
    const auto refuse = [](Control& control, const std::wstring& title, const std::wstring& text) {
        platform::messageBox(text, box::exclamation, title);
        control.SetFocus();
        return false;
    };
    const auto rounded = [](const std::wstring& text) { return std::to_wstring(toLong(text)); };

    if (!isNumeric(txtFrequency.Text) || toDouble(txtFrequency.Text) < 1)
        return refuse(txtFrequency, L"Invalid Frequency", L"Oops! The frequency must be a positive number!");
    if (toDouble(txtFrequency.Text) > 500)
        return refuse(txtFrequency, L"Invalid Frequency", L"Oops! The frequency cannot be larger than 500!");
    txtFrequency.Text = rounded(txtFrequency.Text);

    std::wstring rating = txtRating.Text;
    std::erase(rating, L'+');
    txtRating.Text = rating;
    if (!isNumeric(rating))
        return refuse(txtRating, L"Non-Numeric Rating",
                      L"The average quality rating must be a number.  Please check the value and try again.");
    if (toDouble(rating) < -99 || toDouble(rating) > 200)
        return refuse(
            txtRating, L"Invalid Rating Range",
            L"The average quality rating must be between -99 and 200.  Please check the value and try again.");
    txtRating.Text = rounded(rating);

    if (toDouble(txtFrequency.Text) < 10 && cboFrequencyType.Text == L"Minutes")
        return refuse(txtFrequency, L"Too Frequent Wallpaper Rotation",
                      L"Oops! The most frequent update allowed is every 10 minutes.");
    if (!existsInCombo(cboFrequencyType.Text, cboFrequencyType))
        return refuse(cboFrequencyType, L"Invalid Frequency Type",
                      L"Invalid selection for 'Frequency Type'.  Please select Hours, Minutes, or Days.");
    return true;
}

void FrmOptions::picSave_Click() {
    if (!optionsAreValid()) return;
    UpdateChangeOnTrigger();
    applyFreeze();
    saveAccountSetting(L"Freeze", std::to_wstring(chkFreeze.Value));
    saveAccountSetting(L"AutoUpdate", std::to_wstring(chkAutoUpdate.Value));
    saveAccountSetting(L"FrequencyType", cboFrequencyType.Text);
    saveAccountSetting(L"Frequency", txtFrequency.Text);
    saveAccountSetting(L"QualityRating", txtRating.Text);
    if (optRandomize.Value)
        saveAccountSetting(L"Method", L"Randomize");
    else if (optSequential.Value)
        saveAccountSetting(L"Method", L"Sequential");
    noWallpapersExist = false;
    leave();
}

void FrmOptions::picCancel_Click() {
    Hide();
    loadOptions();
    frmMain->Show();
}

void FrmOptions::lblLogout_Click() {
    const auto answer = platform::messageBox(L"Are you sure you want to logout of your Velvet Harbor account?",
                                             box::yesNo | box::question, L"Confirm Logout?");
    if (answer != box::resultYes) return;
    picCancel_Click();
    gAPI->APILogout();
}

/// A click with the mouse takes effect at once; a change from the keyboard at the save.
void FrmOptions::chkFreeze_MouseUp() { applyFreeze(); }

void FrmOptions::applyFreeze() {
    const bool running = chkFreeze.Value != 1;
    if (running) {
        Start_CheckIdle = static_cast<std::int16_t>(timerTick);
        Start_ChangeWallpaper = static_cast<std::int16_t>(timerTick);
    }
    gTimers->Active_CheckIdle = running;
    gTimers->Active_ChangeWallpaper = running;
}

void FrmOptions::leave() {
    Hide();
    frmMain->Show();
}
