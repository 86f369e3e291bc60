#include "platform/headless/Loop.h"
#include "platform/headless/Sockets.h"
#include "platform/headless/State.h"
#include "program/ProgramTest.h"

// Jobs that wait, in a box or for a connection, while the clock goes on.

namespace {

class WaitingJobs : public ProgramTest {
protected:
    void SetUp() override {
        ProgramTest::SetUp();
        gAPI->apiUsername = L"Alice";
        gAPI->apiPasswordHash = L"ff";
        saveAccountSetting(L"HideQuickStart", L"1");
        timerTick = 3;
    }
};

TEST_F(WaitingJobs, ALoginThatIsNotAnsweredShowsOneBoxHoweverLongItIsLeft) {
    site().stayMute("vh.auth.login");
    ASSERT_TRUE(gAPI->APILogin());
    headless::whileBoxIsUp = [&](const headless::ShownBox&) {
        if (headless::boxes.size() > 1) return;
        tick(60);
        EXPECT_EQ(timerTick, 13) << "the clock goes on";
        gAPI->apiSetNetworkOutage(); // the same outage, met on another way
    };
    tick(11);
    EXPECT_EQ(headless::boxes.size(), 1u);
    EXPECT_TRUE(gAPI->apiNetworkOutage);
    EXPECT_TRUE(frmLogin->cmdLogin.Enabled);
}

TEST_F(WaitingJobs, AConnectionThatTakesLongIsNotStartedAgainAndLogsInOnce) {
    gAPI->apiSilent = true;
    gAPI->APILogin(); // nobody is there yet
    ASSERT_TRUE(gTimers->Active_NetworkRetry);
    site();
    headless::holdLookups(true);
    person::later([this] {
        changeInterval = 1000;
        gTimers->Active_ChangeWallpaper = true;
        tick(45);
        EXPECT_GT(secondsSinceChange, 30) << "the other jobs go on";
        headless::holdLookups(false);
    });
    timerTick = 33;
    tick();
    EXPECT_TRUE(testDesktop::pumpUntil([] { return gAPI->apiLoggedIn && frmMain->cboGallery.Text != loadingText; }));
    EXPECT_EQ(site().count("method=vh.auth.login"), 1u);
    EXPECT_FALSE(gTimers->Active_NetworkRetry);
    EXPECT_TRUE(headless::boxes.empty());
}

/// Both seen by a nested loop only, before the one who waits looks again.
TEST_F(WaitingJobs, AConnectionThatComesAndGoesEndsTheWait) {
    site();
    headless::holdLookups(true);
    bool stranded = false;
    person::later([&] {
        headless::holdLookups(false);
        person::settle();
        site().hangUp();
        person::settle();
        person::later(
            [&] { // so that a wait without an end fails here and does not hang
                stranded = true;
                gAPI->APICloseSock();
            },
            1000);
    });
    gAPI->apiSilent = true;
    EXPECT_FALSE(gAPI->APILogin());
    EXPECT_FALSE(stranded);
    EXPECT_TRUE(gAPI->apiNetworkOutage);
}

TEST_F(WaitingJobs, ALockedDesktopCountsAsAMouseThatDoesNotMove) {
    person::moveMouse(100, 100);
    gTimers->TimerFunc_CheckIdle();
    idleHold = true;
    headless::state.cursor.reset();
    gTimers->TimerFunc_CheckIdle();
    EXPECT_TRUE(idleHold);
}

} // namespace
