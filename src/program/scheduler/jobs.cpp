#include "api/CVHAPI.h"
#include "scheduler/CTimerFunctions.h"
#include "state/modGlobals.h"
#include "ui/frmOptions.h"

// What the scheduler's four jobs do; CTimerFunctions.cpp has the table that tells when.

void CTimerFunctions::TimerFunc_ChangeWallpaper() {
    if (noWallpapersExist) return;
    ++secondsSinceChange;
    if (frmOptions->Visible) frmOptions->lblNextRotation.Caption = getFormattedTimeUntilChange();
    if (secondsSinceChange >= changeInterval) {
        gAPI->apiForced = false;
        secondsSinceChange = 0;
        gAPI->RotateWallpaper();
    }
}

void CTimerFunctions::TimerFunc_CheckIdle() {
    if (frmOptions->chkFreeze.Value == 1) return;
    const platform::Point cursor = platform::cursorPosition().value_or(lastCursorPos);
    if (cursor != lastCursorPos) {
        idleChecks = 0;
        lastCursorPos = cursor;
        if (frmOptions->chkFreeze.Value == 0 && idleHold) {
            Start_ChangeWallpaper = static_cast<std::int16_t>(timerTick);
            Active_ChangeWallpaper = true;
        }
        idleHold = false;
    } else if (!idleHold) {
        if (idleChecks > changeInterval * 2.5 / 10) {
            gAPI->RotateWallpaper();
            Active_ChangeWallpaper = false;
            idleHold = true;
        } else {
            ++idleChecks;
        }
    }
}

void CTimerFunctions::TimerFunc_SockTimeout() {
    gAPI->apiSetNetworkOutage();
    Active_SockTimeout = false;
}

void CTimerFunctions::TimerFunc_NetworkRetry() {
    if (gAPI->apiNetworkRetry()) Active_NetworkRetry = false;
}
