#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <windows.h>

#include "platform/Desktop.h"
#include "platform/Input.h"
#include "platform/Toolkit.h"
#include "platform/win32/Handles.h"
#include "support/TestDesktop.h"

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

/// What a window paints.
class Canvas {
public:
    Canvas(int width, int height) {
        const HDC screen = GetDC(nullptr);
        bitmap = CreateCompatibleBitmap(screen, width, height);
        ReleaseDC(nullptr, screen);
        SelectObject(dc, bitmap);
    }
    ~Canvas() {
        DeleteDC(dc);
        DeleteObject(bitmap);
    }
    void print(HWND window) const { SendMessageW(window, WM_PRINTCLIENT, reinterpret_cast<WPARAM>(dc), PRF_CLIENT); }
    COLORREF at(int x, int y) const { return GetPixel(dc, x, y); }

private:
    const HDC dc = CreateCompatibleDC(nullptr);
    HBITMAP bitmap;
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

    static int pixels(double design) { return static_cast<int>(design * platform::screenDpi() / 96); }

    /// The native control whose middle is that of the control.
    HWND native(const Control& control) {
        const POINT middle{pixels(control.Left + control.Width / 2), pixels(control.Top + control.Height / 2)};
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
    static void click(HWND at, UINT press = WM_LBUTTONDOWN) {
        for (const UINT message : {press, UINT{WM_LBUTTONUP}}) {
            SendMessageW(at, message, MK_LBUTTON, MAKELPARAM(5, 5));
            platform::pumpMessages();
        }
    }
    static void sendToPicture(const Form& to, UINT message) {
        SendMessageW(windowOf(to), message, 0, MAKELPARAM(pixels(20), pixels(110)));
    }

    /// Acts once, as soon as the box stands.
    std::unique_ptr<TimerControl> whileAsked(std::function<void(HWND box)> act) {
        testDesktop::answerBoxes({0});
        auto timer = std::make_unique<TimerControl>(*form, 30, true);
        timer->Timer = [act, &enabled = timer->Enabled] {
            const HWND box = FindWindowW(L"#32770", L"Question");
            if (!box || !IsWindowVisible(box)) return;
            enabled = false;
            act(box);
        };
        return timer;
    }
    static void press(HWND box, int button) {
        PostMessageW(box, WM_COMMAND, static_cast<WPARAM>(button), reinterpret_cast<LPARAM>(GetDlgItem(box, button)));
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
