#include "program/ProgramTest.h"

#include "platform/Input.h"

namespace {

using testing::HasSubstr;

class Login : public ProgramTest {
protected:
    void SetUp() override {
        ProgramTest::SetUp();
        frmLogin->Show();
        gAPI->apiUsername = L"Alice"; // as the service will spell it
        saveAccountSetting(L"HideQuickStart", L"1");
        gAPI->apiUsername.clear();
    }
    static std::wstring saved(const std::wstring& key) { return getSetting(L"Quillory", L"Velvet Harbor", key, L"(none)"); }
    static void submit(const std::wstring& user, const std::wstring& password) {
        Input::type(frmLogin->txtUserName, user);
        Input::type(frmLogin->txtPassword, password);
        Input::pressReturn(*frmLogin);
    }
    bool gotThrough() {
        return testDesktop::pumpUntil([] { return frmMain->cboGallery.Text != loadingText; });
    }
};

TEST_F(Login, ChecksWhatIsTypedBeforeAnythingIsSent) {
    const std::wstring forgotten = L"Oops! You forgot something...";
    struct Case {
        std::wstring user, password;
        testDesktop::ShownBox box;
        const Control* focus;
    };
    const Case cases[] = {
        {L"", L"", {L"Please enter your username.", forgotten, 48}, &frmLogin->txtUserName},
        {L"alice", L"", {L"Please enter your password.", forgotten, 48}, &frmLogin->txtPassword},
        {L"al ice",
         L"x",
         {L"The username can only consist of letters, numbers, periods, dashes, and underscores.\r\nPlease check your "
          L"typing "
          L"and try again.",
          L"Invalid Username", 64},
         &frmLogin->txtUserName},
    };
    for (const Case& c : cases) {
        const std::size_t before = testDesktop::shownBoxes().size();
        submit(c.user, c.password);
        ASSERT_EQ(testDesktop::shownBoxes().size(), before + 1);
        EXPECT_EQ(testDesktop::shownBoxes().back(), c.box);
        EXPECT_EQ(frmLogin->activeControl(), c.focus);
        EXPECT_TRUE(frmLogin->cmdLogin.Enabled);
        EXPECT_EQ(frmLogin->txtUserName.Text(), c.user) << "the fields keep their text";
    }
    person::settle();
    EXPECT_EQ(gAPI->apiPasswordHash, L"");
}

TEST_F(Login, BringsTheWholeStateUp) {
    site();
    secondsSinceChange = 77;
    noWallpapersExist = true;
    timerTick = 21;
    submit(L"ALICE", L"velvet");
    EXPECT_FALSE(frmLogin->txtUserName.Enabled);
    ASSERT_TRUE(gotThrough());

    EXPECT_THAT(site().requests.front(), HasSubstr("&method=vh.auth.login&username=ALICE&md5password="
                                                   "3ab8d589b5e2c77ade96614f29ef4cc6 HTTP/1.0\r\n\r\n"));
    EXPECT_THAT(site().lastRequest(), HasSubstr("apikey=Zz11yY22xX33&method=vh.getGalleries&withcategories=yes HTTP"))
        << "with the key that the service gave";
    EXPECT_TRUE(gAPI->apiLoggedIn);
    EXPECT_FALSE(frmLogin->Visible);
    EXPECT_TRUE(frmMain->Visible);
    EXPECT_TRUE(frmMain->Enabled);
    EXPECT_EQ(frmLogin->txtUserName.Text(), L"Alice");
    EXPECT_EQ(frmOptions->lblLoggedIn.Caption(), L"Alice");
    EXPECT_EQ(frmMain->lblUploadedWhere.Caption(), L"http://members.velvetharbor.example/Alice/uploads/");
    EXPECT_EQ(frmMain->lblFavoriteWhere.Caption(), L"http://members.velvetharbor.example/Alice/favorites/");
    EXPECT_EQ(saved(L"SavedUsername"), L"Alice");
    EXPECT_EQ(saved(L"SavedPassword"), L"3ab8d589b5e2c77ade96614f29ef4cc6");
    EXPECT_EQ(setting(L"ActiveTab"), L"0");
    EXPECT_EQ(setting(L"UseMembers"), L"(none)") << "only a click of the user saves it";
    EXPECT_EQ(gAPI->apiActiveWallpaperLink, L"http://velvetharbor.example/?source=Quillory");
    EXPECT_EQ(secondsSinceChange, 0);
    EXPECT_EQ(changeInterval, 10800);
    EXPECT_TRUE(gTimers->Active_ChangeWallpaper && gTimers->Active_CheckIdle);
    EXPECT_EQ(Start_ChangeWallpaper, 21);
    EXPECT_EQ(Start_CheckIdle, 21);
    EXPECT_FALSE(noWallpapersExist);
    EXPECT_TRUE(frmMain->frmSourceTabs[0].Visible && !frmMain->frmSourceTabs[1].Visible);
}

TEST_F(Login, AnAutomaticLoginStaysInTheBackgroundAndSavesNothing) {
    frmLogin->Hide();
    gAPI->apiUsername = L"Alice";
    saveAccountSetting(L"Freeze", L"1");
    saveAccountSetting(L"ActiveTab", L"2");
    saveAccountSetting(L"UseMembers", L"anything");
    saveAccountSetting(L"TagName", L"sea*");
    saveAccountSetting(L"ActiveWallpaper", L"815");
    saveAccountSetting(L"ActiveWallpaperLink", L"http://velvetharbor.example/w/815");
    logIn(true);
    EXPECT_FALSE(frmMain->Visible);
    EXPECT_TRUE(frmMain->Enabled);
    EXPECT_EQ(saved(L"SavedUsername"), L"(none)");
    EXPECT_FALSE(gTimers->Active_ChangeWallpaper || gTimers->Active_CheckIdle) << "frozen";
    EXPECT_EQ(activeTab, 2);
    EXPECT_TRUE(frmMain->optMemberUploads.Value);
    EXPECT_EQ(frmMain->txtTagName.Text(), L"sea*");
    EXPECT_EQ(gAPI->apiActiveWallpaper, 815);
    EXPECT_EQ(gAPI->apiActiveWallpaperLink, L"http://velvetharbor.example/w/815");
}

TEST_F(Login, NonsenseInASettingStopsTheBringUpWithAReport) {
    site();
    gAPI->apiUsername = L"Alice";
    for (const wchar_t* key : {L"ActiveTab", L"ActiveWallpaper", L"Freeze", L"Frequency"}) {
        gTimers->Active_ChangeWallpaper = false;
        frmSlideMessage.discard();
        const std::wstring before = getAccountSetting(key, L"0");
        saveAccountSetting(key, L"abc");
        gAPI->apiUsername = L"alice";
        gAPI->apiPasswordHash = L"ff";
        ASSERT_TRUE(gAPI->APILogin());
        ASSERT_TRUE(testDesktop::pumpUntil([] { return frmSlideMessage.isLoaded(); })) << key;
        EXPECT_THAT(frmSlideMessage->lblStatusMsg.Caption(),
                    testing::StartsWith(L"In Function ParseXML, modXML\r\n[13] Type mismatch\r\nIf t"));
        EXPECT_TRUE(gAPI->apiLoggedIn);
        EXPECT_EQ(saved(L"SavedUsername"), L"Alice") << "before anything of the account is read";
        EXPECT_FALSE(gTimers->Active_ChangeWallpaper) << "the steps behind the failure do not run";
        saveAccountSetting(key, before);
    }
}

TEST_F(Login, TheGuideHoldsTheRestOfTheLoginUp) {
    site();
    gAPI->apiUsername = L"Alice";
    saveAccountSetting(L"HideQuickStart", L"0");
    bool seen = false;
    person::once([] { return frmQuickStart.isLoaded() && frmQuickStart->Visible; },
                 [&] {
                     seen = true;
                     EXPECT_FALSE(frmMain->takesInput()) << "the guide is modal";
                     EXPECT_EQ(site().count("getGalleries"), 0u);
                     EXPECT_FALSE(gTimers->Active_ChangeWallpaper);
                     frmQuickStart->chkDontShowAgain.Value = 1;
                     Input::press(frmQuickStart->picCloseX);
                 });
    submit(L"alice", L"velvet");
    ASSERT_TRUE(gotThrough());
    EXPECT_TRUE(gTimers->Active_ChangeWallpaper);
    EXPECT_TRUE(seen);
    EXPECT_EQ(setting(L"HideQuickStart"), L"1");
    EXPECT_FALSE(frmQuickStart.isLoaded());
}

TEST_F(Login, ARefusedLoginComesBackToTheWindow) {
    site().onApi("vh.auth.login", "<error>\n<number>75</number><description>no</description>\n</error>\n");
    saveLogin(L"Alice", L"ff");
    submit(L"alice", L"wrong");
    ASSERT_TRUE(testDesktop::pumpUntil([] { return frmLogin->txtUserName.Enabled(); }));
    ASSERT_EQ(testDesktop::shownBoxes().size(), 1u);
    EXPECT_EQ(testDesktop::shownBoxes()[0].title, L"Invalid Username/Password");
    EXPECT_EQ(testDesktop::shownBoxes()[0].style, 48);
    EXPECT_EQ(saved(L"SavedUsername"), L"");
    EXPECT_EQ(saved(L"SavedPassword"), L"");
    EXPECT_EQ(frmLogin->txtPassword.Text(), L"");
    EXPECT_EQ(frmLogin->txtUserName.Text(), L"alice");
    EXPECT_EQ(frmLogin->activeControl(), &frmLogin->txtPassword);
    EXPECT_EQ(gAPI->apiPasswordHash, L"");
    EXPECT_EQ(gAPI->apiUsername, L"alice");
}

TEST_F(Login, ALogoutForgetsThePairAndLeavesTheSchedulerAlone) {
    frmLogin->Hide();
    logIn();
    frmOptions->Show();
    testDesktop::answerBoxes({7});
    Input::press(frmOptions->lblLogout);
    EXPECT_TRUE(frmOptions->Visible) << "answered No";
    testDesktop::answerBoxes({6});
    Input::press(frmOptions->lblLogout);
    EXPECT_EQ(testDesktop::shownBoxes().back().title, L"Confirm Logout?");
    EXPECT_EQ(testDesktop::shownBoxes().back().style, 36);
    EXPECT_EQ(saved(L"SavedUsername"), L"");
    EXPECT_FALSE(frmOptions->Visible || frmMain->Visible);
    EXPECT_TRUE(frmLogin->Visible && frmLogin->txtUserName.Enabled);
    EXPECT_EQ(gAPI->apiUsername, L"");
    EXPECT_EQ(frmOptions->lblLoggedIn.Caption(), L"[Not Logged In]");
    EXPECT_TRUE(gAPI->apiLoggedIn) << "once set it stays";
    EXPECT_TRUE(gTimers->Active_ChangeWallpaper);
}

} // namespace
