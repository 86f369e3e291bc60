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

using testing::ElementsAre;

namespace {

FormDesign designOf(const wchar_t* name) {
    return {.name = name, .caption = name, .width = 300, .height = 200, .startUp = StartUp::manual};
}

const std::wstring tooTall = L"one two three four five six seven eight nine ten eleven twelve thirteen";

struct Window : Form {
    TextBox text{*this, {10, 10, 100, 24}, L"tag"};
    ComboBox combo{*this, {10, 40, 100, 24}, {L"Hours", L"Days"}, L"Hours"};
    CheckBox check{*this, {10, 70, 100, 20}, L"Check"};
    PictureBox picture{*this, {10, 100, 50, 50}};
    Label fromTop{*this, {150, 10, 60, 40}, tooTall, {}};
    Label fromMiddle{*this, {220, 10, 60, 40}, tooTall, {.middle = true}};

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

TEST_F(Win32Toolkit, AWindowFollowsItsScreensDensityAndComesBackOntoTheScreen) {
    constexpr UINT dpiChanged = 0x02E0;
    form->text.Text = L"kept";
    const int first = platform::screenDpi();
    for (const int dpi : {240, 144, first}) {
        const RECT suggested{30, 40, 0, 0};
        SendMessageW(window(), dpiChanged, MAKEWPARAM(dpi, dpi), reinterpret_cast<LPARAM>(&suggested));
        const RECT now = rect();
        EXPECT_THAT((std::array{now.left, now.top, now.right - now.left, now.bottom - now.top}),
                    ElementsAre(30, 40, 300 * dpi / 96, 200 * dpi / 96));
        EXPECT_DOUBLE_EQ(form->Left / screen::TwipsPerPixelX(), 30);
        EXPECT_DOUBLE_EQ(form->Width, 4500) << "twips of the design";
        const POINT inCombo{60 * dpi / 96, 52 * dpi / 96};
        RECT combo;
        const HWND field = ChildWindowFromPoint(window(), inCombo);
        GetClientRect(field, &combo);
        EXPECT_NEAR(combo.right, 100 * dpi / 96, 1);
        EXPECT_NEAR(combo.bottom, 24 * dpi / 96, 1);
        LOGFONTW letters;
        GetObjectW(reinterpret_cast<HFONT>(SendMessageW(field, WM_GETFONT, 0, 0)), sizeof letters, &letters);
        EXPECT_EQ(letters.lfHeight, -std::lround(9.0 * dpi / 72));
    }
    EXPECT_EQ(form->text.Text(), L"kept");

    // The screen has lost the part on which the window stood.
    const auto size = platform::desktopSize();
    form->Left = (size.width - 20) * screen::TwipsPerPixelX();
    form->Top = (size.height + 500) * screen::TwipsPerPixelY();
    rect();
    SendMessageW(window(), WM_DISPLAYCHANGE, 32, MAKELPARAM(size.width, size.height));
    const RECT now = rect();
    EXPECT_EQ(now.right, size.width);
    EXPECT_LE(now.bottom, size.height);
    EXPECT_EQ(now.bottom - now.top, 200 * first / 96);
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
    };
    EXPECT_EQ(ask(), 1);
    EXPECT_THAT(events, ElementsAre("blocked", "box", "box", "again 0", "told 1", "free"));
    EXPECT_EQ(GetFocus(), native(form->text));
}

TEST_F(Win32Toolkit, ABoxThatIsAnsweredOverABusyWindowLeavesItTheActivationAndNoInput) {
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

TEST_F(Win32Toolkit, DarkColoursOfTheSystemAreFollowedThereAndBack) {
    const HDC dc = CreateCompatibleDC(nullptr);
    const HDC screen = GetDC(nullptr);
    SelectObject(dc, CreateCompatibleBitmap(screen, 300, 200));
    ReleaseDC(nullptr, screen);
    const auto edgeAndInside = [&] {
        platform::pumpMessages();
        SendMessageW(window(), WM_PRINTCLIENT, reinterpret_cast<WPARAM>(dc), 0);
        return std::array{GetPixel(dc, 0, 0), GetPixel(dc, 5, 5)};
    };
    const auto asDesigned = edgeAndInside();
    const int parts[] = {COLOR_WINDOW, COLOR_WINDOWTEXT};
    const COLORREF before[] = {GetSysColor(COLOR_WINDOW), GetSysColor(COLOR_WINDOWTEXT)};
    const COLORREF dark[] = {RGB(0, 0, 80), RGB(255, 255, 0)};
    SetSysColors(2, parts, dark);
    EXPECT_THAT(edgeAndInside(), ElementsAre(dark[1], dark[0]));
    SetSysColors(2, parts, before);
    EXPECT_EQ(edgeAndInside(), asDesigned);
    DeleteDC(dc);
}

std::vector<DWORD> told; // to a screen reader

void CALLBACK hear(HWINEVENTHOOK, DWORD event, HWND, LONG object, LONG, DWORD, DWORD) {
    if (object == OBJID_CLIENT) told.push_back(event);
}

TEST_F(Win32Toolkit, AReaderIsToldOfFocusProgressNamesAndNotices) {
    told.clear();
    const HWINEVENTHOOK hook =
        SetWinEventHook(EVENT_MIN, EVENT_MAX, nullptr, hear, GetCurrentProcessId(), 0, WINEVENT_OUTOFCONTEXT);
    const auto heard = [] {
        platform::pumpMessages();
        return std::exchange(told, {});
    };
    form->picture.role = Role::button;
    form->picture.TabStop = true;
    heard();
    Input::moveFocus(*form, &form->picture);
    EXPECT_THAT(heard(), testing::Contains(DWORD{EVENT_OBJECT_FOCUS}));
    form->picture.role = Role::progress;
    form->picture.Width = 20;
    EXPECT_THAT(heard(), testing::Contains(DWORD{EVENT_OBJECT_VALUECHANGE}));
    AutoForm<Notice> notice;
    notice.Load();
    platform::setWindowPos(notice->hWnd(), -1, SWP_SHOWWINDOW | SWP_NOACTIVATE | SWP_NOMOVE | SWP_NOSIZE);
    heard();
    notice->words.Caption = L"first";
    notice->words.Caption = L"second";
    const auto events = heard();
    EXPECT_EQ(std::ranges::count(events, DWORD{EVENT_OBJECT_NAMECHANGE}), 2);
    EXPECT_EQ(std::ranges::count(events, DWORD{EVENT_SYSTEM_ALERT}), 1);
    UnhookWinEvent(hook);
    notice.discard();
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
