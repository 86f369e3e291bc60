#include "support/TestDesktop.h"

#include "platform/headless/Loop.h"
#include "platform/headless/State.h"

namespace testDesktop {

void reset() {
    headless::reset();
    std::filesystem::create_directories(headless::mapFolder(scratchFolder()));
}

void cleanUp() {} // the desktop does it itself

std::wstring scratchFolder() { return L"C:\\Scratch"; }

void postMessage(platform::WindowHandle window, std::uint32_t message, std::uint32_t wParam, std::int32_t lParam) {
    headless::postMessage(window, message, wParam, lParam);
}

void passTime(std::uint32_t milliseconds) { headless::advance(milliseconds); }

bool pumpUntil(const std::function<bool()>& done, int milliseconds) { return headless::pumpUntil(done, milliseconds); }

void answerBoxes(const std::vector<std::int32_t>& buttons) { headless::answers = {buttons.begin(), buttons.end()}; }

std::vector<ShownBox> shownBoxes() {
    std::vector<ShownBox> shown;
    for (const auto& box : headless::boxes) shown.push_back({box.text, box.title, box.style});
    return shown;
}

std::wstring wallpaper() {
    return headless::state.wallpapers.empty() ? std::wstring() : headless::state.wallpapers.back().path;
}

} // namespace testDesktop
