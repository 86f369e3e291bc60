#include "platform/headless/Toolkit.h"

#include <algorithm>
#include <map>
#include <utility>

#include "platform/Shell.h"
#include "platform/ToolkitPeer.h"
#include "platform/headless/Loop.h"

namespace {

/// A window on the screen.
struct Shown {
    const Form* form; // null: a box
    std::wstring name;
    friend bool operator==(const Shown&, const Shown&) = default;
};
std::vector<Shown> shown; // the front one last

void raise(const Shown& window) {
    std::erase(shown, window);
    shown.push_back(window);
}

bool menuIsOpen = false;

std::map<const Form*, platform::WindowHandle> windows;
platform::WindowHandle lastWindow = 1000;

} // namespace

namespace headless {

std::function<MenuEntry*(const std::vector<MenuEntry*>&)> chooseFromMenu;
const MenuEntry* menuDefault = nullptr;
std::vector<std::wstring> activated;
bool programHasKeyboard = true;
std::function<void()> taskbarCreated;

Form* formOf(platform::WindowHandle window) {
    for (Form* form : openForms())
        if (platform::windowOf(*form) == window) return form;
    return nullptr;
}

std::wstring inFront() { return shown.empty() ? std::wstring() : shown.back().name; }

void resetToolkit() {
    shown.clear();
    programHasKeyboard = true;
    chooseFromMenu = nullptr;
    menuDefault = nullptr;
    activated.clear();
    taskbarCreated = nullptr;
}

} // namespace headless

namespace platform {

void formLoaded(Form& form) { windows[&form] = ++lastWindow; }
void formUnloaded(Form& form) { windows.erase(&form); }
void formChanged(Form& form, Aspect aspect) {
    if (aspect != Aspect::visible) return;
    const Shown window{&form, form.design.name};
    if (!form.Visible)
        std::erase(shown, window);
    else if (!form.design.notice)
        raise(window);
    if (form.Visible && form.Activate) form.Activate();
}
void controlChanged(Control&, Aspect) {}
void focusChanged(Form&) {}
void activate(Form& form, bool withKeyboard) {
    if (withKeyboard) headless::activated.emplace_back(form.design.name);
    if (form.Visible && !form.design.notice) raise({&form, form.design.name});
}
void inputChanged(Form&) {}

std::int32_t showBox(const std::wstring& text, std::int32_t style, const std::wstring& title,
                     const std::function<void(std::int32_t)>& gone) {
    headless::boxes.push_back({text, style, title});
    const headless::ShownBox asked = headless::boxes.back();
    struct OnScreen { // also when the process ends under it
        explicit OnScreen(Shown of) : window(std::move(of)) { raise(window); }
        ~OnScreen() { std::erase(shown, window); }
        const Shown window;
    } onScreen({nullptr, title});
    if (headless::whileBoxIsUp) headless::whileBoxIsUp(asked);
    std::int32_t answer = (style & box::yesNo) != 0 ? box::resultYes : box::resultOk;
    if (!headless::answers.empty()) {
        answer = headless::answers.front();
        headless::answers.pop_front();
    }
    std::erase(shown, onScreen.window);
    gone(answer);
    return answer;
}

void boxInputChanged() {}
void activateBox(bool withKeyboard) {
    const Shown window{nullptr, asking::last()->title};
    if (withKeyboard) headless::activated.push_back(window.name);
    raise(window);
}
bool hasKeyboard() { return headless::programHasKeyboard; }
void endMenu() { menuIsOpen = false; }

WindowHandle windowOf(const Form& form) {
    auto found = windows.find(&form);
    return found == windows.end() ? 0 : found->second;
}

std::uint32_t smallIconOf(const Form&) { return 1; }

void onTaskbarCreated(std::function<void()> callback) { headless::taskbarCreated = std::move(callback); }

MenuEntry* trackMenu(Form&, const std::vector<MenuEntry*>& entries, const MenuEntry* defaultEntry) {
    menuIsOpen = true;
    headless::menuDefault = defaultEntry;
    MenuEntry* const chosen = headless::chooseFromMenu ? headless::chooseFromMenu(entries) : nullptr;
    return std::exchange(menuIsOpen, false) ? chosen : nullptr;
}

} // namespace platform
