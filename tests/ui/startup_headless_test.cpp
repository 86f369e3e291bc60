#include "net/modSocketMaster.h"
#include "platform/Input.h"
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
    EXPECT_TRUE(headless::boxes.empty());
    EXPECT_FALSE(gAPI);
}

TEST_F(ProgramStart, WithoutADataFolderThereIsOnlyTheFatalBox) {
    saveLogin(L"alice", L"ff");
    headless::failFile(headless::FileCall::makeDirectory, L"", 75);
    EXPECT_THROW(frmMain.Load(), headless::ProcessEnded);
    ASSERT_EQ(headless::boxes.size(), 1u);
    EXPECT_EQ(headless::boxes[0].title, L"Fatal Permissions Error");
    EXPECT_EQ(headless::boxes[0].style, 16);
    EXPECT_EQ(headless::boxes[0].text,
              L"A critical error occurred trying to setup the Quillory temporary data folder!\r\n\r\nIf this continues "
              L"to happen, "
              L"try reinstalling Quillory from: \r\nhttp://velvetharbor.example/quillory/\r\n\r\nOr contact us:\r\n"
              L"http://velvetharbor.example/contact/");
    EXPECT_FALSE(headless::state.trayIcon);
}

TEST_F(ProgramStart, WithoutANetworkLibraryItTellsSoAndEnds) {
    headless::failNetworkCall(headless::NetworkCall::start, 1, 10091);
    EXPECT_THROW(startQuillory(), headless::ProcessEnded);
    ASSERT_EQ(headless::boxes.size(), 1u);
    EXPECT_EQ(headless::boxes[0].text, L"Quillory cannot start.\r\n[10091] Network subsystem is unavailable.");
    InstanceCount = 0; // the object that could not be made counts
    ProcessesInitiated = false;
}

TEST_F(ProgramStart, HalfASavedPairAsksTheUser) {
    for (const auto& [user, hash] : {std::pair(L"alice", L""), std::pair(L"", L"ff")}) {
        saveLogin(user, hash);
        headless::post([] {
            EXPECT_TRUE(frmLogin->Visible);
            EXPECT_FALSE(frmMain->Enabled);
            frmLogin->Hide();
        });
        frmMain.Load();
        EXPECT_EQ(gAPI->apiUsername, user);
        EXPECT_EQ(gAPI->apiPasswordHash, hash);
        EXPECT_FALSE(headless::state.trayIcon);
        forget();
    }
}

TEST_F(ProgramStart, ASavedPairLogsInFromTheTray) {
    headless::state.screen = {1280, 1024};
    site();
    gAPI = std::make_unique<CVHAPI>();
    gAPI->apiUsername = L"Alice";
    saveAccountSetting(L"HideQuickStart", L"1");
    saveLogin(L"Alice", L"3ab8d589b5e2c77ade96614f29ef4cc6");
    frmMain.Load();
    EXPECT_FALSE(frmMain->Visible || frmMain->Enabled);
    EXPECT_TRUE(headless::state.trayIcon);
    EXPECT_EQ(screenAspectRatio, L"1.25");
    EXPECT_EQ(tempFolder, L"C:\\Users\\alice\\AppData\\Roaming\\Quillory\\");
    ASSERT_TRUE(testDesktop::pumpUntil([] { return frmMain->cboGallery.Text != loadingText; }));
    EXPECT_TRUE(frmMain->Enabled && !frmMain->Visible);
}

TEST_F(ProgramStart, TheLoginWindowEndsTheProgramInTwoWays) {
    headless::post([] {
        headless::answers = {7};
        Input::press(frmLogin->picCloseX);
        EXPECT_TRUE(frmLogin->Visible) << "answered No";
        frmLogin->closeRequested();
    });
    EXPECT_THROW(frmMain.Load(), headless::ProcessEnded);
    EXPECT_EQ(headless::boxes.size(), 1u) << "a close request of the system asks nothing";
}

} // namespace
