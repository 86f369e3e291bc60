#include "platform/Win32Toolkit.h"
#include "support/TestDesktop.h"

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
        if (events.size() == 4) form.Unload(); // the button is still in its own procedure
    };
    form->check.Click = [&] { note("click "); };
    form->check.MouseUp = [&](auto&&...) { note("up "); };
    const HWND button = native(form->check);
    click(button);
    click(button);
    EXPECT_THAT(events, ElementsAre("click 1", "up 1", "click 0", "up 0"));
    EXPECT_FALSE(IsWindow(button));
}

TEST_F(Win32Toolkit, TheSecondOfTwoQuickClicksCountsToo) {
    form->check.Click = [&] { events.push_back("click " + std::to_string(form->check.Value)); };
    const HWND button = native(form->check);
    click(button);
    SendMessageW(button, WM_LBUTTONDBLCLK, MK_LBUTTON, MAKELPARAM(5, 5));
    SendMessageW(button, WM_LBUTTONUP, 0, MAKELPARAM(5, 5));
    platform::pumpMessages();
    EXPECT_THAT(events, ElementsAre("click 1", "click 0"));
}

TEST_F(Win32Toolkit, EveryButtonIsReportedInAnyOrder) {
    const auto note = [this](const char* event) {
        return [this, event](std::int16_t button, auto&&...) { events.push_back(event + std::to_string(button)); };
    };
    form->picture.MouseDown = note("down ");
    form->picture.MouseUp = note("up ");
    form->picture.Click = [this] { events.push_back("click"); };
    const auto send = [this](UINT message) {
        const double scale = platform::screenDpi() / 96.0;
        SendMessageW(window(), message, 0, MAKELPARAM(static_cast<int>(20 * scale), static_cast<int>(110 * scale)));
    };
    for (const UINT message :
         {WM_LBUTTONDOWN, WM_RBUTTONDOWN, WM_MBUTTONDOWN, WM_LBUTTONUP, WM_MBUTTONUP, WM_RBUTTONUP})
        send(message);
    EXPECT_THAT(events, ElementsAre("down 1", "down 2", "down 4", "up 1", "click", "up 4", "up 2"));
    EXPECT_NE(GetCapture(), window());
    events.clear();
    send(WM_RBUTTONDOWN);
    SetCapture(native(form->text)); // somebody else takes the mouse
    for (const UINT message : {WM_RBUTTONUP, WM_LBUTTONUP}) send(message);
    ReleaseCapture();
    EXPECT_THAT(events, ElementsAre("down 2"));
}

TEST_F(Win32Toolkit, ATextThatIsTooTallIsCutOffAtItsEnd) {
    const HDC screen = GetDC(nullptr);
    const HDC dc = CreateCompatibleDC(screen);
    const double scale = platform::screenDpi() / 96.0;
    const HBITMAP bitmap = CreateCompatibleBitmap(screen, static_cast<int>(300 * scale), static_cast<int>(200 * scale));
    const HGDIOBJ former = SelectObject(dc, bitmap);
    SendMessageW(window(), WM_PRINTCLIENT, reinterpret_cast<WPARAM>(dc), PRF_CLIENT);
    int different = 0;
    int inked = 0;
    for (int y = static_cast<int>(10 * scale); y < static_cast<int>(49 * scale); ++y)
        for (int x = 0; x < static_cast<int>(59 * scale); ++x) {
            const COLORREF top = GetPixel(dc, static_cast<int>(150 * scale) + x, y);
            different += top != GetPixel(dc, static_cast<int>(220 * scale) + x, y);
            inked += top != GetPixel(dc, static_cast<int>(150 * scale), static_cast<int>(100 * scale));
        }
    EXPECT_GT(inked, 100);
    EXPECT_EQ(different, 0);
    SelectObject(dc, former);
    DeleteObject(bitmap);
    DeleteDC(dc);
    ReleaseDC(nullptr, screen);
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

TEST_F(Win32Toolkit, TheFocusOfADisabledControlComesBackToIt) {
    form->text.SetFocus();
    const HWND field = native(form->text);
    form->text.Enabled = false;
    EXPECT_NE(GetFocus(), field);
    form->text.Enabled = true;
    EXPECT_EQ(GetFocus(), field);
    form->Enabled = false;
    EXPECT_NE(GetFocus(), field);
    form->Enabled = true;
    EXPECT_EQ(GetFocus(), field);
}

TEST_F(Win32Toolkit, EdgesAtTheSameSumOfTwipsAreTheSamePixel) {
    const double bottom = 5000;
    const RECT first = [&] {
        form->Top = 1000;
        form->Height = bottom - form->Top;
        return rect();
    }();
    for (double top = 1000; top <= bottom; top += 333.3) {
        form->Top = top;
        form->Height = bottom - top;
        EXPECT_EQ(rect().bottom, first.bottom) << top;
    }
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
        const double scale = platform::screenDpi() / 96.0;
        const auto at = MAKELPARAM(static_cast<int>(20 * scale), static_cast<int>(110 * scale));
        SendMessageW(windowOf(*modal), WM_LBUTTONDOWN, MK_LBUTTON, at);
        SendMessageW(windowOf(*modal), WM_LBUTTONUP, 0, at);
        events.push_back(GetActiveWindow() == window() ? "active" : "lost");
    };
    modal->Show(Modality::modal, &*form);
    EXPECT_TRUE(IsWindowEnabled(window()));
    EXPECT_THAT(events, ElementsAre("blocked", "active"));
    const HWND owned = windowOf(*modal);
    form.discard();
    EXPECT_TRUE(IsWindow(owned)); // its own form lives on
    modal.discard();
}

