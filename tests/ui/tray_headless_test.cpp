#include "core/modShell.h"
#include "platform/headless/Loop.h"
#include "platform/headless/State.h"
#include "platform/headless/Toolkit.h"
#include "program/ProgramTest.h"
#include "ui/modSysTray.h"

// What the program asks of the shell, as only the headless desktop can record it.

namespace {

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
        return headless::state.trayIcon ? headless::state.trayIcon->szTip : std::string("(no icon)");
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
    static void choose(MenuEntry& wanted) {
        headless::chooseFromMenu = [&](const std::vector<MenuEntry*>&) { return &wanted; };
        event(517);
    }
};

TEST_F(Tray, TheRecordIsTheShellsOwn) {
    ASSERT_TRUE(headless::state.trayIcon);
    const platform::NotifyIconData& record = *headless::state.trayIcon;
    EXPECT_EQ(std::tuple(record.cbSize, record.uID, record.uFlags, record.uCallbackMessage),
              std::tuple(88u, 1u, 7u, 512u));
    EXPECT_EQ(std::pair(record.hWnd, record.hIcon), std::pair(frmPopupMenu->hWnd(), frmPopupMenu->hIcon()));
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
    EXPECT_FALSE(frmMain->Visible);
    gAPI->apiNetworkOutage = true;
    event(512);
    EXPECT_EQ(tip(), "Quillory - Waiting for Internet Connectivity");
    frmOptions->chkFreeze.Value = 1;
    gAPI->apiNetworkOutage = false;
    event(512);
    EXPECT_EQ(tip(), "Quillory - Waiting for Internet Connectivity") << "the frozen tip stays in the record";
    EXPECT_EQ(std::string(gTrayIcon.szTip), "Quillory - Frozen on Current Wallpaper");

    frmPopupMenu->MouseMove(0, 0, 1e300, 0);
    EXPECT_THAT(newBoxes(), ElementsAre(L"Overflow | 6 | Sub Form_MouseMove, frmPopupMenu"));
}

TEST_F(Tray, TheMenuTellsWhetherTheProgramIsBusy) {
    frmMain->Enabled = false;
    EXPECT_EQ(menu(), L"Quillory is busy...(grey)|Please wait.(grey)|-|&Visit VelvetHarbor|View Info on &Current "
                      L"Wallpaper(grey)|-|Edit &Preferences(grey)|&Rotate Wallpaper Now(grey)|-|E&xit Quillory|");
    event(515);
    EXPECT_FALSE(frmMain->Visible);
    frmMain->Enabled = true;
    EXPECT_EQ(menu(),
              L"&Visit VelvetHarbor|View Info on &Current Wallpaper|-|Edit &Preferences|&Rotate Wallpaper Now|-|"
              L"E&xit Quillory|");
    EXPECT_EQ(headless::state.foreground.back(), frmPopupMenu->hWnd()) << "or the menu would not close by itself";
    EXPECT_EQ(headless::menuDefault, &frmPopupMenu->mnuEditPreferences);
    frmPopupMenu->closeRequested(); // as Alt+F4 after the menu
    event(515);
    EXPECT_TRUE(frmMain->Visible);
    EXPECT_EQ(headless::activated.back(), L"frmMain");
    EXPECT_EQ(tip(), "(no icon)");
}

TEST_F(Tray, TheEntriesDoWhatTheirWindowsWould) {
    gAPI->apiDownloadingUpdate = true;
    frmOptions->chkFreeze.Value = 1; // which holds nobody up who asks
    choose(frmPopupMenu->mnuForce);
    EXPECT_TRUE(gAPI->apiForced);
    choose(frmPopupMenu->mnuEditPreferences);
    EXPECT_TRUE(frmMain->Visible) << "the main window, whatever the entry is called";
    minimizeToTray();
    headless::answers = {7, 6};
    choose(frmPopupMenu->mnuExit);
    EXPECT_THROW(Input::press(frmMain->picExit), headless::ProcessEnded);
    EXPECT_EQ(tip(), "(no icon)");
    EXPECT_EQ(newBoxes().size(), 2u);
}

