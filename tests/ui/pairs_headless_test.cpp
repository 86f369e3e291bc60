#include <optional>

#include "platform/headless/Loop.h"
#include "platform/headless/Toolkit.h"
#include "program/ProgramTest.h"

// Two windows at a time: one is up, another comes. What waits for an answer lies in front and has the keyboard.

namespace {

class Pairs : public ProgramTest {
protected:
    void SetUp() override {
        ProgramTest::SetUp();
        gAPI->apiUsername = L"alice";
        saveAccountSetting(L"MinimizeHelp", L"1");
        gAPI->apiDownloadingUpdate = true; // a save must not rotate here
        frmMain->Enabled = true;
        frmMain->Show();
        toggleSourceTabs(1);
        frmMain->txtTagName.Text = L"bad_tag";
        frmMain->txtTagName.SetFocus();
    }
};

// What is up

void tagBox() { Input::press(frmMain->picSave); }
void exitQuestion() { frmMain->exitQuillory(false); }
void exitQuestionAtLogin() {
    frmMain->Hide();
    frmLogin->Show();
    Input::press(frmLogin->picCloseX);
}
void guide() { frmQuickStart->Show(Modality::modal, &*frmMain); }
void menu() { frmPopupMenu->MouseMove(0, 0, 517 * screen::TwipsPerPixelX(), 0); }

// What comes

void doubleClick() { frmPopupMenu->MouseMove(0, 0, 515 * screen::TwipsPerPixelX(), 0); }
void rotationEnds() {
    frmMain->Enabled = false;
    frmMain->Enabled = true;
}
void optionsButton() { Input::press(frmMain->picOptions); }
void loginAnswer() {
    frmLogin->Hide();
    frmMain->Show();
    frmMain->SetFocus();
}
void progressWindow() {
    frmDownloading->Show(Modality::modeless, &*frmMain);
    platform::setForegroundWindow(frmDownloading->hWnd());
}
void refusedLogin() { gAPI->APIHandleError(75, L""); }

constexpr const wchar_t* tag = L"Invalid Character";
constexpr const wchar_t* leaving = L"Confirm Exit";
constexpr const wchar_t* refused = L"Invalid Username/Password";

using Action = void (*)();
using Pair = std::tuple<const char*, bool, Action, Action, const wchar_t*, const wchar_t*, std::size_t>;

// Whether the main window is in the tray, what is up, what comes, what lies in front meanwhile and afterwards, as a
// form or the title of a box, and the boxes in all.
const Pair pairs[] = {
    {"a rotation ends under a box", false, tagBox, rotationEnds, tag, L"frmMain", 1},
    {"a button beneath a box", false, tagBox, optionsButton, tag, L"frmMain", 1},
    {"a box over a box", false, tagBox, exitQuestion, leaving, L"frmMain", 2},
    {"the same question again", true, exitQuestion, exitQuestion, leaving, L"", 1},
    {"the icon beside a question", true, exitQuestion, doubleClick, leaving, L"frmMain", 1},
    {"a download beside a question", false, exitQuestion, progressWindow, leaving, L"frmDownloading", 1},
    {"an answer beneath a question", false, exitQuestionAtLogin, loginAnswer, leaving, L"frmMain", 1},
    {"the icon beside the guide", true, guide, doubleClick, L"frmQuickStart", L"frmMain", 0},
    {"a question over the guide", false, guide, exitQuestion, leaving, L"frmMain", 1},
    {"a download beside the guide", false, guide, progressWindow, L"frmQuickStart", L"frmDownloading", 0},
    {"a refused login over the guide", true, guide, refusedLogin, refused, L"frmLogin", 1},
    {"the guide over a box", false, tagBox, guide, L"frmQuickStart", L"frmMain", 1},
    {"a refused login over the menu", true, menu, refusedLogin, refused, L"frmLogin", 1},
};

TEST_F(Pairs, WhatWaitsForAnAnswerLiesInFrontAndBlocksTheRest) {
    for (const auto& [name, inTray, up, comes, inFront, inFrontAfter, questions] : pairs) {
        SCOPED_TRACE(name);
        TearDown();
        testDesktop::reset();
        SetUp();
        if (inTray) minimizeToTray();
        std::optional<std::wstring> front;
        bool hasCome = false;
        const auto come = [&] {
            if (!std::exchange(hasCome, true)) comes();
            if (front) return;
            front = headless::inFront();
            EXPECT_FALSE(frmMain->takesInput());
        };
        headless::whileBoxIsUp = [&](auto&&) { come(); };
        headless::chooseFromMenu = [&](const std::vector<MenuEntry*>&) {
            come();
            return &frmPopupMenu->mnuExit; // too late
        };
        person::once([] { return frmQuickStart.isLoaded() && frmQuickStart->Visible; },
                     [&] {
                         come();
                         Input::press(frmQuickStart->picClose);
                     });
        headless::answers.assign(4, platform::box::resultNo);
        up();
        EXPECT_EQ(front, inFront);
        EXPECT_EQ(headless::inFront(), inFrontAfter);
        EXPECT_TRUE(frmMain->takesInput());
        EXPECT_EQ(headless::boxes.size(), questions);
        EXPECT_EQ(frmMain->activeControl(), &frmMain->txtTagName) << "the caret is where it was";
        EXPECT_FALSE(asking::last());
    }
}

TEST_F(Pairs, WhatComesByItselfLeavesTheKeyboardToAnotherProgram) {
    minimizeToTray();
    headless::programHasKeyboard = false;
    headless::activated.clear();
    person::once([] { return frmQuickStart.isLoaded() && frmQuickStart->Visible; },
                 [] {
                     EXPECT_EQ(headless::inFront(), L"frmQuickStart");
                     EXPECT_TRUE(headless::activated.empty());
                     doubleClick();
                     EXPECT_EQ(headless::activated.back(), L"frmQuickStart") << "the person asked for the program";
                     headless::activated.clear();
                     frmMain->PopupMenu({}, nullptr);
                     EXPECT_EQ(headless::activated.size(), 1u) << "a menu's window has had the keyboard";
                     frmQuickStart->Hide();
                 });
    guide();
    frmLogin.discard();
    EXPECT_EQ(frmQuickStart->owner(), &*frmMain);
    frmMain.discard();
    EXPECT_FALSE(frmQuickStart->owner()) << "which it outlives";
}

TEST_F(Pairs, AMinimizedWindowThatIsNeededComesBack) {
    frmLogin->Show();
    frmLogin->WindowState = windowMinimized;
    refusedLogin();
    EXPECT_EQ(frmLogin->WindowState, windowNormal);
    frmMain->closeRequested();
    loginAnswer();
    EXPECT_EQ(frmMain->WindowState, windowNormal);
}

} // namespace
