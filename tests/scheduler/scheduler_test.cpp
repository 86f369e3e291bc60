#include "program/ProgramTest.h"

namespace {

class Scheduler : public ProgramTest {
protected:
    /// Ticks through two whole cycles, in the second of which the ticks behind `last` have to count.
    void expectCountBehind(int last) {
        timerTick = 0;
        tick(60);
        for (int i = 0; i < 60; ++i) {
            const std::int32_t before = secondsSinceChange;
            tick();
            EXPECT_EQ(secondsSinceChange - before, i > last ? 1 : 0) << i << ", last " << last;
        }
    }
};

TEST_F(Scheduler, CountsOnlyAtTicksBehindItsStartInEachCycle) {
    changeInterval = 1000000;
    gTimers->Active_ChangeWallpaper = true;
    for (const std::int16_t start : std::initializer_list<std::int16_t>{0, 1, 30, 58, 59}) {
        Start_ChangeWallpaper = start;
        expectCountBehind(start);
    }
    Start_ChangeWallpaper = 0;
    noWallpapersExist = true; // an empty source
    expectCountBehind(59);
    noWallpapersExist = false;
    gTimers->TimerInit(); // no job is on
    expectCountBehind(59);
}

/// A job barks once, at the first of its ticks, or never if it was armed too late in the cycle.
TEST_F(Scheduler, TheWatchdogBarksTenTicksLaterIfTheCycleHasThem) {
    gAPI->apiLoggedIn = true;
    const std::pair<int, int> cases[] = {{5, 15}, {0, 10}, {49, 59}, {50, -1}, {55, -1}, {59, -1}};
    for (const auto& [start, barks] : cases) {
        gAPI->apiNetworkOutage = false;
        gTimers->TimerInit();
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
    }
}

/// The scheduler rests in tick 0 of each minute, so that an interval takes longer than its name.
TEST_F(Scheduler, RotatesWhenTheIntervalHasBeenCountedAndBeginsItAnew) {
    logIn();
    changeInterval = 600;
    timerTick = 1;
    frmOptions->lblNextRotation.Caption = L"Not Running";
    tick(609);
    EXPECT_EQ(secondsSinceChange, 599);
    EXPECT_EQ(frmOptions->lblNextRotation.Caption(), L"Not Running") << "nobody looks";
    frmOptions->Show();
    gAPI->apiForced = true;
    tick();
    EXPECT_EQ(frmOptions->lblNextRotation.Caption(), L"0:00:00");
    EXPECT_EQ(secondsSinceChange, 0);
    EXPECT_FALSE(gAPI->apiForced);
    EXPECT_TRUE(testDesktop::pumpUntil([&] { return site().count("method=vh.wallpapers") == 1; }));

    gAPI->apiDownloadingUpdate = true;
    secondsSinceChange = 599;
    tick();
    EXPECT_EQ(secondsSinceChange, 0) << "declined, and not tried again before its time";
}

TEST(FormattedTime, CountsDaysApart) {
    const std::pair<std::int32_t, const wchar_t*> cases[] = {
        {59, L"0:00:59"},           {60, L"0:01:00"},
        {3599, L"0:59:59"},         {3600, L"1:00:00"},
        {86399, L"23:59:59"},       {86400, L"1 Day, 0:00:00"},
        {90061, L"1 Day, 1:01:01"}, {2 * 86400 + 600, L"2 Days, 0:10:00"},
        {-7, L"0:00:-07"}};
    for (const auto& [left, text] : cases) {
        changeInterval = 1000;
        secondsSinceChange = 1000 - left;
        EXPECT_EQ(getFormattedTimeUntilChange(), text);
    }
}

} // namespace
