#include <algorithm>
#include <cwctype>
#include <map>

#include "platform/Input.h"
#include "platform/Spoken.h"
#include "program/ProgramTest.h"
#include "ui/modSysTray.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string narrow(const std::wstring& text) { return {text.begin(), text.end()}; }

class Windows : public ProgramTest {
protected:
    void SetUp() override {
        ProgramTest::SetUp();
        gAPI->apiUsername = L"alice";
        frmMain->Enabled = true;
        frmMain->Show();
        gAPI->apiDownloadingUpdate = true; // a save must not rotate here
        toggleSourceTabs(0);
    }
    static void fillGalleries() {
        galleries.clear();
        galleries.add(L"Nature") = {L"Nature", L"Lakes", L"Woods"};
        galleries.add(L"Cities");
        updateCategoryList();
    }
};

TEST_F(Windows, TabsSwapTheirPicturesAndSaveEachCall) {
    const auto shown = [] {
        std::wstring text;
        for (std::size_t i = 0; i < 3; ++i)
            text += frmMain->picSourceTabs[i].Tag + (frmMain->frmSourceTabs[i].Visible ? L"+" : L"-");
        return text;
    };
    const std::string active = frmMain->picSourceTabs[0].Picture().art;
    EXPECT_EQ(active, "tab-member-active");
    EXPECT_EQ(frmMain->picSourceTabs[0].MousePointer, pointerDefault);
    noWallpapersExist = true;
    Input::press(frmMain->picSourceTabs[2]);
    EXPECT_EQ(shown(), L"U-U-A+");
    EXPECT_EQ(frmMain->picSourceTabs[0].Picture().art, "tab-member");
    EXPECT_EQ(frmMain->picSourceTabsAlt[0].Picture().art, active);
    EXPECT_EQ(frmMain->picSourceTabs[0].MousePointer, pointerHand);
    EXPECT_FALSE(noWallpapersExist);
    EXPECT_EQ(setting(L"ActiveTab"), L"2");
    toggleSourceTabs(5);
    EXPECT_EQ(shown(), L"U-U-U-");
    EXPECT_EQ(activeTab, 2) << "a tab that is none changes nothing but the pages";
    EXPECT_EQ(setting(L"ActiveTab"), L"5");
}

TEST_F(Windows, TheTagCheckRefusesAndFallsBack) {
    toggleSourceTabs(1);
    const std::wstring longTag(65, L'a');
    struct Case {
        std::wstring tag;
        const wchar_t* title; // null: passes
        std::int32_t icon;
        std::wstring left;
    };
    const Case cases[] = {
        {L"", L"Quillory Tag Error", 48, L""},
        {L"bad_tag", L"Invalid Character", 64, L""},
        {std::wstring(64, L'b'), nullptr, 0, std::wstring(64, L'b')},
        {longTag, L"Tag Too Long", 64, std::wstring(64, L'b')},
        {L"dog*, b*ball-9", nullptr, 0, L"dog*, b*ball-9"},
        {L"it's", L"Invalid Character", 64, L"dog*, b*ball-9"},
        {L"a.b", L"Invalid Character", 64, L"dog*, b*ball-9"},
    };
    for (const Case& c : cases) {
        frmMain->Visible = true;
        const std::size_t before = testDesktop::shownBoxes().size();
        Input::type(frmMain->txtTagName, c.tag);
        noWallpapersExist = true;
        Input::press(frmMain->picSave);
        EXPECT_EQ(frmMain->txtTagName.Text(), c.left);
        EXPECT_EQ(frmMain->Visible, c.title != nullptr) << "what passes goes to the tray";
        EXPECT_EQ(noWallpapersExist, c.title != nullptr);
        ASSERT_EQ(testDesktop::shownBoxes().size(), before + (c.title ? 1 : 0));
        if (!c.title) {
            EXPECT_EQ(setting(L"TagName"), c.tag);
            continue;
        }
        EXPECT_EQ(testDesktop::shownBoxes().back().title, c.title);
        EXPECT_EQ(testDesktop::shownBoxes().back().style, c.icon);
        if (c.left.empty()) continue;
        EXPECT_EQ(frmMain->activeControl(), &frmMain->txtTagName);
        EXPECT_EQ(frmMain->txtTagName.SelStart, static_cast<std::int32_t>(c.left.size()));
    }
}

