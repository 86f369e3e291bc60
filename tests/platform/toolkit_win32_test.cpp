#include <thread>

#include "platform/Files.h"
#include "platform/Messages.h"
#include "platform/Pictures.h"
#include "platform/Win32Toolkit.h"

using testing::ElementsAre;

namespace {

TEST_F(Win32Toolkit, AFieldAndItsControlTellEachOther) {
    SendMessageW(native(form->text), EM_REPLACESEL, FALSE, reinterpret_cast<LPARAM>(L"my "));
    EXPECT_EQ(form->text.Text(), L"my tag");
    EXPECT_EQ(form->text.SelStart, 3);
    form->text.SelStart = 1;
    form->text.SelLength = 4;
    DWORD start = 0;
    DWORD end = 0;
    SendMessageW(native(form->text), EM_GETSEL, reinterpret_cast<WPARAM>(&start), reinterpret_cast<LPARAM>(&end));
    EXPECT_THAT((std::array{start, end}), ElementsAre(1, 5));
    SendMessageW(native(form->text), EM_SETSEL, 2, 6);
    EXPECT_EQ(form->text.SelStart, 2);
    EXPECT_EQ(form->text.SelLength, 4);
}

TEST_F(Win32Toolkit, TheMouseUpOfACheckBoxComesAfterItsValueAndClick) {
    const auto note = [this](const char* event) {
        events.push_back(event + std::to_string(form->check.Value));
        if (events.size() == 6) form.Unload(); // the button is still in its own procedure
    };
    form->check.Click = [&] { note("click "); };
    form->check.MouseUp = [&](auto&&...) { note("up "); };
    const HWND button = native(form->check);
    for (const UINT press : {WM_LBUTTONDOWN, WM_LBUTTONDBLCLK, WM_LBUTTONDOWN}) click(button, press);
    EXPECT_THAT(events, ElementsAre("click 1", "up 1", "click 0", "up 0", "click 1", "up 1"));
    EXPECT_FALSE(IsWindow(button));
}

TEST_F(Win32Toolkit, EveryButtonIsReportedInAnyOrder) {
    const auto note = [this](const char* event) {
        return [this, event](std::int16_t button, auto&&...) { events.push_back(event + std::to_string(button)); };
    };
    form->picture.MouseDown = note("down ");
    form->picture.MouseUp = note("up ");
    form->picture.Click = [this] { events.push_back("click"); };
    for (const UINT message :
         {WM_LBUTTONDOWN, WM_RBUTTONDOWN, WM_MBUTTONDOWN, WM_LBUTTONUP, WM_MBUTTONUP, WM_RBUTTONUP})
        sendToPicture(*form, message);
    EXPECT_THAT(events, ElementsAre("down 1", "down 2", "down 4", "up 1", "click", "up 4", "up 2"));
    EXPECT_NE(GetCapture(), window());
    events.clear();
    sendToPicture(*form, WM_RBUTTONDOWN);
    SetCapture(native(form->text)); // somebody else takes the mouse
    for (const UINT message : {WM_RBUTTONUP, WM_LBUTTONUP}) sendToPicture(*form, message);
    ReleaseCapture();
    EXPECT_THAT(events, ElementsAre("down 2"));
}

TEST_F(Win32Toolkit, ATextThatIsTooTallIsCutOffAtItsEnd) {
    const Canvas canvas(pixels(300), pixels(200));
    canvas.print(window());
    int different = 0;
    int inked = 0;
    for (int y = pixels(10); y < pixels(49); ++y)
        for (int x = 0; x < pixels(59); ++x) {
            const COLORREF top = canvas.at(pixels(150) + x, y);
            different += top != canvas.at(pixels(220) + x, y);
            inked += top != canvas.at(pixels(150), pixels(100));
        }
    EXPECT_GT(inked, 100);
    EXPECT_EQ(different, 0);
}

TEST_F(Win32Toolkit, AListIsFilledByWhatTheFocusLeavesBeforeItOpens) {
    form->text.SetFocus();
    form->text.Validate = [this](bool&) {
        form->combo.Clear();
        for (int i = 0; i < 8; ++i) form->combo.AddItem(std::to_wstring(i));
    };
    const HWND combo = native(form->combo);
    SetFocus(combo); // as a click on its button does
    SendMessageW(combo, CB_SHOWDROPDOWN, TRUE, 0);
    platform::pumpMessages();
    RECT open;
    COMBOBOXINFO info{};
    info.cbSize = sizeof info;
    GetComboBoxInfo(combo, &info);
    GetClientRect(info.hwndList, &open);
    EXPECT_GE(open.bottom, 8 * SendMessageW(info.hwndList, LB_GETITEMHEIGHT, 0, 0));
    SendMessageW(combo, CB_SHOWDROPDOWN, FALSE, 0);
}

TEST_F(Win32Toolkit, KeysCannotChangeALockedComboButChooseFromItsList) {
    form->combo.KeyDown = [this] { form->combo.Locked = true; };
    form->combo.KeyUp = [this] { form->combo.Locked = false; };
    form->combo.Click = [this] { events.push_back(form->combo.Text == L"Days" ? "Days" : "other"); };
    form->combo.SetFocus();
    ASSERT_EQ(GetFocus(), comboEdit());
    for (const WORD key : {WORD{'X'}, WORD{VK_DELETE}, WORD{VK_BACK}, WORD{VK_DOWN}}) type(key);
    EXPECT_EQ(form->combo.Text(), L"Hours");

    for (const WORD key : {WORD{VK_F4}, WORD{VK_DOWN}, WORD{VK_ESCAPE}}) type(key);
    EXPECT_EQ(form->combo.Text(), L"Hours");
    EXPECT_TRUE(events.empty());
    for (const WORD key : {WORD{VK_F4}, WORD{VK_DOWN}, WORD{VK_RETURN}}) type(key);
    EXPECT_EQ(form->combo.Text(), L"Days");
    EXPECT_THAT(events, ElementsAre("Days"));
    for (const WORD key : {WORD{VK_F4}, WORD{VK_UP}, WORD{VK_TAB}}) type(key);
    EXPECT_EQ(form->combo.Text(), L"Hours") << "Tab takes along what is chosen in the list";
    EXPECT_THAT(events, ElementsAre("Days", "other"));
}

TEST_F(Win32Toolkit, AControlThatRefusesToLetGoKeepsTheFocus) {
    form->text.SetFocus();
    const HWND field = native(form->text);
    bool refusing = true;
    form->text.Validate = [&](bool& Cancel) {
        events.push_back("asked");
        Cancel = refusing;
    };
    SetFocus(native(form->check)); // as a click does
    platform::pumpMessages();
    EXPECT_EQ(GetFocus(), field);
    type(VK_TAB);
    EXPECT_EQ(GetFocus(), field);
    EXPECT_THAT(events, ElementsAre("asked", "asked"));
    refusing = false;
    type(VK_TAB);
    EXPECT_EQ(GetFocus(), comboEdit());
}

TEST_F(Win32Toolkit, EdgesAtTheSameSumOfTwipsAreTheSamePixel) {
    const auto edgeFrom = [this](double top) {
        form->Top = top;
        form->Height = 5000 - top;
        return rect().bottom;
    };
    const LONG edge = edgeFrom(1000);
    for (double top = 1000; top <= 5000; top += 333.3) EXPECT_EQ(edgeFrom(top), edge) << top;
    form->Height = 0;
    EXPECT_EQ(rect().bottom, rect().top);
}

TEST_F(Win32Toolkit, AModalWindowBlocksItsOwnerUntilItGoes) {
    AutoForm<Window> modal;
    modal->picture.Click = [&] { modal->Hide(); };
    TimerControl closing(*modal, 20, true);
    closing.Timer = [&] {
        events.push_back(IsWindowEnabled(window()) ? "free" : "blocked");
        closing.Enabled = false;
        for (const UINT message : {WM_LBUTTONDOWN, WM_LBUTTONUP}) sendToPicture(*modal, message);
        events.push_back(GetActiveWindow() == window() ? "active" : "lost");
    };
    modal->Show(Modality::modal, &*form);
    EXPECT_TRUE(IsWindowEnabled(window()));
    EXPECT_THAT(events, ElementsAre("blocked", "active"));
    form.discard();
    EXPECT_TRUE(IsWindow(windowOf(*modal))); // its own form lives on
    modal.discard();
}

TEST_F(Win32Toolkit, ABoxStaysInFrontHearsItsKeysUnderAnyLoopAndGivesTheFocusBack) {
    form->text.SetFocus();
    const auto ask = [this] {
        return platform::messageBox(L"Really?", platform::box::ok, L"Question", [this](std::int32_t button) {
            events.push_back("told " + std::to_string(button));
        });
    };
    const auto meanwhile = whileAsked([&](HWND box) {
        form->Enabled = false;
        form->Enabled = true;
        events.push_back(IsWindowEnabled(window()) ? "free" : "blocked");
        form->SetFocus();
        events.push_back(GetActiveWindow() == box ? "box" : "form");
        SetActiveWindow(window()); // as the taskbar does
        platform::pumpMessages();
        events.push_back(GetActiveWindow() == box ? "box" : "form");
        events.push_back("again " + std::to_string(ask()));
        type(VK_RETURN);
        events.push_back(IsWindowEnabled(window()) ? "free" : "blocked"); // its own loop has not returned
        if (IsWindowVisible(box)) SendMessageW(box, WM_COMMAND, IDOK, 0); // or it would stay for ever, unheard
    });
    EXPECT_EQ(ask(), 1);
    EXPECT_THAT(events, ElementsAre("blocked", "box", "box", "again 0", "told 1", "free"));
    EXPECT_EQ(GetFocus(), native(form->text));
    EXPECT_EQ(platform::messageBox(L"text", 13, L"no such buttons"), platform::box::resultOk) << "a box all the same";
}

TEST_F(Win32Toolkit, ABoxThatIsAnsweredOverABusyWindowLeavesItTheActivationAndNoInput) {
    form->text.SetFocus();
    const auto meanwhile = whileAsked([&](HWND box) {
        form->Enabled = false;
        press(box, IDOK);
    });
    platform::messageBox(L"Really?", platform::box::ok, L"Question");
    EXPECT_EQ(GetActiveWindow(), window());
    EXPECT_FALSE(IsWindowEnabled(window()));
    form->Enabled = true;
    const HWND field = native(form->text);
    EXPECT_EQ(GetFocus(), field);
    form->text.Enabled = false;
    EXPECT_NE(GetFocus(), field);
    form->text.Enabled = true;
    EXPECT_EQ(GetFocus(), field);
}

TEST_F(Win32Toolkit, AnOpenMenuAndAnOpenListEndBeforeWhatAsks) {
    form->combo.SetFocus();
    for (const WORD key : {WORD{VK_F4}, WORD{VK_DOWN}}) type(key);
    form->Enabled = false;
    EXPECT_FALSE(SendMessageW(native(form->combo), CB_GETDROPPEDSTATE, 0, 0));
    wchar_t shown[16];
    GetWindowTextW(native(form->combo), shown, 16);
    EXPECT_EQ(form->combo.Text(), shown) << "what is shown is what is used";
    form->Enabled = true;

    MenuEntry entry{L"Entry", true, true, [this] { events.push_back("chosen"); }};
    const auto openMenu = [] {
        const HWND menu = FindWindowW(L"#32768", nullptr);
        return menu && IsWindowVisible(menu);
    };
    bool asked = false;
    TimerControl asking(*form, 30, true);
    asking.Timer = [&] {
        if (openMenu() && !std::exchange(asked, true)) platform::messageBox(L"Really?", platform::box::ok, L"Question");
    };
    const auto meanwhile = whileAsked([&](HWND box) {
        GUITHREADINFO info{};
        info.cbSize = sizeof info;
        GetGUIThreadInfo(GetCurrentThreadId(), &info);
        events.push_back(openMenu() ? "menu" : "no menu");
        events.push_back(info.flags & GUI_INMENUMODE || info.hwndCapture ? "captured" : "free");
        press(box, IDOK);
    });
    SetForegroundWindow(window());
    form->PopupMenu({&entry}, nullptr);
    EXPECT_THAT(events, ElementsAre("no menu", "free"));
}

TEST_F(Win32Toolkit, WhatOtherProgramsSendDuringAConversionIsAnsweredUnlessItIsInput) {
    constexpr int side = 600; // more than one band
    const BITMAPINFOHEADER info{sizeof info, side, side, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    std::string file("BM\0\0\0\0\0\0\0\0\66\0\0\0", 14);
    file.append(reinterpret_cast<const char*>(&info), sizeof info).append(std::size_t{side} * side * 3, '\7');
    const std::wstring path = testDesktop::scratchFolder() + L"\\picture";
    testDesktop::putFile(path, file);
    const Picture picture = platform::loadPicture(path);

    form->MouseMove = [&](auto, auto, double x, double) {
        if (std::lround(x / screen::TwipsPerPixelX()) == WM_LBUTTONDBLCLK) events.emplace_back("icon");
    };
    form->check.Click = [&] { events.emplace_back("click"); };
    const HWND button = native(form->check);
    form->closeRequested = [&] { events.emplace_back("close"); };
    const platform::WindowHandle asked = platform::createHiddenWindow(L"asked");
    platform::hookWindow(asked, [&](auto, std::uint32_t message, auto&&...) {
        events.emplace_back(message == WM_USER ? "asked" : "posted");
        return 0;
    });
    testDesktop::postMessage(asked, WM_USER + 1, 0, 0);
    std::thread([&] {                                                    // another one's, as another program's
        SendNotifyMessageW(window(), WM_MOUSEMOVE, 0, WM_LBUTTONDBLCLK); // as the shell tells an icon's events
        SendNotifyMessageW(button, BM_CLICK, 0, 0);
        SendNotifyMessageW(window(), WM_CLOSE, 0, 0);
        SendNotifyMessageW(platform::win32::toHwnd(asked), WM_USER, 0, 0);
    })
        .join();

    platform::savePicture(picture, path);
    EXPECT_THAT(events, ElementsAre("asked"));
    platform::pumpMessages();
    EXPECT_THAT(events, ElementsAre("asked", "posted", "icon", "click", "close"));
    platform::unhookWindow(asked);
    platform::destroyHiddenWindow(asked);
}

TEST_F(Win32Toolkit, ANoticeShownByItsHandleIsSeenAtItsPlaceAloneAndLeavesTheActivation) {
    AutoForm<Notice> notice;
    notice.Load();
    platform::setWindowPos(notice->hWnd(), -1, SWP_SHOWWINDOW | SWP_NOACTIVATE | SWP_NOMOVE | SWP_NOSIZE);
    EXPECT_TRUE(notice->Visible);
    RECT now;
    GetWindowRect(windowOf(*notice), &now);
    EXPECT_TRUE(IsRectEmpty(&now));
    notice->Left = 150;
    platform::pumpMessages();
    GetWindowRect(windowOf(*notice), &now);
    EXPECT_EQ(now.right - now.left, std::lround(1500 / screen::TwipsPerPixelX()));
    EXPECT_EQ(GetActiveWindow(), window());
    notice.discard();
}

} // namespace