TEST_F(Win32Toolkit, ABoxStaysInFrontHearsItsKeysUnderAnyLoopAndGivesTheFocusBack) {
    testDesktop::answerBoxes({0});
    form->text.SetFocus();
    const auto ask = [this] {
        return platform::messageBox(L"Really?", platform::box::ok, L"Question", [this](std::int32_t button) {
            events.push_back("told " + std::to_string(button));
        });
    };
    TimerControl meanwhile(*form, 30, true);
    meanwhile.Timer = [&] {
        const HWND box = FindWindowW(L"#32770", L"Question");
        if (!box || !IsWindowVisible(box)) return;
        meanwhile.Enabled = false;
        form->Enabled = false;
        form->Enabled = true;
        events.push_back(IsWindowEnabled(window()) ? "free" : "blocked");
        form->SetFocus();
        events.push_back(GetActiveWindow() == box ? "box" : "form");
        SetActiveWindow(window()); // as the taskbar does
        platform::pumpMessages();
        events.push_back(GetActiveWindow() == box ? "box" : "form");
        events.push_back("again " + std::to_string(ask()));
        PostMessageW(GetFocus(), WM_KEYDOWN, VK_RETURN, 1);
        PostMessageW(GetFocus(), WM_KEYUP, VK_RETURN, static_cast<LPARAM>(0xC0000001));
        platform::pumpMessages();
        events.push_back(IsWindowEnabled(window()) ? "free" : "blocked"); // its own loop has not returned
        if (IsWindowVisible(box)) SendMessageW(box, WM_COMMAND, IDOK, 0); // or it would stay for ever, unheard
    };
    EXPECT_EQ(ask(), 1);
    EXPECT_THAT(events, ElementsAre("blocked", "box", "box", "again 0", "told 1", "free"));
    EXPECT_EQ(GetFocus(), native(form->text));
}

TEST_F(Win32Toolkit, ABoxThatIsAnsweredOverABusyWindowLeavesItTheActivationAndNoInput) {
    testDesktop::answerBoxes({0});
    form->text.SetFocus();
    TimerControl meanwhile(*form, 30, true);
    meanwhile.Timer = [&] {
        const HWND box = FindWindowW(L"#32770", L"Question");
        if (!box || !IsWindowVisible(box)) return;
        meanwhile.Enabled = false;
        form->Enabled = false;
        PostMessageW(box, WM_COMMAND, IDOK, reinterpret_cast<LPARAM>(GetDlgItem(box, IDOK)));
    };
    platform::messageBox(L"Really?", platform::box::ok, L"Question");
    EXPECT_EQ(GetActiveWindow(), window());
    EXPECT_FALSE(IsWindowEnabled(window()));
    form->Enabled = true;
    EXPECT_EQ(GetFocus(), native(form->text));
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

    testDesktop::answerBoxes({0});
    MenuEntry entry{L"Entry", true, true, {}};
    entry.Click = [this] { events.push_back("chosen"); };
    bool asked = false;
    TimerControl meanwhile(*form, 30, true);
    meanwhile.Timer = [&] {
        const HWND menu = FindWindowW(L"#32768", nullptr);
        const HWND box = FindWindowW(L"#32770", L"Question");
        if (menu && IsWindowVisible(menu) && !std::exchange(asked, true))
            platform::messageBox(L"Really?", platform::box::ok, L"Question");
        if (!box || !IsWindowVisible(box)) return;
        meanwhile.Enabled = false;
        GUITHREADINFO info{};
        info.cbSize = sizeof info;
        GetGUIThreadInfo(GetCurrentThreadId(), &info);
        events.push_back(menu ? "menu" : "no menu");
        events.push_back(info.flags & GUI_INMENUMODE || info.hwndCapture ? "captured" : "free");
        PostMessageW(box, WM_COMMAND, IDOK, reinterpret_cast<LPARAM>(GetDlgItem(box, IDOK)));
    };
    SetForegroundWindow(window());
    form->PopupMenu({&entry}, nullptr);
    EXPECT_THAT(events, ElementsAre("no menu", "free"));
}

TEST_F(Win32Toolkit, TheShellsMessageAboutTheTrayIconIsAMouseMove) {
    double seen = 0;
    form->MouseMove = [&](std::int16_t, std::int16_t, double X, double) { seen = X; };
    PostMessageW(window(), WM_MOUSEMOVE, 1, WM_RBUTTONUP);
    platform::pumpMessages();
    EXPECT_DOUBLE_EQ(seen / screen::TwipsPerPixelX(), WM_RBUTTONUP);
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
