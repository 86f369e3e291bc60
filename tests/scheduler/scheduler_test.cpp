#include "program/ProgramTest.h"

namespace {

using testing::ElementsAre;

class Scheduler : public ProgramTest {
protected:
    /// Ticks through whole cycles from tick 0 and tells at which ticks of the last one `counter` has moved.
    std::vector<int> ticksThatMove(const std::int32_t& counter) {
        timerTick = 0;
        tick(60);
        std::vector<int> moved;
        for (int i = 0; i < 60; ++i) {
            const std::int32_t before = counter;
            tick();
            if (counter != before) moved.push_back(i);
        }
        return moved;
    }
};

TEST_F(Scheduler, CountsOnlyAtTicksBehindItsStartInEachCycle) {
    changeInterval = 1000000;
    gTimers->Active_ChangeWallpaper = true;
    for (const std::int16_t start : std::initializer_list<std::int16_t>{0, 1, 30, 58, 59}) {
        Start_ChangeWallpaper = start;
        std::vector<int> expected;
        for (int i = start + 1; i < 60; ++i) expected.push_back(i);
        EXPECT_EQ(ticksThatMove(secondsSinceChange), expected) << "start " << start;
    }
    gTimers->Active_ChangeWallpaper = false;
    EXPECT_TRUE(ticksThatMove(secondsSinceChange).empty());
}

TEST_F(Scheduler, AnIntervalOfThreeHoursTakesThreeMoreMinutes) {
    changeInterval = 10800;
    gTimers->Active_ChangeWallpaper = true;
    gAPI->apiForced = true;
    timerTick = 1; // the scheduler rests in tick 0 of each minute
    int ticks = 0;
    while (gAPI->apiForced && ticks < 20000) {
        tick();
        ++ticks;
    }
    EXPECT_NEAR(ticks, 183 * 60, 60);
    EXPECT_EQ(secondsSinceChange, 0);
}

TEST_F(Scheduler, AnEmptySourceStopsTheCount) {
    changeInterval = 1000;
    gTimers->Active_ChangeWallpaper = true;
    noWallpapersExist = true;
    EXPECT_TRUE(ticksThatMove(secondsSinceChange).empty());
}

/// The watchdog calls once, at the first of its ticks, or never if the request came in the last ten.
TEST_F(Scheduler, TheWatchdogBarksTenTicksLaterIfTheCycleHasThem) {
    gAPI->apiLoggedIn = true;
    const std::pair<int, int> cases[] = {{5, 15}, {0, 10}, {49, 59}, {50, -1}, {55, -1}, {59, -1}};
    for (const auto& [start, barks] : cases) {
        gAPI->apiNetworkOutage = false;
        gTimers->Active_NetworkRetry = false;
        timerTick = start;
        Start_SockTimeout = static_cast<std::int16_t>(start);
        gTimers->Active_SockTimeout = true;
        int seen = -1;
        for (int i = 0; i < 120 && seen < 0; ++i) {
            const int now = timerTick;
            tick();
            if (gAPI->apiNetworkOutage) seen = now;
        }
        EXPECT_EQ(seen, barks) << "armed at " << start;
        EXPECT_EQ(gTimers->Active_SockTimeout, barks < 0);
        gTimers->Active_SockTimeout = false;
    }
}

TEST_F(Scheduler, ShowsTheCountdownOnlyWhileTheOptionsAreOpen) {
    changeInterval = 10800;
    gTimers->Active_ChangeWallpaper = true;
    timerTick = 1;
    tick();
    EXPECT_EQ(frmOptions->lblNextRotation.Caption(), L"Not Running");
    frmOptions->Show();
    tick();
    EXPECT_EQ(frmOptions->lblNextRotation.Caption(), L"2:59:58");
}

class Idle : public Scheduler {
protected:
    void SetUp() override {
        Scheduler::SetUp();
        logIn();
        gTimers->Active_CheckIdle = gTimers->Active_ChangeWallpaper = true;
        changeInterval = 600;
        moveMouse(100, 100);
        gTimers->TimerFunc_CheckIdle(); // sees a movement from (0, 0)
    }
    static void check(int times) {
        for (int i = 0; i < times; ++i) gTimers->TimerFunc_CheckIdle();
    }
    static void moveMouse(int x, int y) { person::moveMouse(x, y); }
    bool hasRotated(std::size_t times) {
        return testDesktop::pumpUntil([&] { return site().count("method=vh.wallpapers") == times; });
    }
};

TEST_F(Idle, HoldsAfterTwoAndAHalfIntervalsAndResumesWhereItIsWoken) {
    check(151); // a quarter of the interval counts the checks, and one more finds them spent
    EXPECT_FALSE(idleHold);
    EXPECT_TRUE(gTimers->Active_ChangeWallpaper);
    check(1);
    EXPECT_TRUE(idleHold);
    EXPECT_FALSE(gTimers->Active_ChangeWallpaper);
    EXPECT_TRUE(hasRotated(1)) << "once more before the hold";
    check(5);
    EXPECT_TRUE(idleHold);

    timerTick = 42;
    moveMouse(100, 101);
    check(1);
    EXPECT_FALSE(idleHold);
    EXPECT_TRUE(gTimers->Active_ChangeWallpaper);
    EXPECT_EQ(Start_ChangeWallpaper, 42);
    check(151);
    EXPECT_FALSE(idleHold) << "the checks start from none";
    check(1);
    EXPECT_TRUE(idleHold);
    EXPECT_TRUE(hasRotated(2));
}

TEST_F(Idle, LeavesAFrozenWallpaperAlone) {
    frmOptions->chkFreeze.Value = 1;
    check(1000);
    EXPECT_FALSE(idleHold);
}

TEST_F(Scheduler, KnowsItsJobsByTheirNames) {
    EXPECT_THAT(gTimers->TimerFunctionsCol,
                ElementsAre(L"1-ChangeWallpaper", L"10-CheckIdle", L"10-SockTimeout", L"30-NetworkRetry"));
    gTimers->Active_CheckIdle = true;
    Start_CheckIdle = 7;
    gTimers->TimerInit();
    EXPECT_FALSE(gTimers->Active_CheckIdle);
    EXPECT_EQ(Start_CheckIdle, 0);
}

TEST(FormattedTime, CountsDaysApart) {
    const std::pair<std::int32_t, const wchar_t*> cases[] = {{0, L"0:00:00"},
                                                             {5, L"0:00:05"},
                                                             {59, L"0:00:59"},
                                                             {60, L"0:01:00"},
                                                             {10799, L"2:59:59"},
                                                             {86399, L"23:59:59"},
                                                             {86400, L"1 Day, 0:00:00"},
                                                             {90061, L"1 Day, 1:01:01"},
                                                             {3 * 86400 + 600, L"3 Days, 0:10:00"},
                                                             {-7, L"0:00:-07"}};
    for (const auto& [left, text] : cases) {
        changeInterval = 1000;
        secondsSinceChange = 1000 - left;
        EXPECT_EQ(getFormattedTimeUntilChange(), text);
    }
}

} // namespace
