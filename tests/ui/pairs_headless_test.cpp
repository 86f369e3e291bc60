#include <optional>

#include "platform/Input.h"
#include "platform/headless/Loop.h"
#include "platform/headless/Toolkit.h"
#include "program/ProgramTest.h"

// Two windows at a time: one is up, another comes. What waits for an answer lies in front and has the keyboard.

namespace {

using Action = void (*)();

struct Pair {
    const char* name;
    Action up;            // returns when what is up has been answered
    Action comes;         // meanwhile
    const wchar_t* front; // meanwhile: a form or the title of a box
    bool usable;          // meanwhile: the main window
    const wchar_t* frontAfter;
    bool usableAfter;
    std::size_t questions; // boxes in all
};

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
void exitQuestionFromTray() {
    minimizeToTray();
    frmMain->exitQuillory(false);
}
void exitQuestionAtLogin() {
    frmMain->Hide();
    frmLogin->Show();
    Input::press(frmLogin->picCloseX);
}
void guide() { frmQuickStart->Show(Modality::modal, &*frmMain); }
void guideFromTray() {
    minimizeToTray();
    guide();
}
void menu() {
    minimizeToTray();
    frmPopupMenu->MouseMove(0, 0, 517 * screen::TwipsPerPixelX(), 0);
}

// What comes

void doubleClick() { frmPopupMenu->MouseMove(0, 0, 515 * screen::TwipsPerPixelX(), 0); }
void rotationBegins() { frmMain->Enabled = false; }
void rotationEnds() {
    frmMain->Enabled = false;
    frmMain->Enabled = true;
}
void optionsButton() { Input::press(frmMain->picOptions); }
void saveButton() { Input::press(frmMain->picSave); }
void loginAnswer() {
    frmLogin->Hide();
    frmMain->Show();
    frmMain->SetFocus();
}
void progressWindow() {
    frmDownloading->Show(Modality::modeless, &*frmMain);
    platform::setForegroundWindow(frmDownloading->hWnd());
}
void forcedOptions() {
    frmOptions->Show();
    platform::setForegroundWindow(frmOptions->hWnd());
}
void refusedLogin() { gAPI->APIHandleError(75, L""); }

constexpr const wchar_t* tag = L"Invalid Character";
constexpr const wchar_t* leaving = L"Confirm Exit";
constexpr const wchar_t* refused = L"Invalid Username/Password";

const Pair pairs[] = {
    {"a rotation ends under a box", tagBox, rotationEnds, tag, false, L"frmMain", true, 1},
    {"a rotation begins under a box", tagBox, rotationBegins, tag, false, L"frmMain", false, 1},
    {"a button beneath a box", tagBox, optionsButton, tag, false, L"frmMain", true, 1},
    {"a button beneath a box, and a rotation", tagBox,
     [] {
         rotationEnds();
         saveButton();
     },
     tag, false, L"frmMain", true, 1},
    {"a box over a box", tagBox, exitQuestion, leaving, false, L"frmMain", true, 2},
    {"the same question again", exitQuestionFromTray, exitQuestion, leaving, false, L"", true, 1},
    {"the icon beside a question", exitQuestionFromTray, doubleClick, leaving, false, L"frmMain", true, 1},
    {"another window beside a question", exitQuestion, forcedOptions, leaving, false, L"frmOptions", true, 1},
    {"a download beside a question", exitQuestion, progressWindow, leaving, false, L"frmDownloading", true, 1},
    {"an answer beneath a question", exitQuestionAtLogin, loginAnswer, leaving, false, L"frmMain", true, 1},
    {"the icon beside the guide", guideFromTray, doubleClick, L"frmQuickStart", false, L"frmMain", true, 0},
    {"a question over the guide", guide, exitQuestion, leaving, false, L"frmMain", true, 1},
    {"a download beside the guide", guide, progressWindow, L"frmQuickStart", false, L"frmDownloading", true, 0},
    {"a refused login over the guide", guideFromTray, refusedLogin, refused, false, L"frmLogin", true, 1},
    {"the guide over a box", tagBox, guide, L"frmQuickStart", false, L"frmMain", true, 1},
    {"a refused login over the menu", menu, refusedLogin, refused, false, L"frmLogin", true, 1},
};

TEST_F(Pairs, WhatWaitsForAnAnswerLiesInFrontAndBlocksTheRest) {
    for (const Pair& pair : pairs) {
        SCOPED_TRACE(pair.name);
        TearDown();
        testDesktop::reset();
        SetUp();
        std::optional<std::wstring> front;
        bool usable = true;
        const auto look = [&] {
            if (front) return;
            front = headless::inFront();
            usable = frmMain->takesInput();
        };
        bool hasCome = false;
        const auto come = [&] {
            if (!std::exchange(hasCome, true)) pair.comes();
            look();
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
        pair.up();
        EXPECT_EQ(front, pair.front);
        EXPECT_EQ(usable, pair.usable);
        EXPECT_EQ(headless::inFront(), pair.frontAfter);
        EXPECT_EQ(frmMain->takesInput(), pair.usableAfter);
        EXPECT_EQ(headless::boxes.size(), pair.questions);
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
                     frmQuickStart->Hide();
                 });
    guide();
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
