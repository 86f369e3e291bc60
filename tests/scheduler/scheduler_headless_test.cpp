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
    tick(60);
    EXPECT_EQ(headless::boxes.size(), 1u) << "nor does the watchdog bark again";
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

TEST_F(ProgramTest, RotationsAreHeldAfterTwoAndAHalfIntervalsWithoutTheMouse) {
    const auto check = [](int times) {
        for (int i = 0; i < times; ++i) gTimers->TimerFunc_CheckIdle();
    };
    const auto haveRun = [this](std::size_t times) {
        return testDesktop::pumpUntil([&] { return site().count("method=vh.wallpapers") == times; });
    };
    logIn();
    changeInterval = 600;
    headless::state.cursor = {100, 100};
    check(1);   // sees a movement from (0, 0)
    check(151); // a quarter of the interval counts the checks, and one more finds them spent
    EXPECT_TRUE(gTimers->Active_ChangeWallpaper && !idleHold);
    check(1);
    EXPECT_TRUE(idleHold && !gTimers->Active_ChangeWallpaper);
    EXPECT_TRUE(haveRun(1)) << "once more before the hold";
    headless::state.cursor.reset();
    check(5);
    EXPECT_TRUE(idleHold) << "a locked desktop counts as a mouse that does not move";

    timerTick = 42;
    headless::state.cursor = {100, 101};
    check(1);
    EXPECT_TRUE(gTimers->Active_ChangeWallpaper && !idleHold);
    EXPECT_EQ(Start_ChangeWallpaper, 42);
    check(151);
    EXPECT_FALSE(idleHold) << "the checks start from none";
    gTimers->Active_ChangeWallpaper = false;
    headless::state.cursor = {101, 101};
    check(1);
    EXPECT_FALSE(gTimers->Active_ChangeWallpaper) << "not held, nothing to resume";
    frmOptions->chkFreeze.Value = 1;
    check(1000);
    EXPECT_FALSE(idleHold) << "a frozen wallpaper is left alone";
    frmOptions->chkFreeze.Value = 0;
    gTimers->Active_SockTimeout = false;
    Start_CheckIdle = 0;
    timerTick = 10;
    tick(30 * 60 + 10); // five checks in each minute, and one
    EXPECT_FALSE(idleHold);
    tick();
    EXPECT_TRUE(idleHold);
    EXPECT_TRUE(haveRun(2));
}

} // namespace