TEST_F(Tray, WhatLeadsToTheSiteOpensItsPage) {
    const std::wstring home = L"http://velvetharbor.example/?source=Quillory";
    const std::wstring members = L"http://members.velvetharbor.example/alice/";
    const auto view = [](const wchar_t* link) {
        gAPI->apiActiveWallpaperLink = link;
        choose(frmPopupMenu->mnuViewCurrent);
    };
    frmMain->Show();
    frmLogin->Show();
    toggleSourceTabs(0);
    const std::pair<std::function<void()>, std::wstring> cases[] = {
        {[] { choose(frmPopupMenu->mnuVisitVH); }, home},
        {[&] { view(L""); }, home},
        {[&] { view(L"http://velvetharbor.example/w/7"); }, L"http://velvetharbor.example/w/7?source=Quillory"},
        {[] { Input::press(frmMain->picMainTopLogo); }, home},
        {[] { Input::press(frmMain->lblFavoriteWhere); }, members + L"favorites/?source=Quillory"},
        {[] { Input::press(frmMain->lblUploadedWhere); }, members + L"uploads/?source=Quillory"},
        {[] { Input::press(frmLogin->picNewAccount); }, L"http://velvetharbor.example/signup?source=Quillory"}};
    for (const auto& [act, url] : cases) {
        headless::state.started.clear();
        act();
        ASSERT_EQ(headless::state.started.size(), 1u);
        const headless::ShellCall& call = headless::state.started[0];
        EXPECT_EQ(call.operation + L" " + call.target + call.parameters + call.directory, L"Open " + url);
        EXPECT_EQ(call.showCommand, 0);
    }
    headless::state.shellResult = 33;
    EXPECT_TRUE(shellOpen(home, L"Open", {}, {}, 0));
    headless::state.shellResult = 32;
    EXPECT_FALSE(shellOpen(home, L"Open", {}, {}, 0));

    Input::press(frmMain->picOptions);
    EXPECT_EQ(headless::state.foreground.back(), frmOptions->hWnd());
    gAPI->APILogout();
    EXPECT_EQ(headless::state.foreground.back(), frmLogin->hWnd());
}

TEST_F(Tray, AnIconThatABusyShellRefusesIsTriedUntilItStands) {
    headless::state.trayIcon.reset();
    headless::taskbarCreated();
    EXPECT_EQ(tip(), "Quillory Wallpaper Manager") << "a restarted shell gets the icon back";
    RemoveSystrayIcon();
    headless::taskbarCreated();
    EXPECT_EQ(tip(), "(no icon)") << "one that was not there stays away";

    headless::state.notificationArea = false;
    minimizeToTray();
    headless::taskbarCreated();
    headless::advance(5000);
    EXPECT_EQ(tip(), "(no icon)");
    headless::state.notificationArea = true;
    headless::advance(999);
    EXPECT_EQ(tip(), "(no icon)");
    headless::advance(1);
    EXPECT_EQ(tip(), "Quillory Wallpaper Manager");
    const std::size_t calls = headless::state.trayCalls.size();
    minimizeToTray(); // it is there already
    headless::advance(5000);
    EXPECT_EQ(headless::state.trayCalls.size(), calls + 2) << "and then left alone";

    for (const bool isTakenAway : {false, true}) {
        headless::state.notificationArea = false;
        headless::state.trayIcon.reset();
        headless::taskbarCreated();
        if (isTakenAway) RemoveSystrayIcon();
        headless::state.notificationArea = true;
        headless::advance(5000);
        EXPECT_EQ(tip(), isTakenAway ? "(no icon)" : "Quillory Wallpaper Manager");
    }
}

TEST_F(Tray, TheFirstMinimizeIsExplainedOnceForEachAccount) {
    gAPI->apiUsername = L"bob";
    minimizeToTray();
    EXPECT_EQ(takeNotice(),
              L"Quillory - Information | Quillory has been minimized!\r\n\r\nYou'll see the Quillory icon in "
              L"the bottom-right corner of your monitor.  To bring the preferences screen back, "
              L"double-click on the icon.  To see more options, right-click on it.");
    EXPECT_EQ(setting(L"MinimizeHelp"), L"1");
    minimizeToTray();
    EXPECT_EQ(takeNotice(), L"");
}

} // namespace