TEST_F(Windows, AnotherGalleryResetsTheCategory) {
    toggleSourceTabs(2);
    selectedGallery = L"Nature";
    selectedCategory = L"Woods";
    fillGalleries();
    EXPECT_THAT(frmMain->cboCategory.List(), ElementsAre(L"All Categories", L"Lakes", L"Woods"));
    Input::choose(frmMain->cboGallery, L"Nature");
    EXPECT_EQ(frmMain->cboCategory.Text(), L"Woods") << "the same gallery resets nothing";
    Input::choose(frmMain->cboGallery, L"Cities");
    EXPECT_EQ(frmMain->cboCategory.Text(), L"All Categories");
    EXPECT_EQ(frmMain->cboCategory.List().size(), 3u) << "the list is refilled when the focus leaves";
    noWallpapersExist = true;
    Input::moveFocus(*frmMain, &frmMain->cboCategory);
    EXPECT_THAT(frmMain->cboCategory.List(), ElementsAre(L"All Categories"));
    EXPECT_EQ(selectedGallery, L"Cities");
    EXPECT_EQ(setting(L"Gallery"), L"Cities");
    EXPECT_FALSE(noWallpapersExist);

    Input::type(frmMain->cboGallery, L"Deserts");
    EXPECT_EQ(frmMain->cboGallery.Text(), L"Cities") << "typing is kept out";

    // The close mark asks as Save does: what is in no list stays on the window, and what was chosen is kept.
    frmMain->cboGallery.Text = L"Deserts";
    Input::press(frmMain->picCloseX);
    EXPECT_TRUE(frmMain->Visible);
    Input::choose(frmMain->cboGallery, L"Nature");
    Input::press(frmMain->picCloseX);
    EXPECT_FALSE(frmMain->Visible);
    EXPECT_EQ(setting(L"Gallery"), L"Nature");
    frmMain->Visible = true;

    // A valid choice of category is saved, and not remembered as the one to fall back to.
    Input::choose(frmMain->cboCategory, L"Lakes");
    Input::moveFocus(*frmMain, &frmMain->picOptions);
    EXPECT_EQ(setting(L"Category"), L"Lakes");
    frmMain->cboCategory.Text = L"Seas";
    Input::moveFocus(*frmMain, &frmMain->cboCategory);
    EXPECT_FALSE(Input::moveFocus(*frmMain, &frmMain->picOptions));
    EXPECT_EQ(frmMain->activeControl(), &frmMain->cboCategory);
    EXPECT_EQ(frmMain->cboCategory.Text(), L"All Categories");
}

TEST_F(Windows, AGalleryThatHasGoneLeavesTheCombosDisabled) {
    selectedGallery = L"Deserts";
    frmMain->cboGallery.Enabled = frmMain->cboCategory.Enabled = false;
    fillGalleries();
    EXPECT_FALSE(frmMain->cboGallery.Enabled || frmMain->cboCategory.Enabled);
    EXPECT_THAT(frmSlideMessage->lblStatusMsg.Caption(),
                testing::StartsWith(L"In Function updateCategoryList, modGlobals\r\n[5"));
}

