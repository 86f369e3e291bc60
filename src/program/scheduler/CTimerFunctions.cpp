#include "scheduler/CTimerFunctions.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "core/Errors.h"
#include "core/Numbers.h"
#include "core/Raised.h"
#include "core/Strings.h"
#include "state/modGlobals.h"

std::unique_ptr<CTimerFunctions> gTimers;

namespace {

/// What belongs to the job of a name.
struct Job {
    const wchar_t* name;
    bool CTimerFunctions::*active;
    std::int16_t& start;
    void (CTimerFunctions::*run)();
};

const std::array<Job, 4> jobs{{
    {L"ChangeWallpaper", &CTimerFunctions::Active_ChangeWallpaper, Start_ChangeWallpaper,
     &CTimerFunctions::TimerFunc_ChangeWallpaper},
    {L"CheckIdle", &CTimerFunctions::Active_CheckIdle, Start_CheckIdle, &CTimerFunctions::TimerFunc_CheckIdle},
    {L"SockTimeout", &CTimerFunctions::Active_SockTimeout, Start_SockTimeout, &CTimerFunctions::TimerFunc_SockTimeout},
    {L"NetworkRetry", &CTimerFunctions::Active_NetworkRetry, Start_NetworkRetry,
     &CTimerFunctions::TimerFunc_NetworkRetry},
}};

const Job& jobNamed(const std::wstring& name) {
    const auto found = std::ranges::find_if(jobs, [&](const Job& job) { return job.name == name; });
    if (found == jobs.end()) throw RunTimeError(errors::invalidCall);
    return *found;
}

std::wstring twoDigits(std::int32_t number) {
    const std::wstring digits = std::to_wstring(std::abs(number));
    return (number < 0 ? L"-" : L"") + (digits.size() < 2 ? L"0" + digits : digits);
}

} // namespace

void CTimerFunctions::TimerInit() {
    TimerFunctionsCol = {L"1-ChangeWallpaper", L"10-CheckIdle", L"10-SockTimeout", L"30-NetworkRetry"};
    for (const Job& job : jobs) {
        job.start = 0;
        this->*job.active = false;
    }
}

void CTimerFunctions::TimerTick() {
    for (const std::wstring& entry : TimerFunctionsCol) {
        const Strings parts = split(entry, L"-");
        const Job& job = jobNamed(parts[1]);
        if (!(this->*job.active) || running[job.name]) continue;
        const std::int32_t period = toLong(parts[0]);
        const std::int32_t start = job.start;
        if (timerTick % period != start % period || timerTick <= start) continue;

        const Raised whileItRuns(running[job.name]);
        (this->*job.run)();
    }
    if (++timerTick == 60) timerTick = 0;
}

std::wstring getFormattedTimeUntilChange() {
    return trapErrors(L"Function getFormattedTimeUntilChange, modMisc", [] {
        const std::int32_t left = changeInterval - secondsSinceChange;
        // A remainder below a minute, a negative one too, is seconds alone.
        const std::int32_t days = left < 86400 ? 0 : left / 86400;
        const std::int32_t hours = left < 3600 ? 0 : left % 86400 / 3600;
        const std::int32_t minutes = left < 60 ? 0 : left % 3600 / 60;
        const std::int32_t seconds = left < 60 ? left : left % 60;
        std::wstring text;
        if (days == 1) text = L"1 Day, ";
        if (days > 1) text = std::to_wstring(days) + L" Days, ";
        return text + std::to_wstring(hours) + L":" + twoDigits(minutes) + L":" + twoDigits(seconds);
    });
}
