#include "platform/Win32Toolkit.h"

// What changes around a window: its screen, the system's colours, somebody who listens.

using testing::ElementsAre;

namespace {

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
        EXPECT_NEAR(combo.right, dpi / 96.0 * 100, 1);
        EXPECT_NEAR(combo.bottom, dpi / 96.0 * 24, 1);
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

TEST_F(Win32Toolkit, DarkColoursOfTheSystemAreFollowedThereAndBack) {
    const Canvas canvas(300, 200);
    const auto edgeAndInside = [&] {
        platform::pumpMessages();
        canvas.print(window());
        return std::array{canvas.at(0, 0), canvas.at(5, 5)};
    };
    const auto asDesigned = edgeAndInside();
    const int parts[] = {COLOR_WINDOW, COLOR_WINDOWTEXT};
    const COLORREF before[] = {GetSysColor(COLOR_WINDOW), GetSysColor(COLOR_WINDOWTEXT)};
    const COLORREF dark[] = {RGB(0, 0, 80), RGB(255, 255, 0)};
    SetSysColors(2, parts, dark);
    EXPECT_THAT(edgeAndInside(), ElementsAre(dark[1], dark[0]));
    SetSysColors(2, parts, before);
    EXPECT_EQ(edgeAndInside(), asDesigned);
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
    const auto afterwards = heard();
    EXPECT_EQ(std::ranges::count(afterwards, DWORD{EVENT_OBJECT_NAMECHANGE}), 2);
    EXPECT_EQ(std::ranges::count(afterwards, DWORD{EVENT_SYSTEM_ALERT}), 1);
    UnhookWinEvent(hook);
    notice.discard();
}

} // namespace