TEST_F(Windows, OptionsAreCheckedInOrderAndLeaveTheirMarks) {
    frmMain->Hide();
    frmOptions->Show();
    const std::wstring frequency = L"Invalid Frequency";
    struct Case {
        std::wstring frequency, type, rating;
        const wchar_t* title; // null: saved
        const Control* focus;
        std::wstring frequencyLeft, ratingLeft;
    };
    const Control* const f = &frmOptions->txtFrequency;
    const Control* const r = &frmOptions->txtRating;
    const Control* const t = &frmOptions->cboFrequencyType;
    const Case cases[] = {
        {L"", L"Hours", L"0", L"Invalid Frequency", f, L"", L"0"},
        {L"0.5", L"Hours", L"0", L"Invalid Frequency", f, L"0.5", L"0"},
        {L"0", L"Hours", L"0", L"Invalid Frequency", f, L"0", L"0"},
        {L"500.4", L"Hours", L"0", L"Invalid Frequency", f, L"500.4", L"0"},
        {L"2.5", L"Hours", L"++x", L"Non-Numeric Rating", r, L"2", L"x"},
        {L"3.5", L"Hours", L"+200.4", L"Invalid Rating Range", r, L"4", L"200.4"},
        {L"3", L"Hours", L"-99.5", L"Invalid Rating Range", r, L"3", L"-99.5"},
        {L"9.4", L"Minutes", L"1.5", L"Too Frequent Wallpaper Rotation", f, L"9", L"2"},
        {L"5", L"minutes", L"0", L"Invalid Frequency Type", t, L"5", L"0"},
        {L"5", L"Weeks", L"0", L"Invalid Frequency Type", t, L"5", L"0"},
        {L"9.6", L"Minutes", L"+5", nullptr, nullptr, L"10", L"5"},
        {L"500", L"Days", L"-99", nullptr, nullptr, L"500", L"-99"},
        {L"1.4", L"Hours", L"200", nullptr, nullptr, L"1", L"200"},
    };
    for (const Case& c : cases) {
        frmOptions->Visible = true;
        frmOptions->txtFrequency.Text = c.frequency;
        frmOptions->cboFrequencyType.Text = c.type;
        frmOptions->txtRating.Text = c.rating;
        secondsSinceChange = 99;
        noWallpapersExist = true;
        const std::size_t before = testDesktop::shownBoxes().size();
        Input::press(frmOptions->picSave);
        const bool saved = c.title == nullptr;
        ASSERT_EQ(testDesktop::shownBoxes().size(), before + (saved ? 0 : 1))
            << std::string(c.frequency.begin(), c.frequency.end());
        EXPECT_EQ(frmOptions->txtFrequency.Text(), c.frequencyLeft);
        EXPECT_EQ(frmOptions->txtRating.Text(), c.ratingLeft);
        EXPECT_EQ(frmOptions->Visible, !saved);
        EXPECT_EQ(secondsSinceChange, saved ? 0 : 99);
        EXPECT_EQ(noWallpapersExist, !saved);
        if (saved) {
            EXPECT_EQ(setting(L"Frequency"), c.frequencyLeft);
            EXPECT_EQ(setting(L"QualityRating"), c.ratingLeft);
            EXPECT_EQ(setting(L"FrequencyType"), c.type);
        } else {
            EXPECT_EQ(testDesktop::shownBoxes().back().title, c.title);
            EXPECT_EQ(testDesktop::shownBoxes().back().style, 48);
            EXPECT_EQ(frmOptions->activeControl(), c.focus);
            EXPECT_EQ(setting(L"Freeze"), L"(none)") << "nothing is stored";
            saveAccountSetting(L"Freeze", L"(none)");
        }
    }
    EXPECT_EQ(setting(L"Method"), L"Randomize");
}

TEST_F(Windows, TheFreezeActsWithTheMouseAtOnceAndACancelDoesNotUndoIt) {
    frmOptions->loadOptions();
    frmOptions->Show();
    gTimers->Active_ChangeWallpaper = gTimers->Active_CheckIdle = true;
    Input::press(frmOptions->chkFreeze); // as from the keyboard
    EXPECT_TRUE(gTimers->Active_ChangeWallpaper);
    frmOptions->chkFreeze.MouseUp(1, 0, 0, 0);
    EXPECT_FALSE(gTimers->Active_ChangeWallpaper || gTimers->Active_CheckIdle);
    secondsSinceChange = 5;
    Input::press(frmOptions->picCancel);
    EXPECT_EQ(frmOptions->chkFreeze.Value, 0);
    EXPECT_FALSE(gTimers->Active_ChangeWallpaper) << "the flags keep what the click gave them";
    EXPECT_EQ(secondsSinceChange, 0) << "a cancel restarts the countdown too";
    EXPECT_TRUE(frmMain->Visible && !frmOptions->Visible);
    timerTick = 33;
    frmOptions->chkFreeze.MouseUp(1, 0, 0, 0);
    EXPECT_TRUE(gTimers->Active_ChangeWallpaper && gTimers->Active_CheckIdle);
    EXPECT_EQ(Start_CheckIdle, 33);
}

