#include "core/Errors.h"
#include "net/modSocketMaster.h"
#include "platform/headless/Loop.h"
#include "platform/headless/Sockets.h"
#include "platform/headless/State.h"
#include "program/ProgramTest.h"

namespace {

/// The program's very start, which ends in a process that is gone or a program that runs.
class ProgramStart : public ProgramTest {
protected:
    void SetUp() override { forget(); }
    static void forget() {
        frmMain.discard();
        gAPI.reset();
    }
};

TEST_F(ProgramStart, ASecondInstanceEndsSilently) {
    headless::state.previousInstance = true;
    EXPECT_THROW(frmMain.Load(), headless::ProcessEnded);
    EXPECT_THAT(newBoxes(), IsEmpty());
    EXPECT_FALSE(gAPI);
}

TEST_F(ProgramStart, WithoutItsFolderOrTheNetworkThereIsOnlyABox) {
    saveLogin(L"alice", L"ff");
    headless::failFile(headless::FileCall::makeDirectory, L"", 75);
    EXPECT_THROW(frmMain.Load(), headless::ProcessEnded);
    EXPECT_THAT(newBoxes(), ElementsAre(L"Fatal Permissions Error | 16 | A critical error occurred trying to setup the "
                                        L"Quillory temporary data folder!\r\n\r\nIf this continues to happen, try "
                                        L"reinstalling Quillory from: \r\nhttp://velvetharbor.example/quillory/"
                                        L"\r\n\r\nOr contact us:\r\nhttp://velvetharbor.example/contact/"));
    EXPECT_FALSE(headless::state.trayIcon);
    forget();
    headless::failNetworkCall(headless::NetworkCall::start, 1, 10091);
    EXPECT_THROW(startQuillory(), headless::ProcessEnded);
    EXPECT_THAT(newBoxes(), ElementsAre(L"Quillory | 16 | Quillory cannot start.\r\n[10091] Network subsystem is "
                                        L"unavailable."));
    InstanceCount = 0; // the object that could not be made counts
    ProcessesInitiated = false;
}

TEST_F(ProgramStart, HalfASavedPairAsksTheUser) {
    for (const auto& [user, hash] : {std::pair(L"alice", L""), std::pair(L"", L"ff")}) {
        saveLogin(user, hash);
        headless::post([escapes = *hash == 0] {
            EXPECT_TRUE(frmLogin->Visible && !frmMain->Visible && !frmMain->Enabled);
            EXPECT_EQ(frmLogin->owner(), &*frmMain);
            headless::answers = {7};
            EXPECT_TRUE(escapes ? Input::pressEscape(*frmLogin) : Input::press(frmLogin->picCloseX));
            EXPECT_TRUE(frmLogin->Visible) << "answered No";
            frmLogin->closeRequested();
        });
        EXPECT_THROW(frmMain.Load(), headless::ProcessEnded);
        EXPECT_THAT(newBoxes(), ElementsAre(L"Confirm Exit | 36 | Are you sure you want to completely shut down "
                                            L"Quillory?\r\n\r\nYour wallpaper will remain exactly as it looks now and "
                                            L"will not be automatically updated with new images."))
            << "a close request of the system asks nothing";
        EXPECT_EQ(gAPI->apiUsername, user);
        EXPECT_EQ(gAPI->apiPasswordHash, hash);
        EXPECT_FALSE(headless::state.trayIcon);
        forget();
    }
}

TEST_F(ProgramStart, ASavedPairLogsInFromTheTray) {
    headless::state.screen = {1366, 768};
    site();
    gAPI = std::make_unique<CVHAPI>();
    gAPI->apiUsername = L"Alice";
    saveLogin(L"Alice", L"3ab8d589b5e2c77ade96614f29ef4cc6");
    person::once([] { return frmQuickStart.isLoaded() && frmQuickStart->Visible; },
                 [] {
                     EXPECT_EQ(frmQuickStart->Left, (screen::Width() - frmQuickStart->Width) / 2) << "nothing beneath";
                     EXPECT_EQ(frmQuickStart->Top, (screen::Height() - frmQuickStart->Height) / 2);
                     Input::press(frmQuickStart->picClose);
                 });
    frmMain.Load();
    EXPECT_FALSE(frmMain->Visible || frmMain->Enabled);
    EXPECT_TRUE(gAPI->apiSilent && !idleHold && headless::state.trayIcon);
    EXPECT_EQ(screenAspectRatio, L"1.77865");
    EXPECT_EQ(tempFolder, L"C:\\Users\\alice\\AppData\\Roaming\\Quillory\\");
    ASSERT_TRUE(testDesktop::pumpUntil([] { return frmMain->cboGallery.Text != loadingText; }));
    EXPECT_TRUE(frmMain->Enabled && !frmMain->Visible && frmMain->tmrMain.Enabled);
}

TEST_F(ProgramTest, WhatEscapesFromAHandlerIsShown) {
    reportEscapedErrors();
    const std::pair<void (*)(), const wchar_t*> cases[] = {
        {[] { throw RunTimeError(errors::fileNotFound, L"CSomething.DoIt"); },
         L"In CSomething.DoIt\r\n[53] File not found\r\n"},
        {[] { throw RunTimeError(errors::fileNotFound); }, L"In Event handler\r\n[53] File not found\r\n"},
        {[] { throw std::bad_alloc(); }, L"In Event handler\r\n[7] Out of memory\r\n"},
        {[] { throw std::runtime_error("odd"); }, L"In Event handler\r\n[5] odd\r\n"}};
    for (const auto& [fails, report] : cases) {
        platform::guarded(fails);
        EXPECT_THAT(takeNotice(), StartsWith(L"Quillory - Internal Error | " + std::wstring(report)));
    }
}

/// The window rests on the taskbar's top in every frame, to the pixel; a taskbar at a side takes no height, and one at
/// the top is stood off by its height all the same.
TEST_F(ProgramTest, TheNoticeRestsAboveATaskbarAtAnySide) {
    const std::pair<platform::Rect, int> cases[] = {// and where the window's lower edge is, in pixels
                                                    {{0, 0, 1920, 1040}, 1040},
                                                    {{0, 40, 1920, 1080}, 1040},
                                                    {{60, 0, 1920, 1080}, 1080}};
    // Windows that the system scales stand in other pixels than the screen's own.
    headless::state.screen = {3840, 2160};
    headless::state.desktop = {1920, 1080};
    for (const std::int32_t dpi : {96, 120, 144, 192}) {
        for (const auto& [area, bottom] : cases) {
            headless::state.dpi = dpi;
            headless::state.workArea = area;
            frmSlideMessage.discard();
            const auto window = frmSlideMessage.operator->();
            window->tmrSlide.Enabled = false; // the test is the clock
            int visible = 0;
            for (int i = 0; i < 849; ++i) {
                window->tmrSlide.Timer();
                if (window->Height <= 0) continue;
                ++visible;
                EXPECT_NEAR((window->Top + window->Height) / screen::TwipsPerPixelY(), bottom, 1e-6) << i;
            }
            EXPECT_GT(visible, 800);
            EXPECT_EQ(headless::state.placed.back().window, window->hWnd());
            EXPECT_EQ(headless::state.placed.back().insertAfter, -1) << "above all others, and not in their way";
            EXPECT_EQ(headless::state.placed.back().flags, 83u);
        }
    }
}

} // namespace
