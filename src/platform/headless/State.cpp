#include "platform/headless/State.h"

#include <algorithm>
#include <cwchar>

#include "platform/headless/Kill.h"
#include "platform/headless/Loop.h"
#include "platform/headless/Sockets.h"
#include "platform/headless/Toolkit.h"

namespace {

/// Upper and lower case of the letters of code page 1252, which is all the text that the tests have.
wchar_t fold(wchar_t c) {
    const bool upper = (c >= L'A' && c <= L'Z') || (c >= 0xC0 && c <= 0xDE && c != 0xD7);
    return upper ? static_cast<wchar_t>(c + 0x20) : c;
}

int compare(const std::wstring& left, const std::wstring& right) {
    const std::size_t common = std::min(left.size(), right.size());
    for (std::size_t i = 0; i < common; ++i) {
        const wchar_t a = fold(left[i]);
        const wchar_t b = fold(right[i]);
        if (a != b) return a < b ? -1 : 1;
    }
    if (left.size() == right.size()) return 0;
    return left.size() < right.size() ? -1 : 1;
}

} // namespace

namespace headless {

State state;

bool CaselessOrder::operator()(const std::wstring& left, const std::wstring& right) const {
    return compare(left, right) < 0;
}

bool CaselessOrder::operator()(const std::pair<std::wstring, std::wstring>& left,
                               const std::pair<std::wstring, std::wstring>& right) const {
    const int first = compare(left.first, right.first);
    return first < 0 || (first == 0 && compare(left.second, right.second) < 0);
}

namespace {

std::size_t callsToKill = 0;
bool killed = false;

} // namespace

void killAtCall(std::size_t n) {
    callsToKill = n;
    killed = false;
}

bool wasKilled() { return killed; }

bool isKilledHere() {
    if (callsToKill > 0 && --callsToKill == 0) killed = true;
    return killed;
}

void touch() {
    if (const bool before = killed; isKilledHere() && !before) throw ProcessEnded{};
}

void nextProcess() {
    killAtCall(0);
    resetNetwork();
    resetLoop();
    resetToolkit();
    closeFiles();
    state.trayIcon.reset();
}

void reset() {
    killAtCall(0);
    resetNetwork();
    resetLoop();
    resetToolkit();
    resetFiles();
    state = State{};
    std::filesystem::create_directories(mapFolder(state.applicationData));
    std::filesystem::create_directories(mapFolder(state.programFolder));
}

} // namespace headless