TEST_F(Windows, TheBarIsNeverNarrowerThanAPixel) {
    const std::pair<std::int16_t, int> cases[] = {{0, 1}, {1, 4}, {50, 208}, {100, 417}, {150, 626}};
    for (const auto& [percent, width] : cases) {
        frmDownloading->SetProgressBarValue(percent);
        EXPECT_EQ(frmDownloading->picProgressBar.Width, width) << percent;
    }
}

TEST_F(Windows, TheNoticeRisesOutOfTheTaskbarAndSinksBehindIt) {
    frmSlideMessage->startSlide(L"first");
    frmSlideMessage->tmrSlide.Enabled = false; // the test is the clock
    const double bottom = screen::Height();
    const double taskbar = getTaskbarHeight() * screen::TwipsPerPixelY();
    const double travel = 1860 + taskbar;
    EXPECT_EQ(frmSlideMessage->Top, bottom);
    EXPECT_EQ(frmSlideMessage->Left, screen::Width() - frmSlideMessage->Width - screen::TwipsPerPixelX());
    double highest = bottom;
    int firings = 0;
    for (; frmSlideMessage.isLoaded() && firings < 2000; ++firings) {
        auto window = frmSlideMessage.operator->();
        window->tmrSlide.Timer();
        if (!frmSlideMessage.isLoaded()) break;
        const double lower = window->Top + window->Height;
        if (window->Height > 0) {
            EXPECT_NEAR(lower, bottom - taskbar, 1e-6) << "firing " << firings;
        }
        highest = std::min<double>(highest, window->Top);
        if (firings == 10) window->startSlide(L"second");
        if (firings == 24) {
            EXPECT_NEAR(window->Top, bottom - travel / 2, 1e-6);
        }
        if (firings == 400) {
            EXPECT_EQ(window->lblStatusMsg.Caption(), L"second");
            EXPECT_EQ(window->Top, bottom - travel);
        }
    }
    EXPECT_EQ(firings, 849) << "50 up, 750 held, 50 down, and the last one unloads";
    EXPECT_EQ(highest, bottom - travel);
}

TEST_F(Windows, AReportReplacesTheNoticeInPlace) {
    frmSlideMessage->startSlide(L"hello");
    frmSlideMessage->slideSysError(L"Function APISend, CVHAPI", 13, L"Type mismatch");
    EXPECT_EQ(frmSlideMessage->lblTitle.Caption(), L"Quillory - Internal Error");
    EXPECT_EQ(frmSlideMessage->lblStatusMsg.Caption(), L"In Function APISend, CVHAPI\r\n[13] Type mismatch\r\nIf this "
                                                       L"continues to happen, please reinstall Quillory from "
                                                       L"http://velvetharbor.example/quillory/");
    Input::press(frmSlideMessage->picCloseX);
    EXPECT_FALSE(frmSlideMessage.isLoaded());
    EXPECT_EQ(frmSlideMessage->lblTitle.Caption(), L"Quillory Wallpaper Manager");
    EXPECT_THAT(frmSlideMessage->lblStatusMsg.Caption(), testing::StartsWith(L"Network Error!\r\n"));
}

TEST_F(Windows, AnyButtonDragsAWindowByItsHeaderOrItsTitle) {
    for (Control* surface :
         {static_cast<Control*>(&frmMain->picHeaderBg), static_cast<Control*>(&frmMain->lblHeaderTitle)}) {
        frmMain->Left = 1000.0;
        frmMain->Top = 500.0;
        surface->MouseMove(0, 0, 700, 700);
        EXPECT_EQ(frmMain->Left, 1000) << "no press, no drag";
        surface->MouseDown(2, 0, 100, 50);
        EXPECT_EQ(frmMain->MousePointer, pointerSizeAll);
        surface->MouseMove(2, 0, 130, 20);
        EXPECT_EQ(frmMain->Left, 1030);
        surface->MouseUp(2, 0, 90, 50);
        EXPECT_EQ(frmMain->Left, 1020);
        EXPECT_EQ(frmMain->Top, 470);
        EXPECT_EQ(frmMain->MousePointer, pointerDefault);
        surface->MouseMove(2, 0, 500, 500);
        EXPECT_EQ(frmMain->Left, 1020);
    }
}

