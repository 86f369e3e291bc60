#include <algorithm>
#include <utility>

#include <windows.h>

#include "platform/Input.h"
#include "platform/win32/ToolkitWindow.h"

// What a text box and a combo show, and how they and their controls tell each other of it.

namespace platform::win32 {

namespace {

std::wstring textOf(HWND window) {
    std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(window)) + 1, L'\0');
    text.resize(static_cast<std::size_t>(GetWindowTextW(window, text.data(), static_cast<int>(text.size()))));
    return text;
}

} // namespace

void FormWindow::showText(Native& native) {
    if (auto* box = dynamic_cast<TextBox*>(&native.control)) {
        SetWindowTextW(native.window, box->Text().c_str());
        adoptSelection(native);
    } else if (const auto* combo = dynamic_cast<ComboBox*>(&native.control)) {
        // As the chosen entry, if it is one, so that the list opens there.
        const auto entry = std::ranges::find(native.listed, combo->Text());
        const bool isEntry = entry != native.listed.end();
        SendMessageW(native.window, CB_SETCURSEL,
                     isEntry ? static_cast<WPARAM>(entry - native.listed.begin()) : static_cast<WPARAM>(-1), 0);
        if (!isEntry) SetWindowTextW(native.window, combo->Text().c_str());
        hideSelection(native);
    }
}

void FormWindow::showList(Native& native) {
    const auto* combo = dynamic_cast<ComboBox*>(&native.control);
    if (!combo) return;
    const auto& entries = combo->List();
    // Lists are filled entry by entry: what is there stays.
    const auto kept = std::ranges::mismatch(native.listed, entries).in1;
    if (kept != native.listed.end()) {
        native.listed.clear();
        SendMessageW(native.window, CB_RESETCONTENT, 0, 0); // takes the text along
    }
    for (std::size_t i = native.listed.size(); i < entries.size(); ++i)
        SendMessageW(native.window, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(entries[i].c_str()));
    native.listed = entries;
    if (textOf(native.window) != combo->Text()) showText(native);
}

void FormWindow::adoptText(Native& native) {
    if (auto* box = dynamic_cast<TextBox*>(&native.control)) {
        box->Text.adopt(textOf(native.window));
        adoptSelection(native);
    } else if (auto* combo = dynamic_cast<ComboBox*>(&native.control)) {
        combo->Text.adopt(textOf(native.window));
    }
}

void FormWindow::adoptSelection(Native& native) {
    auto* box = dynamic_cast<TextBox*>(&native.control);
    if (!box) return;
    DWORD start = 0;
    DWORD end = 0;
    SendMessageW(native.window, EM_GETSEL, reinterpret_cast<WPARAM>(&start), reinterpret_cast<LPARAM>(&end));
    box->SelStart.adopt(static_cast<std::int32_t>(start));
    box->SelLength.adopt(static_cast<std::int32_t>(end - start));
}

void FormWindow::settleChoice(Native& native) {
    auto* combo = dynamic_cast<ComboBox*>(&native.control);
    if (!combo || isDropped(native)) return;
    const bool picked = std::exchange(native.picked, false);
    if (std::exchange(native.dismissed, false)) {
        const Assigning now(assigning);
        showText(native);
        return;
    }
    const LRESULT index = SendMessageW(native.window, CB_GETCURSEL, 0, 0);
    if (picked && index >= 0 && static_cast<std::size_t>(index) < native.listed.size())
        Input::choose(*combo, native.listed[static_cast<std::size_t>(index)]);
    else
        adoptText(native); // an opening list completes what was typed
}

void FormWindow::acceptList(Native& native) {
    SendMessageW(native.window, CB_SHOWDROPDOWN, FALSE, 0);
    native.dismissed = false; // which is how the system sees it
    settleChoice(native);
}

void FormWindow::endList(Native& native) {
    if (!isDropped(native)) return;
    const Assigning now(assigning);
    SendMessageW(native.window, CB_SHOWDROPDOWN, FALSE, 0);
    native.picked = native.dismissed = false;
    showText(native);
}

void FormWindow::endLists() {
    for (const auto& [control, native] : natives) endList(*native);
}

} // namespace platform::win32
