#include <gtest/gtest.h>

#include <windows.h>

#include "platform/Files.h"
#include "platform/Shell.h"
#include "platform/win32/Loop.h"
#include "support/TestDesktop.h"

using namespace platform;

namespace {

TEST(Win32Shell, StartsAProgramWithItsParametersInItsFolder) {
    const std::wstring folder = testDesktop::scratchFolder();
    EXPECT_GT(shellExecute(0, L"Open", L"cmd.exe", L"/c echo started> mark.txt", folder, SW_HIDE), 32);
    const auto isMarked = [&] { return !findFile(folder + L"\\mark.txt", 0).empty(); };
    EXPECT_TRUE(testDesktop::pumpUntil(isMarked, 60000)) << "a busy machine takes its time for another program";
    EXPECT_LE(shellExecute(0, L"Open", folder + L"\\missing.exe", L"", L"", SW_SHOWNORMAL), 32);
}

TEST(Win32Shell, TheTrayIconIsTakenOnceInItsFirstLayout) {
    const WindowHandle window = createHiddenWindow(L"test");
    NotifyIconData record;
    record.cbSize = sizeof record;
    record.hWnd = window;
    record.uID = 1;
    record.uFlags = NIF_MESSAGE | NIF_ICON | NIF_TIP;
    record.uCallbackMessage = WM_MOUSEMOVE;
    record.hIcon = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(LoadIcon(nullptr, IDI_APPLICATION)));
    std::fill(std::begin(record.szTip), std::end(record.szTip), 'x'); // without a NUL, as a full tip has none
    if (!notifyIcon(nimAdd, record)) GTEST_SKIP() << "there is no notification area";
    EXPECT_FALSE(notifyIcon(nimAdd, record));
    EXPECT_TRUE(notifyIcon(nimModify, record));
    EXPECT_TRUE(notifyIcon(nimDelete, record));
    EXPECT_FALSE(notifyIcon(nimDelete, record));
    destroyHiddenWindow(window);
}

TEST(Win32Loop, TheFilterSeesEachMessageFirst) {
    const WindowHandle window = createHiddenWindow(L"test");
    int received = 0;
    hookWindow(window, [&](WindowHandle to, std::uint32_t message, std::uint32_t wParam, std::int32_t lParam) {
        if (message == WM_APP) ++received;
        return callFormerProcedure(to, message, wParam, lParam);
    });
    win32::setMessageFilter([](void* message) {
        const auto* taken = static_cast<const MSG*>(message);
        return taken->message == WM_APP && taken->wParam == 1;
    });
    for (std::uint32_t i = 0; i < 3; ++i) testDesktop::postMessage(window, WM_APP, i, 0);
    pumpMessages();
    EXPECT_EQ(received, 2);
    win32::setMessageFilter(nullptr);
    testDesktop::postMessage(window, WM_APP, 1, 0);
    pumpMessages();
    EXPECT_EQ(received, 3);
    unhookWindow(window);
    destroyHiddenWindow(window);
}

TEST(Win32MessageBox, AStyleWithoutSuchButtonsStillShowsABox) {
    EXPECT_EQ(messageBox(L"text", 13, L"title"), box::resultOk);
    EXPECT_EQ(testDesktop::shownBoxes().size(), 1u);
}

} // namespace
