#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include <windows.h>

#include "platform/Desktop.h"
#include "platform/Input.h"
#include "platform/Toolkit.h"
#include "platform/win32/Handles.h"

inline FormDesign designOf(const wchar_t* name) {
    return {.name = name, .caption = name, .width = 300, .height = 200, .startUp = StartUp::manual};
}

const std::wstring tooTall = L"one two three four five six seven eight nine ten eleven twelve thirteen";

struct Window : Form {
    TextBox text{*this, {10, 10, 100, 24}, L"tag"};
    ComboBox combo{*this, {10, 40, 100, 24}, {L"Hours", L"Days"}, L"Hours"};
    CheckBox check{*this, {10, 70, 100, 20}, L"Check"};
    PictureBox picture{*this, {10, 100, 50, 50}};
    Label fromTop{*this, {150, 10, 60, 40}, tooTall, {.color = {255, 255, 255}}};
    Label fromMiddle{*this, {220, 10, 60, 40}, tooTall, {.color = {255, 255, 255}, .middle = true}};

    Window() : Form(designOf(L"toolkitTest")) {}
};

/// Plays the person, by the messages that the system sends for one.
class Win32Toolkit : public testing::Test {
protected:
    void SetUp() override {
        form->Show();
        platform::pumpMessages();
    }
    void TearDown() override { form.discard(); }

    static HWND windowOf(const Form& of) { return platform::win32::toHwnd(of.hWnd()); }
    HWND window() { return windowOf(*form); }

    /// The native control whose middle is that of the control.
    HWND native(const Control& control) {
        const double scale = platform::screenDpi() / 96.0;
        const POINT middle{static_cast<LONG>((control.Left + control.Width / 2) * scale),
                           static_cast<LONG>((control.Top + control.Height / 2) * scale)};
        const HWND child = ChildWindowFromPoint(window(), middle);
        return child == window() ? nullptr : child;
    }
    HWND comboEdit() {
        COMBOBOXINFO info{};
        info.cbSize = sizeof info;
        GetComboBoxInfo(native(form->combo), &info);
        return info.hwndItem;
    }

    static void type(WORD key) {
        const LPARAM scan = static_cast<LPARAM>(MapVirtualKeyW(key, MAPVK_VK_TO_VSC)) << 16;
        PostMessageW(GetFocus(), WM_KEYDOWN, key, scan | 1);
        platform::pumpMessages();
        PostMessageW(GetFocus(), WM_KEYUP, key, scan | 0xC0000001);
        platform::pumpMessages();
    }
    static void click(HWND at) {
        SendMessageW(at, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(5, 5));
        platform::pumpMessages();
        SendMessageW(at, WM_LBUTTONUP, 0, MAKELPARAM(5, 5));
        platform::pumpMessages();
    }
    RECT rect() {
        platform::pumpMessages();
        RECT now;
        GetWindowRect(window(), &now);
        return now;
    }

    AutoForm<Window> form;
    std::vector<std::string> events;
};

struct Notice : Form {
    Label words{*this, {0, 0, 100, 50}, {}};

    Notice()
        : Form({.name = L"toolkitNotice",
                .caption = {},
                .width = 100,
                .height = 50,
                .startUp = StartUp::manual,
                .notice = true}) {}
};