TEST_F(Windows, WhatDoesSomethingSaysWhatItIsCalled) {
    frmDownloading.Load();
    frmQuickStart.Load();
    frmSlideMessage->lblTitle.Caption = L"Quillory - Information";
    frmSlideMessage->startSlide(L"hello");
    EXPECT_EQ(platform::spokenName(*frmSlideMessage), L"Quillory - Information");
    EXPECT_EQ(platform::spokenMessage(*frmSlideMessage), L"hello");
    for (const Form* form : openForms()) {
        for (const Control* control : form->controls()) {
            const auto spoken = platform::spokenOf(*control);
            const bool does = control->Click || dynamic_cast<const TextBox*>(control);
            if (!does || dynamic_cast<const CommandButton*>(control)) continue;
            EXPECT_NE(spoken.name, L"") << narrow(form->design.name);
            EXPECT_NE(control->role, Role::art) << narrow(spoken.name);
        }
    }
    const auto nameOf = [](const Control& control) { return platform::spokenOf(control).name; };
    EXPECT_EQ(nameOf(frmLogin->txtPassword), L"Password:");
    EXPECT_EQ(nameOf(frmMain->cboCategory), L"Category:");
    EXPECT_EQ(nameOf(frmOptions->cboFrequencyType), frmOptions->lblRotationText.Caption());
    EXPECT_EQ(nameOf(frmOptions->txtRating), frmOptions->lblQualityText.Caption());
    frmDownloading->SetProgressBarValue(42);
    EXPECT_EQ(platform::spokenOf(frmDownloading->picProgressBar).value, L"42%");
    EXPECT_TRUE(platform::spokenOf(frmMain->picSourceTabs[0]).selected);
    EXPECT_FALSE(platform::spokenOf(frmMain->picSourceTabs[1]).selected);
}

TEST_F(Windows, EscapeAndAccessKeysPressWhatIsThere) {
    EXPECT_FALSE(Input::pressEscape(*frmMain));
    EXPECT_FALSE(Input::pressAccessKey(*frmMain, L'g')) << "its page is not shown";
    EXPECT_TRUE(Input::pressAccessKey(*frmMain, L'c'));
    EXPECT_EQ(activeTab, 2);
    fillGalleries();
    EXPECT_TRUE(Input::pressAccessKey(*frmMain, L'g'));
    EXPECT_EQ(frmMain->activeControl(), &frmMain->cboGallery);
    EXPECT_TRUE(Input::pressAccessKey(*frmMain, L'o'));
    EXPECT_TRUE(frmOptions->Visible);
    frmOptions->txtRating.Text = L"7";
    EXPECT_TRUE(Input::pressEscape(*frmOptions));
    EXPECT_FALSE(frmOptions->Visible);
    EXPECT_EQ(frmOptions->txtRating.Text(), L"0");

    // A letter does one thing in a window, and is one of the words that it is underlined in.
    for (const Form* form : openForms()) {
        std::map<wchar_t, const Control*> keys;
        for (const Control* control : form->controls()) {
            if (!control->accessKey) continue;
            const auto [other, isNew] = keys.emplace(control->accessKey, control);
            EXPECT_TRUE(isNew) << narrow(form->design.name);
            std::wstring words = platform::spokenOf(*control).name;
            std::ranges::transform(words, words.begin(), std::towupper);
            EXPECT_NE(words.find(control->accessKey), std::wstring::npos) << narrow(words);
        }
    }
}

TEST_F(Windows, ACloseRequestMinimizesTheMainWindowAndCancelsTheOptions) {
    frmMain->closeRequested();
    EXPECT_EQ(frmMain->WindowState, windowMinimized);
    EXPECT_TRUE(frmMain.isLoaded());
    frmOptions->loadOptions();
    frmOptions->Show();
    frmOptions->txtRating.Text = L"7";
    frmOptions->closeRequested();
    EXPECT_TRUE(frmOptions.isLoaded() && !frmOptions->Visible);
    EXPECT_EQ(frmOptions->txtRating.Text(), L"0");
}

} // namespace
