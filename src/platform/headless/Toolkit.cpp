#include "platform/headless/Toolkit.h"

#include <map>
#include <utility>

#include "platform/Shell.h"
#include "platform/ToolkitPeer.h"

namespace {

std::map<const Form*, platform::WindowHandle> windows;
platform::WindowHandle lastWindow = 1000;

} // namespace

namespace headless {

std::function<MenuEntry*(const std::vector<MenuEntry*>&)> chooseFromMenu;
std::vector<std::wstring> activated;
std::function<void()> taskbarCreated;

Form* formOf(platform::WindowHandle window) {
    for (Form* form : openForms())
        if (platform::windowOf(*form) == window) return form;
    return nullptr;
}

void resetToolkit() {
    chooseFromMenu = nullptr;
    activated.clear();
    taskbarCreated = nullptr;
}

} // namespace headless

namespace platform {

void formLoaded(Form& form) { windows[&form] = ++lastWindow; }
void formUnloaded(Form& form) { windows.erase(&form); }
void formChanged(Form& form, Aspect aspect) {
    if (aspect == Aspect::visible && form.Visible && form.Activate) form.Activate();
}
void controlChanged(Control&, Aspect) {}
void focusChanged(Form&) {}
void activate(Form& form) { headless::activated.emplace_back(form.design.name); }
void inputChanged(Form&) {}

WindowHandle windowOf(const Form& form) {
    auto found = windows.find(&form);
    return found == windows.end() ? 0 : found->second;
}

std::uint32_t smallIconOf(const Form&) { return 1; }

void onTaskbarCreated(std::function<void()> callback) { headless::taskbarCreated = std::move(callback); }

MenuEntry* trackMenu(Form&, const std::vector<MenuEntry*>& entries, const MenuEntry*) {
    return headless::chooseFromMenu ? headless::chooseFromMenu(entries) : nullptr;
}

} // namespace platform
