#include "platform/Input.h"
#include "platform/headless/Loop.h"
#include "platform/headless/State.h"
#include "platform/headless/Toolkit.h"
#include "program/ProgramTest.h"
#include "ui/modSysTray.h"

// What the program asks of the shell, as only the headless desktop can record it.

namespace {

using testing::ElementsAre;

class Tray : public ProgramTest {
protected:
    void SetUp() override {
        ProgramTest::SetUp();
        gAPI->apiUsername = L"alice";
        frmMain->Enabled = true;
        saveAccountSetting(L"MinimizeHelp", L"1");
        minimizeToTray();
        changeInterval = 3600;
    }
    /// The shell's message for a mouse event over the icon, as the hidden window gets it.
    static void event(int number) { frmPopupMenu->MouseMove(0, 0, number * screen::TwipsPerPixelX(), 0); }
    static std::string tip() {
        if (!headless::state.trayIcon) return "(no icon)";
        const std::string bytes(headless::state.trayIcon->szTip, 64);
        return bytes.substr(0, bytes.find('\0'));
    }
    static std::wstring menu() {
        std::wstring text;
        headless::chooseFromMenu = [&](const std::vector<MenuEntry*>& entries) -> MenuEntry* {
            for (const MenuEntry* entry : entries)
                if (entry->Visible) text += entry->Caption + (entry->Enabled ? L"|" : L"(grey)|");
            return nullptr;
        };
        event(517);
        return text;
    }
    static void choose(const MenuEntry& wanted) {
        headless::chooseFromMenu = [&](const std::vector<MenuEntry*>&) { return const_cast<MenuEntry*>(&wanted); };
        event(517);
    }
    static std::wstring opened() {
        const auto& started = headless::state.started;
        return started.empty() ? L"(nothing)" : started.back().operation + L" " + started.back().target;
    }
};

TEST_F(Tray, TheRecordIsTheShellsOwn) {
    ASSERT_TRUE(headless::state.trayIcon);
    const platform::NotifyIconData& record = *headless::state.trayIcon;
    EXPECT_EQ(record.cbSize, 88u);
    EXPECT_EQ(record.hWnd, frmPopupMenu->hWnd());
    EXPECT_EQ(record.uID, 1u);
    EXPECT_EQ(record.uFlags, 7u);
    EXPECT_EQ(record.uCallbackMessage, 512u);
    EXPECT_EQ(std::string(record.szTip, 64),
              "Quillory Wallpaper Manager" + std::string(1, '\0') + std::string(37, ' '));
    storeTip(std::wstring(80, L'x'));
    EXPECT_EQ(std::string(gTrayIcon.szTip, 64), std::string(64, 'x'));
}

TEST_F(Tray, EveryMouseEventRefreshesTheTip) {
    secondsSinceChange = 5;
    for (const int number : {512, 513, 514, 516}) {
        ++secondsSinceChange;
        event(number);
        EXPECT_EQ(tip(), "Quillory - Next update in 0:59:" + std::to_string(60 - secondsSinceChange));
    }
    gAPI->apiNetworkOutage = true;
    event(512);
    EXPECT_EQ(tip(), "Quillory - Waiting for Internet Connectivity");
    frmOptions->chkFreeze.Value = 1;
    gAPI->apiNetworkOutage = false;
    event(512);
    EXPECT_EQ(tip(), "Quillory - Waiting for Internet Connectivity") << "the frozen tip stays in the record";
    EXPECT_EQ(std::string(gTrayIcon.szTip), "Quillory - Frozen on Current Wallpaper");
}

TEST_F(Tray, ADoubleClickBringsTheWindowBackUnlessItIsBusy) {
    frmMain->Enabled = false;
    event(515);
    EXPECT_FALSE(frmMain->Visible);
    frmMain->Enabled = true;
    frmPopupMenu->closeRequested(); // as Alt+F4 after the menu
    event(515);
    EXPECT_TRUE(frmMain->Visible);
    EXPECT_EQ(tip(), "(no icon)");
}

TEST_F(Tray, TheMenuTellsWhetherTheProgramIsBusy) {
    EXPECT_EQ(menu(),
              L"&Visit VelvetHarbor|View Info on &Current Wallpaper|-|Edit &Preferences|&Rotate Wallpaper Now|-|"
              L"E&xit Quillory|");
    EXPECT_EQ(headless::state.foreground.back(), frmPopupMenu->hWnd()) << "or the menu would not close by itself";
    frmMain->Enabled = false;
    EXPECT_EQ(menu(), L"Quillory is busy...(grey)|Please wait.(grey)|-|&Visit VelvetHarbor|View Info on &Current "
                      L"Wallpaper(grey)|-|Edit &Preferences(grey)|&Rotate Wallpaper Now(grey)|-|E&xit Quillory|");
}

TEST_F(Tray, TheEntriesDoWhatTheirWindowsWould) {
    const std::wstring home = L"Open http://velvetharbor.example/?source=Quillory";
    choose(frmPopupMenu->mnuVisitVH);
    EXPECT_EQ(opened(), home);
    gAPI->apiActiveWallpaperLink.clear();
    choose(frmPopupMenu->mnuViewCurrent);
    EXPECT_EQ(opened(), home);
    gAPI->apiActiveWallpaperLink = L"http://velvetharbor.example/w/7";
    choose(frmPopupMenu->mnuViewCurrent);
    EXPECT_EQ(opened(), L"Open http://velvetharbor.example/w/7?source=Quillory");
    gAPI->apiDownloadingUpdate = true;
    choose(frmPopupMenu->mnuForce);
    EXPECT_TRUE(gAPI->apiForced);
    headless::answers = {7};
    choose(frmPopupMenu->mnuExit);
    EXPECT_EQ(headless::boxes.back().title, L"Confirm Exit");
    EXPECT_EQ(headless::boxes.back().style, 36);
    choose(frmPopupMenu->mnuEditPreferences);
    EXPECT_TRUE(frmMain->Visible) << "the main window, whatever the entry is called";
    headless::answers = {6};
    minimizeToTray();
    EXPECT_THROW(frmMain->exitQuillory(false), headless::ProcessEnded);
    EXPECT_EQ(tip(), "(no icon)");
}

TEST_F(Tray, AFailureInTheTrayComesAsABox) {
    frmPopupMenu->MouseMove(0, 0, 1e300, 0);
    ASSERT_EQ(headless::boxes.size(), 1u);
    EXPECT_EQ(headless::boxes[0].text, L"Sub Form_MouseMove, frmPopupMenu");
    EXPECT_EQ(headless::boxes[0].title, L"Overflow");
    EXPECT_EQ(headless::boxes[0].style, 6);
}

TEST_F(Tray, ARestartedShellGetsTheIconBack) {
    headless::state.trayIcon.reset();
    headless::taskbarCreated();
    EXPECT_TRUE(headless::state.trayIcon);
    frmMain->unMinimize();
    headless::taskbarCreated();
    EXPECT_FALSE(headless::state.trayIcon) << "an icon that was not there stays away";
}

TEST_F(Tray, AnIconThatABusyShellRefusesIsTriedUntilItStands) {
    RemoveSystrayIcon();
    headless::state.notificationArea = false;
    minimizeToTray();
    headless::taskbarCreated();
    headless::advance(5000);
    EXPECT_EQ(tip(), "(no icon)");
    headless::state.notificationArea = true;
    headless::advance(1000);
    EXPECT_EQ(tip(), "Quillory Wallpaper Manager");
    const std::size_t calls = headless::state.trayCalls.size();
    minimizeToTray(); // it is there already
    headless::advance(5000);
    EXPECT_EQ(headless::state.trayCalls.size(), calls + 2) << "and then left alone";

    headless::state.notificationArea = false;
    headless::state.trayIcon.reset();
    headless::taskbarCreated();
    RemoveSystrayIcon();
    headless::state.notificationArea = true;
    headless::advance(5000);
    EXPECT_EQ(tip(), "(no icon)") << "taken away before it came";
}

TEST_F(Tray, TheFirstMinimizeIsExplainedOnceForEachAccount) {
    gAPI->apiUsername = L"bob";
    minimizeToTray();
    EXPECT_EQ(frmSlideMessage->lblTitle.Caption(), L"Quillory - Information");
    EXPECT_EQ(setting(L"MinimizeHelp"), L"1");
    frmSlideMessage.discard();
    minimizeToTray();
    EXPECT_FALSE(frmSlideMessage.isLoaded());
}

} // namespace
