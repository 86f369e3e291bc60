#include "platform/Input.h"
#include "program/ProgramTest.h"

namespace {

using testing::IsEmpty;
using testing::StartsWith;

class Outage : public ProgramTest {
protected:
    static std::wstring notice() {
        return frmSlideMessage.isLoaded() ? frmSlideMessage->lblStatusMsg.Caption() : std::wstring();
    }
    static inline const std::wstring announcement = L"Could not connect to VelvetHarbor\r\n\r\nQuillory will try again "
                                                    L"in a few minutes.  Wallpaper rotation will resume "
                                                    L"automatically when you reconnect to the internet.";

    /// Takes the site away under a program that is logged in, and lets a timed rotation find out.
    void loseTheSite(int atTick) {
        logIn();
        site().goAway();
        gAPI->APICloseSock();
        timerTick = atTick;
        gAPI->apiForced = false;
        gAPI->RotateWallpaper();
    }
    /// The tick at which the program is back, from whatever tick it is now; -1 if not within three minutes.
    int tickOfReturn() {
        for (int i = 0; i < 180; ++i) {
            const int now = timerTick;
            tick();
            if (!gAPI->apiNetworkOutage) return now;
        }
        return -1;
    }
};

TEST_F(Outage, IsAnnouncedOnceAndRetriedInTheBackground) {
    loseTheSite(12);
    EXPECT_TRUE(gAPI->apiNetworkOutage);
    EXPECT_EQ(notice(), announcement);
    EXPECT_EQ(frmSlideMessage->lblTitle.Caption(), L"Quillory - Connection Issue");
    EXPECT_TRUE(gTimers->Active_NetworkRetry);
    EXPECT_EQ(Start_NetworkRetry, 12);
    frmSlideMessage.discard();

    EXPECT_EQ(tickOfReturn(), -1);
    EXPECT_EQ(notice(), L"") << "the retries that fail say nothing";
    gAPI->RotateWallpaper();
    EXPECT_EQ(notice(), L"") << "nor do timed rotations";

    site().comeBack();
    EXPECT_EQ(tickOfReturn(), 42);
    EXPECT_FALSE(gTimers->Active_NetworkRetry);
    gAPI->RotateWallpaper();
    ASSERT_TRUE(testDesktop::pumpUntil([] { return setting(L"ActiveWallpaper") == L"4711"; })) << "rotation resumes";
    EXPECT_THAT(testDesktop::shownBoxes(), IsEmpty());
}

TEST_F(Outage, InTheSecondHalfOfAMinuteIsRetriedOnlyByTheUser) {
    loseTheSite(35);
    site().comeBack();
    EXPECT_EQ(tickOfReturn(), -1);
    gAPI->apiForced = true;
    gAPI->RotateWallpaper();
    EXPECT_FALSE(gAPI->apiNetworkOutage);
    EXPECT_TRUE(gTimers->Active_NetworkRetry);
}

TEST_F(Outage, EndedByTheUserIsRetriedOnceMore) {
    loseTheSite(12);
    frmSlideMessage.discard();
    site().comeBack();
    tick(10);
    gAPI->apiForced = true;
    gAPI->RotateWallpaper();
    ASSERT_TRUE(testDesktop::pumpUntil([] { return setting(L"ActiveWallpaper") == L"4711"; }));
    EXPECT_FALSE(gAPI->apiNetworkOutage);
    ASSERT_EQ(timerTick, 22);
    for (; timerTick < 42; tick()) ASSERT_TRUE(gTimers->Active_NetworkRetry) << timerTick;
    tick();
    EXPECT_FALSE(gTimers->Active_NetworkRetry);
    EXPECT_EQ(notice(), L"");
    EXPECT_EQ(site().count("vh.auth.login"), 1u) << "the login holds";
}

TEST_F(Outage, IsNotNoticedWhereTheWatchdogSleeps) {
    logIn();
    site().stayMute("vh.wallpapers");
    timerTick = 55;
    gAPI->RotateWallpaper();
    tick(180);
    EXPECT_FALSE(gAPI->apiNetworkOutage);
    EXPECT_EQ(notice(), L"");
    gAPI->RotateWallpaper(); // at tick 55 again
    tick(10);
    ASSERT_EQ(timerTick, 5);
    gAPI->RotateWallpaper();
    tick(10);
    EXPECT_FALSE(gAPI->apiNetworkOutage);
    tick();
    EXPECT_TRUE(gAPI->apiNetworkOutage);
}

TEST_F(Outage, AnyDataFromTheServiceEndsIt) {
    logIn();
    site().stayMute("vh.wallpapers");
    timerTick = 5;
    gAPI->RotateWallpaper();
    tick(11); // the watchdog barks
    EXPECT_TRUE(gAPI->apiNetworkOutage);
    EXPECT_EQ(notice(), announcement);
    getGalleries();
    EXPECT_FALSE(frmMain->cboGallery.Enabled() || frmMain->cboCategory.Enabled()) << "the combos wait";
    ASSERT_TRUE(testDesktop::pumpUntil([] { return !gAPI->apiNetworkOutage; }));
    EXPECT_TRUE(gTimers->Active_NetworkRetry) << "the retry has its own end";
}

TEST_F(Outage, AtTheLoginWindowComesAsABoxAndOnlyOnce) {
    frmLogin->Show();
    for (const bool first : {true, false}) {
        frmLogin->EnableLogin();
        Input::type(frmLogin->txtUserName, L"alice");
        Input::type(frmLogin->txtPassword, L"velvet");
        Input::press(frmLogin->picLoginSubmit);
        testDesktop::pumpUntil([] { return gAPI->apiNetworkOutage; });
        EXPECT_EQ(frmLogin->cmdLogin.Enabled, first) << "the second time the flag is set, and nothing happens";
        EXPECT_EQ(testDesktop::shownBoxes().size(), 1u);
    }
    const auto box = testDesktop::shownBoxes().front();
    EXPECT_EQ(box.title, L"Connection Error");
    EXPECT_EQ(box.style, 16);
    EXPECT_THAT(box.text, StartsWith(L"The connection to VelvetHarbor cannot be established at this"));
    EXPECT_FALSE(gTimers->Active_NetworkRetry);
    EXPECT_EQ(notice(), L"");
}

TEST_F(Outage, ASilentLoginIsTakenUpAgainWhenTheNetworkComes) {
    gAPI->apiUsername = L"Alice";
    gAPI->apiPasswordHash = L"ff";
    saveAccountSetting(L"HideQuickStart", L"1");
    gAPI->apiSilent = true;
    frmMain->Enabled = false;
    timerTick = 3;
    gAPI->APILogin();
    EXPECT_TRUE(gAPI->apiNetworkOutage);
    EXPECT_EQ(notice(), announcement);
    site();
    EXPECT_EQ(tickOfReturn(), 33);
    ASSERT_TRUE(testDesktop::pumpUntil([] { return gAPI->apiLoggedIn; }));
    EXPECT_TRUE(frmMain->Enabled && !frmMain->Visible);
}

TEST_F(Outage, ARetryWithoutAPairAsksTheUser) {
    site();
    gAPI->apiNetworkOutage = true;
    bool asked = false;
    person::once([] { return frmLogin->Visible(); },
                 [&] {
                     asked = !frmMain->Enabled && frmMain->Visible;
                     frmLogin->Hide();
                 });
    EXPECT_TRUE(gAPI->apiNetworkRetry());
    EXPECT_TRUE(asked);
    EXPECT_FALSE(gAPI->apiNetworkOutage);
}

TEST_F(Outage, ARefusedSilentLoginBringsTheWindowUp) {
    site().onApi("vh.auth.login", "<error>\n<number>75</number><description>no</description>\n</error>\n");
    gAPI->apiUsername = L"Alice";
    gAPI->apiPasswordHash = L"ff";
    gAPI->apiSilent = true;
    frmOptions->lblLoggedIn.Caption = L"Alice";
    gAPI->APILogin();
    ASSERT_TRUE(testDesktop::pumpUntil([] { return frmLogin->Visible(); }));
    EXPECT_EQ(testDesktop::shownBoxes().back().title, L"Invalid Username/Password");
    EXPECT_FALSE(gAPI->apiSilent);
    EXPECT_FALSE(gAPI->apiLoggedIn);
    EXPECT_EQ(frmOptions->lblLoggedIn.Caption(), L"[Not Logged In]");
}

} // namespace
