#include "program/ProgramTest.h"

namespace {

class Outage : public ProgramTest {
protected:
    /// Takes the site away under a program that is logged in, and lets a timed rotation find out.
    void loseTheSite(int atTick) {
        logIn();
        site().goAway();
        gAPI->APICloseSock();
        timerTick = atTick;
        rotate(false);
        EXPECT_TRUE(gAPI->apiNetworkOutage && gTimers->Active_NetworkRetry);
        EXPECT_EQ(Start_NetworkRetry, atTick);
        EXPECT_EQ(takeNotice(), outageNotice);
    }
    static void rotate(bool forced) {
        gAPI->apiForced = forced;
        gAPI->RotateWallpaper();
    }
    static bool hasRotated() {
        return testDesktop::pumpUntil([] { return setting(L"ActiveWallpaper") == L"4711"; });
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
    EXPECT_EQ(tickOfReturn(), -1);
    rotate(false);
    EXPECT_EQ(takeNotice(), L"") << "the retries that fail say nothing, nor do timed rotations";

    site().comeBack();
    EXPECT_EQ(tickOfReturn(), 42);
    EXPECT_FALSE(gTimers->Active_NetworkRetry);
    rotate(false);
    ASSERT_TRUE(hasRotated()) << "rotation resumes";
    EXPECT_EQ(site().count("vh.auth.login"), 1u) << "the login holds";
    EXPECT_THAT(newBoxes(), IsEmpty());
}

TEST_F(Outage, InTheSecondHalfOfAMinuteIsRetriedOnlyByTheUser) {
    loseTheSite(35);
    timerTick = 20;
    rotate(true);
    EXPECT_EQ(takeNotice(), outageNotice) << "told afresh to a user who asks";
    EXPECT_TRUE(gAPI->apiNetworkOutage);
    EXPECT_EQ(Start_NetworkRetry, 20);
    Start_NetworkRetry = 35;
    site().comeBack();
    EXPECT_EQ(tickOfReturn(), -1);
    frmSlideMessage.discard();
    rotate(true);
    ASSERT_TRUE(hasRotated());
    EXPECT_FALSE(gAPI->apiNetworkOutage);

    // Ended by the user, it is retried once more.
    Start_NetworkRetry = 12;
    for (timerTick = 22; timerTick < 42; tick()) ASSERT_TRUE(gTimers->Active_NetworkRetry) << timerTick;
    tick();
    EXPECT_FALSE(gTimers->Active_NetworkRetry);
    EXPECT_EQ(takeNotice(), L"");
}

TEST_F(Outage, IsNoticedByTheWatchdogUnlessItSleepsAndEndedByAnyData) {
    logIn();
    site().stayMute("vh.wallpapers");
    timerTick = 55;
    rotate(false);
    tick(180);
    rotate(false); // at tick 55 again
    tick(10);
    ASSERT_EQ(timerTick, 5);
    rotate(false);
    tick(10);
    EXPECT_FALSE(gAPI->apiNetworkOutage);
    EXPECT_EQ(takeNotice(), L"");
    tick();
    EXPECT_TRUE(gAPI->apiNetworkOutage && !gTimers->Active_SockTimeout);
    EXPECT_EQ(takeNotice(), outageNotice);
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
    }
    EXPECT_THAT(newBoxes(), ElementsAre(L"Connection Error | 16 | The connection to VelvetHarbor cannot be established "
                                        L"at this time due to a connectivity issue.\r\n\r\nPlease make sure you're "
                                        L"connected to the internet and try again."));
    EXPECT_FALSE(gTimers->Active_NetworkRetry);
    EXPECT_EQ(takeNotice(), L"");
}

TEST_F(Outage, ALoginThatNeverCameIsTakenUpAgainWhenTheNetworkComes) {
    gAPI->apiUsername = L"Alice";
    gAPI->apiPasswordHash = L"ff";
    saveAccountSetting(L"HideQuickStart", L"1");
    gAPI->apiSilent = true;
    frmMain->Enabled = false;
    timerTick = 3;
    gAPI->APILogin();
    EXPECT_TRUE(gAPI->apiNetworkOutage);
    EXPECT_EQ(takeNotice(), outageNotice);
    gAPI->apiSilent = false;
    frmMain->Visible = true;
    site();
    EXPECT_EQ(tickOfReturn(), 33);
    EXPECT_TRUE(gAPI->apiSilent && !frmMain->Visible) << "in the background";
    ASSERT_TRUE(testDesktop::pumpUntil([] { return gAPI->apiLoggedIn; }));
    EXPECT_TRUE(frmMain->Enabled && !frmMain->Visible);
}

TEST_F(Outage, ARetryWithoutAPairAsksTheUser) {
    site();
    for (const auto& [user, hash] : {std::pair(L"alice", L""), std::pair(L"", L"ff")}) {
        gAPI->apiUsername = user;
        gAPI->apiPasswordHash = hash;
        gAPI->apiNetworkOutage = frmMain->Enabled = true;
        bool asked = false;
        person::once([] { return frmLogin->Visible(); },
                     [&] {
                         asked = !frmMain->Enabled && frmMain->Visible && frmLogin->owner() == &*frmMain;
                         frmLogin->Hide();
                     });
        EXPECT_TRUE(gAPI->apiNetworkRetry());
        EXPECT_TRUE(asked && !gAPI->apiNetworkOutage);
    }
}

} // namespace
