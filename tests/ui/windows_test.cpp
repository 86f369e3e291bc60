#include <algorithm>
#include <cwctype>
#include <map>
#include <set>

#include "core/modMD5.h"
#include "platform/Spoken.h"
#include "program/ProgramTest.h"

namespace {

using testing::EndsWith;

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

TEST_F(Windows, EveryChoiceOfASourceIsSavedAndTriedAfresh) {
    const auto shown = [] {
        std::wstring text;
        for (std::size_t i = 0; i < 3; ++i) {
            const PictureBox& tab = frmMain->picSourceTabs[i];
            const PictureBox& other = frmMain->picSourceTabsAlt[i];
            const bool isActive = tab.Tag == L"A";
            EXPECT_THAT((isActive ? tab : other).Picture().art, EndsWith("-active"));
            EXPECT_THAT((isActive ? other : tab).Picture().art, testing::Not(EndsWith("-active")));
            EXPECT_EQ(tab.MousePointer, isActive ? pointerDefault : pointerHand);
            text += tab.Tag + (frmMain->frmSourceTabs[i].Visible ? L"+" : L"-");
        }
        return text;
    };
    EXPECT_EQ(shown(), L"A+U-U-");
    const std::tuple<Control&, const wchar_t*, const wchar_t*, const wchar_t*> cases[] = {
        {frmMain->optMemberUploads, L"UseMembers", L"Uploads", L"A+U-U-"},
        {frmMain->optMemberFavorites, L"UseMembers", L"Favorites", L"A+U-U-"},
        {frmMain->picSourceTabs[2], L"ActiveTab", L"2", L"U-U-A+"},
        {frmMain->picSourceTabs[1], L"ActiveTab", L"1", L"U-A+U-"},
        {frmMain->picSourceTabs[0], L"ActiveTab", L"0", L"A+U-U-"}};
    for (const auto& [pressed, key, value, then] : cases) {
        noWallpapersExist = true;
        EXPECT_TRUE(Input::press(pressed));
        EXPECT_FALSE(noWallpapersExist);
        EXPECT_EQ(setting(key), value);
        EXPECT_EQ(shown(), then);
    }
    toggleSourceTabs(3);
    toggleSourceTabs(-1);
    EXPECT_EQ(shown(), L"U-U-U-");
    EXPECT_EQ(activeTab, 0) << "a tab that is none changes nothing but the pages";
    EXPECT_EQ(setting(L"ActiveTab"), L"-1");
}

TEST_F(Windows, TheTagCheckRefusesAndFallsBack) {
    toggleSourceTabs(1);
    const std::wstring tooLong = L"Tag Too Long | 64 | A tag can only be a maximum of 64 characters long.  Please "
                                 L"double-check your tag exists on Velvet Harbor, then try again.";
    const std::wstring invalid = L"Invalid Character | 64 | Oops! A tag can only contain letters, numbers, dashes, "
                                 L"spaces, and wildcard characters (*).\r\n\r\nTo enter multiple tags, seperate them "
                                 L"with a comma.";
    const std::wstring longest = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-*"; // 64 letters
    const std::wstring usual = L"dog*, AZaz b*ball-09";
    const std::tuple<std::wstring, std::wstring, std::wstring> cases[] = {
        // no box: it passes
        {L"", L"Quillory Tag Error | 48 | Please enter one or more tags that you would like to use!", L""},
        {L"bad_tag", invalid, L""},
        {longest, L"", longest},
        {longest + L"a", tooLong, longest},
        {usual, L"", usual},
        {L"it's", invalid, usual},
        {L"a.b", invalid, usual}};
    for (const auto& [tag, box, left] : cases) {
        frmMain->Visible = true;
        Input::type(frmMain->txtTagName, tag);
        noWallpapersExist = true;
        gAPI->apiForced = false;
        Input::press(frmMain->picSave);
        const bool passes = box.empty();
        EXPECT_EQ(frmMain->txtTagName.Text(), left);
        EXPECT_EQ(setting(L"TagName"), left.empty() ? L"(none)" : left);
        EXPECT_EQ(frmMain->Visible, !passes) << "what passes goes to the tray";
        EXPECT_EQ(gAPI->apiForced, passes) << "and has the wallpaper changed";
        EXPECT_EQ(noWallpapersExist, !passes);
        if (passes) continue;
        EXPECT_THAT(newBoxes(), ElementsAre(box));
        EXPECT_TRUE(left.empty() || frmMain->activeControl() == &frmMain->txtTagName);
        EXPECT_EQ(frmMain->txtTagName.SelStart, static_cast<std::int32_t>(left.size()));
    }
    frmOptions->chkFreeze.Value = 1;
    gAPI->apiForced = false;
    Input::pressReturn(*frmMain);
    EXPECT_FALSE(frmMain->Visible || gAPI->apiForced) << "frozen, it goes to the tray alone";
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

    // Typing is kept out; the list can be walked with the keys, which resets the category as well.
    Input::type(frmMain->cboGallery, L"Deserts");
    EXPECT_EQ(frmMain->cboGallery.Text(), L"Cities");
    EXPECT_FALSE(frmMain->cboGallery.Locked);
    for (const auto& key : {frmMain->cboGallery.KeyDown, frmMain->cboGallery.KeyUp}) {
        frmMain->cboGallery.Text = L"Nature";
        frmMain->cboCategory.Text = selectedCategory = L"Woods";
        frmMain->cboCategory.Locked = true;
        key();
        EXPECT_EQ(frmMain->cboCategory.Text() + selectedCategory, L"All CategoriesAll Categories");
        EXPECT_FALSE(frmMain->cboCategory.Locked);
    }

    // The close mark asks as Save does: what is in no list stays on the window, and what was chosen is kept.
    frmMain->cboGallery.Text = L"Deserts";
    Input::press(frmMain->picCloseX);
    EXPECT_TRUE(frmMain->Visible);
    EXPECT_EQ(frmMain->cboGallery.Text(), L"Cities");
    Input::choose(frmMain->cboGallery, L"Nature");
    Input::press(frmMain->picCloseX);
    EXPECT_FALSE(frmMain->Visible);
    EXPECT_EQ(setting(L"Gallery"), L"Nature");
    frmMain->Visible = true;

    // A valid choice of category is saved, and not remembered as the one to fall back to.
    noWallpapersExist = true;
    Input::choose(frmMain->cboCategory, L"Lakes");
    Input::moveFocus(*frmMain, &frmMain->picOptions);
    EXPECT_EQ(setting(L"Category"), L"Lakes");
    EXPECT_FALSE(noWallpapersExist);
    Input::type(frmMain->cboCategory, L"Seas");
    EXPECT_EQ(frmMain->cboCategory.Text(), L"Lakes");
    EXPECT_FALSE(frmMain->cboCategory.Locked);
    frmMain->cboCategory.Text = L"Seas";
    EXPECT_FALSE(Input::moveFocus(*frmMain, &frmMain->picOptions));
    EXPECT_EQ(frmMain->activeControl(), &frmMain->cboCategory);
    EXPECT_EQ(frmMain->cboCategory.Text(), L"All Categories");

    // A gallery that has gone from the service leaves the combos disabled.
    selectedGallery = L"Deserts";
    frmMain->cboGallery.Enabled = frmMain->cboCategory.Enabled = false;
    fillGalleries();
    EXPECT_FALSE(frmMain->cboGallery.Enabled || frmMain->cboCategory.Enabled);
    EXPECT_THAT(takeNotice(), HasSubstr(L"In Function updateCategoryList, modGlobals\r\n[5]"));
}

TEST_F(Windows, TheNoticeRisesOutOfTheTaskbarAndSinksBehindIt) {
    frmSlideMessage->startSlide(L"first");
    EXPECT_TRUE(frmSlideMessage->Visible);
    frmSlideMessage->tmrSlide.Enabled = false; // the test is the clock
    const double bottom = screen::Height();
    const double taskbar = getTaskbarHeight() * screen::TwipsPerPixelY();
    const double travel = 1860 + taskbar;
    EXPECT_EQ(frmSlideMessage->Top, bottom);
    EXPECT_EQ(frmSlideMessage->Left, screen::Width() - frmSlideMessage->Width - screen::TwipsPerPixelX());
    double highest = bottom;
    int firings = 0;
    for (; firings < 2000; ++firings) {
        const auto window = frmSlideMessage.operator->();
        window->tmrSlide.Timer();
        if (!frmSlideMessage.isLoaded()) break;
        highest = std::min<double>(highest, window->Top);
        if (firings == 24 || firings == 824) {
            EXPECT_NEAR(window->Top, bottom - travel / 2, 1e-6);
        }
        if (firings == 400) window->slideSysError(L"Function APISend, CVHAPI", 13, L"Type mismatch");
        if (firings == 401) {
            EXPECT_EQ(window->Top, bottom - travel);
        }
    }
    EXPECT_EQ(firings, 849) << "50 up, 750 held, 50 down, and the last one unloads; a text in between changes nothing";
    EXPECT_EQ(highest, bottom - travel);

    frmSlideMessage.Load();
    EXPECT_EQ(takeNotice(), L"Quillory Wallpaper Manager | Network Error!\r\nCould not connect to the Velvet Harbor "
                            L"servers.  Please check your internet connection.");
    frmSlideMessage->slideSysError(L"Function APISend, CVHAPI", 13, L"Type mismatch");
    EXPECT_TRUE(frmSlideMessage->tmrSlide.Enabled);
    EXPECT_EQ(takeNotice(), L"Quillory - Internal Error | In Function APISend, CVHAPI\r\n[13] Type mismatch\r\nIf this "
                            L"continues to happen, please reinstall Quillory from "
                            L"http://velvetharbor.example/quillory/");
    Input::press(frmSlideMessage->picCloseX);
    EXPECT_FALSE(frmSlideMessage.isLoaded());
}

TEST_F(Windows, AnyButtonDragsAWindowByItsHeaderOrItsTitle) {
    const std::tuple<Form&, Control&, Control&> cases[] = {
        {*frmMain, frmMain->picHeaderBg, frmMain->lblHeaderTitle},
        {*frmLogin, frmLogin->picHeaderBg, frmLogin->lblHeaderTitle},
        {*frmOptions, frmOptions->picHeaderBg, frmOptions->lblHeaderTitle},
        {*frmQuickStart, frmQuickStart->picHeaderBg, frmQuickStart->lblHeaderTitle},
        {*frmDownloading, frmDownloading->imgHeaderBg, frmDownloading->lblHeaderTitle}};
    for (const auto& [window, header, title] : cases) {
        Form& form = window;
        const auto expectAt = [&](double left, double top, int pointer) {
            EXPECT_EQ(std::pair(form.Left(), form.Top()), std::pair(left, top));
            EXPECT_EQ(form.MousePointer, pointer);
        };
        for (Control* surface : {&header, &title}) {
            form.Left = 1000.0;
            form.Top = 500.0;
            surface->MouseMove(0, 0, 700, 700);
            expectAt(1000, 500, pointerDefault);
            surface->MouseDown(2, 0, 100, 50);
            surface->MouseMove(2, 0, 130, 20);
            expectAt(1030, 470, pointerSizeAll);
            surface->MouseUp(2, 0, 90, 50);
            surface->MouseMove(2, 0, 500, 500);
            surface->MouseUp(2, 0, 500, 500);
            expectAt(1020, 470, pointerDefault);
        }
    }
}

TEST_F(Windows, WhatDoesSomethingCanBeReachedAndSaysWhatItIsCalled) {
    frmDownloading.Load();
    EXPECT_EQ(frmDownloading->picProgressBar.Width, 1) << "nothing has come yet";
    frmQuickStart.Load();
    showNotice(L"Quillory - Information", L"hello");
    EXPECT_EQ(platform::spokenName(*frmSlideMessage), L"Quillory - Information");
    EXPECT_EQ(platform::spokenMessage(*frmSlideMessage), L"hello");
    std::wstring words;
    std::set<std::wstring> actions;
    for (const Form* form : openForms()) {
        std::map<wchar_t, const Control*> keys;
        const FormDesign& design = form->design;
        words += design.name + (L": " + design.caption) + (design.inTaskbar ? L", in the taskbar, " : L", ") +
                 (design.closable ? L"closable, " : L"") + std::to_wstring(design.width) + L" x " +
                 std::to_wstring(design.height) + L"\n";
        for (const Control* control : form->controls()) {
            const auto spoken = platform::spokenOf(*control);
            actions.insert(spoken.action);
            words += spoken.name + (control->Visible ? L"\n" : L", hidden\n");
            const std::string what = narrow(form->design.name) + ": " + narrow(spoken.name);
            const bool isNative = !dynamic_cast<const PictureBox*>(control) && !dynamic_cast<const Label*>(control);
            if (dynamic_cast<const TextBox*>(control) ||
                (control->Click && !dynamic_cast<const CommandButton*>(control))) {
                EXPECT_NE(spoken.name, L"") << what;
                EXPECT_NE(control->role, Role::art) << what;
            }
            if (control->Click && !isNative) {
                EXPECT_EQ(control->MousePointer, spoken.selected ? pointerDefault : pointerHand) << what;
                const bool byMouseAlone = control == &frmDownloading->imgAbort || form->design.notice;
                EXPECT_EQ(control->TabStop || control->ClickFocus, !byMouseAlone) << what;
            }
            // A letter does one thing in a window, and is one of the words that it is underlined in.
            if (!control->accessKey) continue;
            words += control->accessKey;
            EXPECT_TRUE(keys.emplace(control->accessKey, control).second) << what;
            const std::wstring letters{control->accessKey, static_cast<wchar_t>(std::towlower(control->accessKey))};
            EXPECT_NE(spoken.name.find_first_of(letters), std::wstring::npos) << what;
        }
    }
    // All that the windows say is read over, and looked at, whenever it changes: this sum is there to tell.
    EXPECT_EQ(md5String(words), L"0bfada57f501ae41f3b39eaf4acecf11") << narrow(words);
    EXPECT_THAT(actions, testing::ElementsAre(L"", L"Close", L"Open", L"Press", L"Select", L"Switch", L"Toggle"));
    frmDownloading->SetProgressBarValue(42);
    EXPECT_EQ(platform::spokenOf(frmDownloading->picProgressBar).value, L"42%");
    EXPECT_TRUE(platform::spokenOf(frmMain->picSourceTabs[0]).selected);
    for (const std::int16_t value : {std::int16_t{1}, std::int16_t{0}}) {
        frmOptions->chkFreeze.Value = value;
        EXPECT_EQ(platform::spokenOf(frmOptions->chkFreeze).checked, value == 1);
    }
}

TEST_F(Windows, KeysPressWhatIsThere) {
    EXPECT_FALSE(Input::pressEscape(*frmMain));
    EXPECT_FALSE(Input::pressAccessKey(*frmMain, L'g')) << "its page is not shown";
    EXPECT_TRUE(Input::pressAccessKey(*frmMain, L'c'));
    EXPECT_EQ(activeTab, 2);
    fillGalleries();
    EXPECT_TRUE(Input::pressAccessKey(*frmMain, L'g'));
    EXPECT_EQ(frmMain->activeControl(), &frmMain->cboGallery);
    EXPECT_TRUE(Input::pressAccessKey(*frmMain, L'o'));
    EXPECT_TRUE(frmOptions->Visible && !frmMain->Visible);

    frmMain->closeRequested();
    EXPECT_TRUE(frmMain.isLoaded());
    EXPECT_EQ(frmMain->WindowState, windowMinimized);
    frmMain->Left = frmMain->Top = 0.0;
    frmMain->unMinimize();
    EXPECT_TRUE(frmMain->WindowState == windowNormal && frmMain->Visible);
    EXPECT_NEAR(frmMain->Left, (screen::Width() - frmMain->Width) / 2, 15);
    EXPECT_NEAR(frmMain->Top, (screen::Height() - frmMain->Height) / 2, 15);
}

} // namespace
