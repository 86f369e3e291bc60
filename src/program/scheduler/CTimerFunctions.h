#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/Desktop.h"

/// The scheduler: a small table of periodic jobs over the program's one clock, which ticks each second.
///
/// The tick counter runs 0 to 59. A job with period N that was armed at tick S runs at the ticks after S, within each
/// cycle of 60, that are a multiple of N away from S; at the ticks up to and including S it rests, in every minute.
///
/// A job may wait in a nested message loop, in which the clock goes on: the ticks that come meanwhile count and start
/// the other jobs, but never one that has not returned.
class CTimerFunctions {
public:
    std::vector<std::wstring> TimerFunctionsCol; // one job each, as "period-name"
    bool Active_CheckIdle = false;
    bool Active_ChangeWallpaper = false;
    bool Active_SockTimeout = false;
    bool Active_NetworkRetry = false;

    void TimerInit();
    void TimerTick();
    void TimerFunc_ChangeWallpaper(); // counts, and rotates when the interval has passed
    void TimerFunc_CheckIdle();       // rotates once more after 2.5 intervals without the mouse, and holds
    void TimerFunc_SockTimeout();     // no data came after a request
    void TimerFunc_NetworkRetry();

private:
    std::map<std::wstring, bool> running; // by the job's name: it has not returned
    platform::Point lastCursorPos{0, 0};
    std::int32_t idleChecks = 0; // without movement
};

/// What is left of the interval, as "2:59:59" or "3 Days, 0:10:00".
std::wstring getFormattedTimeUntilChange();
