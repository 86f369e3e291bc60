#include "platform/Registry.h"
#include "program/ProgramTest.h"
#include "support/RaisedNumber.h"

namespace {

class Options : public ProgramTest {
protected:
    void SetUp() override {
        ProgramTest::SetUp();
        gAPI->apiUsername = L"alice";
        frmMain->Enabled = true;
        frmOptions->Show();
        secondsSinceChange = 99;
        noWallpapersExist = gTimers->Active_ChangeWallpaper = gTimers->Active_CheckIdle = true;
    }
    static std::wstring shown() {
        const FrmOptions& window = *frmOptions;
        return window.txtFrequency.Text() + L" " + window.cboFrequencyType.Text() + L", freeze " +
               std::to_wstring(window.chkFreeze.Value) + L", update " + std::to_wstring(window.chkAutoUpdate.Value) +
               L", rating " + window.txtRating.Text() + (window.optRandomize.Value ? L", Randomize" : L"") +
               (window.optSequential.Value ? L", Sequential" : L"");
    }
    static std::wstring stored() {
        return setting(L"Frequency") + L" " + setting(L"FrequencyType") + L", freeze " + setting(L"Freeze") +
               L", update " + setting(L"AutoUpdate") + L", rating " + setting(L"QualityRating") + L", " +
               setting(L"Method");
    }
    static inline const std::wstring defaults = L"3 Hours, freeze 0, update 1, rating 0, Randomize";
    static inline const std::wstring nothing = L"(none) (none), freeze (none), update (none), rating (none), (none)";
};

TEST_F(Options, ASaveWritesThemAllAndMakesThemHold) {
    frmOptions->loadOptions();
    EXPECT_EQ(shown(), defaults);
    EXPECT_EQ(stored(), nothing);
    frmOptions->txtFrequency.Text = L"7";
    frmOptions->cboFrequencyType.Text = L"Days";
    Input::press(frmOptions->chkFreeze); // as from the keyboard
    Input::press(frmOptions->chkAutoUpdate);
    frmOptions->txtRating.Text = L"+5";
    Input::press(frmOptions->optSequential);
    EXPECT_TRUE(gTimers->Active_ChangeWallpaper && gTimers->Active_CheckIdle) << "a freeze waits for the save";
    Input::press(frmOptions->picSave);
    EXPECT_FALSE(gTimers->Active_ChangeWallpaper || gTimers->Active_CheckIdle);
    const std::wstring all = L"7 Days, freeze 1, update 0, rating 5, Sequential";
    EXPECT_EQ(stored(), all);
    EXPECT_EQ(changeInterval, 604800);
    EXPECT_EQ(secondsSinceChange, 0);
    EXPECT_FALSE(noWallpapersExist);
    EXPECT_TRUE(frmMain->Visible && !frmOptions->Visible);
    frmOptions->optSequential.Value = false;
    frmOptions->picSave_Click();
    EXPECT_EQ(stored(), all) << "no method is none";

    gAPI->apiUsername = L"bob";
    frmOptions->loadOptions();
    EXPECT_EQ(shown(), defaults) << "accounts keep their settings apart";
    gAPI->apiUsername = L"alice";
    frmOptions->loadOptions();
    EXPECT_EQ(shown(), all);
    saveAccountSetting(L"Method", L"randomize");
    frmOptions->optSequential.Value = false;
    frmOptions->loadOptions();
    EXPECT_EQ(shown(), all) << "anything but exactly Randomize";
}

TEST_F(Options, EveryWayOutCancels) {
    const std::function<void()> ways[] = {
        [] { Input::press(frmOptions->picCancel); }, [] { Input::press(frmOptions->picCloseX); },
        [] { Input::pressEscape(*frmOptions); }, [] { frmOptions->closeRequested(); }};
    for (const auto& leave : ways) {
        frmMain->Hide();
        frmOptions->Show();
        secondsSinceChange = 99;
        frmOptions->txtRating.Text = L"7";
        leave();
        ASSERT_TRUE(frmOptions.isLoaded());
        EXPECT_TRUE(frmMain->Visible && !frmOptions->Visible);
        EXPECT_EQ(shown(), defaults);
        EXPECT_EQ(secondsSinceChange, 0) << "a cancel restarts the countdown as a save does";
    }
    EXPECT_EQ(stored(), nothing);
}

TEST_F(Options, TheFreezeActsWithTheMouseAtOnceAndACancelDoesNotUndoIt) {
    Input::press(frmOptions->chkFreeze);
    frmOptions->chkFreeze.MouseUp(1, 0, 0, 0);
    EXPECT_FALSE(gTimers->Active_ChangeWallpaper || gTimers->Active_CheckIdle);
    Input::press(frmOptions->picCancel);
    EXPECT_EQ(frmOptions->chkFreeze.Value, 0);
    EXPECT_FALSE(gTimers->Active_ChangeWallpaper) << "the flags keep what the click gave them";
    timerTick = 33;
    frmOptions->chkFreeze.MouseUp(1, 0, 0, 0);
    EXPECT_TRUE(gTimers->Active_ChangeWallpaper && gTimers->Active_CheckIdle);
    EXPECT_EQ(std::pair(Start_ChangeWallpaper, Start_CheckIdle), std::pair(std::int16_t{33}, std::int16_t{33}));
}

TEST_F(Options, AreCheckedInOrderAndLeaveTheirMarks) {
    const std::wstring frequencyIs = L"Invalid Frequency | 48 | Oops! The frequency ";
    const std::wstring notPositive = frequencyIs + L"must be a positive number!";
    const std::wstring ratingIs = L"48 | The average quality rating must be ";
    const std::wstring check = L".  Please check the value and try again.";
    const std::wstring notNumeric = L"Non-Numeric Rating | " + ratingIs + L"a number" + check;
    const std::wstring range = L"Invalid Rating Range | " + ratingIs + L"between -99 and 200" + check;
    const std::wstring tooOften =
        L"Too Frequent Wallpaper Rotation | 48 | Oops! The most frequent update allowed is every 10 minutes.";
    const std::wstring noType = L"Invalid Frequency Type | 48 | Invalid selection for 'Frequency Type'.  Please select "
                                L"Hours, Minutes, or Days.";
    Control* const f = &frmOptions->txtFrequency;
    Control* const r = &frmOptions->txtRating;
    Control* const t = &frmOptions->cboFrequencyType;
    const std::tuple<std::wstring, std::wstring, std::wstring, std::wstring, Control*, std::wstring, std::wstring>
        cases[] = {// no box: it is saved
                   {L"", L"Hours", L"0", notPositive, f, L"", L"0"},
                   {L"0.5", L"Hours", L"0", notPositive, f, L"0.5", L"0"},
                   {L"500.4", L"Hours", L"0", frequencyIs + L"cannot be larger than 500!", f, L"500.4", L"0"},
                   {L"2.5", L"Hours", L"++x", notNumeric, r, L"2", L"x"},
                   {L"3.5", L"Hours", L"+200.4", range, r, L"4", L"200.4"},
                   {L"3", L"Hours", L"-99.5", range, r, L"3", L"-99.5"},
                   {L"9.4", L"Minutes", L"1.5", tooOften, f, L"9", L"2"},
                   {L"5", L"minutes", L"0", noType, t, L"5", L"0"},
                   {L"9.6", L"Minutes", L"+5", L"", nullptr, L"10", L"5"},
                   {L"500", L"Days", L"-99", L"", nullptr, L"500", L"-99"},
                   {L"1", L"Hours", L"200", L"", nullptr, L"1", L"200"}};
    for (const auto& [frequency, type, rating, box, focus, frequencyLeft, ratingLeft] : cases) {
        frmOptions->Visible = true;
        frmOptions->txtFrequency.Text = frequency;
        frmOptions->cboFrequencyType.Text = type;
        frmOptions->txtRating.Text = rating;
        secondsSinceChange = 99;
        Input::press(frmOptions->picSave);
        EXPECT_EQ(shown(),
                  frequencyLeft + L" " + type + L", freeze 0, update 0, rating " + ratingLeft + L", Randomize");
        EXPECT_EQ(frmOptions->Visible, !box.empty());
        EXPECT_EQ(secondsSinceChange, box.empty() ? 0 : 99);
        EXPECT_EQ(stored(), box.empty() ? shown() : nothing);
        if (box.empty()) continue;
        EXPECT_THAT(newBoxes(), ElementsAre(box));
        EXPECT_EQ(frmOptions->activeControl(), focus);
    }
}

TEST_F(Options, TheIntervalFollowsFromFrequencyAndType) {
    const std::tuple<const wchar_t*, const wchar_t*, const wchar_t*, int> cases[] = {
        {L"5", L"Minutes", L"10", 600}, {L"9.99", L"Minutes", L"10", 600}, {L"10.5", L"Minutes", L"10.5", 630},
        {L"5", L"Hours", L"5", 18000},  {L"0.5", L"Hours", L"0.5", 1800},  {L"500", L"Days", L"500", 43200000},
        {L"7", L"minutes", L"7", -1}};
    for (const auto& [frequency, type, then, interval] : cases) {
        changeInterval = -1;
        saveAccountSetting(L"Frequency", frequency);
        saveAccountSetting(L"FrequencyType", type);
        frmOptions->loadOptions();
        EXPECT_EQ(frmOptions->txtFrequency.Text(), then);
        EXPECT_EQ(changeInterval, interval) << frequency << type;
        EXPECT_EQ(setting(L"Frequency"), frequency) << "the store is not touched";
    }
    saveAccountSetting(L"FrequencyType", L"Hours");
    const std::tuple<const wchar_t*, const wchar_t*, int> nonsense[] = {
        {L"Frequency", L"often", 13}, {L"Frequency", L"", 13},  {L"Frequency", L"1e99", 6}, {L"Freeze", L"x", 13},
        {L"Freeze", L"7", 380},       {L"Freeze", L"99999", 6}, {L"AutoUpdate", L"yes", 13}};
    for (const auto& [key, value, error] : nonsense) {
        saveAccountSetting(key, value);
        EXPECT_EQ(numberRaisedBy([] { frmOptions->loadOptions(); }), error) << key << value;
        saveAccountSetting(key, L"1");
    }
}

TEST_F(Options, AreTextsOfTheirOwnLengthInTheAccountsKey) {
    const std::wstring path = L"Software\\Quillory\\Quillory - alice\\";
    saveAccountSetting(L"TagName", L"dog*");
    const auto value = platform::queryRegistryValue(platform::hkeyCurrentUser, path, L"TagName");
    ASSERT_TRUE(value);
    EXPECT_EQ(value->type, 1u);
    EXPECT_EQ(value->data, "dog*") << "no NUL is stored";
    saveAccountSetting(L"TagName", L"");
    EXPECT_EQ(setting(L"TagName"), L"") << "empty is a value, not the default";
    const auto read = [&](std::uint32_t type, const std::string& data) {
        platform::setRegistryValue(platform::hkeyCurrentUser, path, L"TagName", type, data);
        return setting(L"TagName");
    };
    EXPECT_EQ(read(4, std::string("\1\0\0\0", 4)), L"(none)") << "a value of another type reads as the default";
    EXPECT_EQ(read(1, std::string("cat\0dog", 7)), L"cat") << "up to the first NUL";
}

} // namespace
