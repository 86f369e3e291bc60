#include "program/ProgramTest.h"

namespace {

class Login : public ProgramTest {
protected:
    static inline const std::wstring hash = L"3ab8d589b5e2c77ade96614f29ef4cc6"; // of "velvet"
    static inline const std::wstring refusal =
        L"Invalid Username/Password | 48 | Oops!  That username / password is not a valid Velvet Harbor login!\r\n\r\n"
        L"Please try again, or visit VelvetHarbor to create a new account or recover a forgotten password.";

    void SetUp() override {
        ProgramTest::SetUp();
        frmLogin->Show();
        gAPI->apiUsername = L"Alice"; // as the service will spell it
        saveAccountSetting(L"HideQuickStart", L"1");
        gAPI->apiUsername.clear();
    }
    static std::wstring saved() {
        const std::wstring section = L"Velvet Harbor";
        return getSetting(L"Quillory", section, L"SavedUsername", L"(none)") + L":" +
               getSetting(L"Quillory", section, L"SavedPassword", L"(none)");
    }
    static void submit(const std::wstring& user, const std::wstring& password) {
        Input::type(frmLogin->txtUserName, user);
        Input::type(frmLogin->txtPassword, password);
        Input::pressReturn(*frmLogin);
    }
    bool gotThrough() {
        return testDesktop::pumpUntil([] { return frmMain->cboGallery.Text != loadingText; });
    }
    static bool fieldsAreEnabled() {
        EXPECT_EQ(frmLogin->txtUserName.Enabled(), frmLogin->txtPassword.Enabled());
        EXPECT_EQ(frmLogin->txtUserName.Enabled(), frmLogin->cmdLogin.Enabled());
        return frmLogin->cmdLogin.Enabled;
    }
};

TEST_F(Login, ChecksWhatIsTypedBeforeAnythingIsSent) {
    const std::wstring forgotten = L"Oops! You forgot something... | 48 | ";
    const std::tuple<std::wstring, std::wstring, std::wstring, const Control*> cases[] = {
        {L"", L"", forgotten + L"Please enter your username.", &frmLogin->txtUserName},
        {L"alice", L"", forgotten + L"Please enter your password.", &frmLogin->txtPassword},
        {L"al ice", L"velvet",
         L"Invalid Username | 64 | The username can only consist of letters, numbers, periods, dashes, and underscores."
         L"\r\nPlease check your typing and try again.",
         &frmLogin->txtUserName},
    };
    for (const auto& [user, password, box, focus] : cases) {
        submit(user, password);
        EXPECT_THAT(newBoxes(), ElementsAre(box));
        EXPECT_EQ(frmLogin->activeControl(), focus);
        EXPECT_TRUE(fieldsAreEnabled());
        EXPECT_EQ(frmLogin->txtUserName.Text(), user) << "the fields keep their text";
    }
    EXPECT_EQ(gAPI->apiPasswordHash, L"");
    frmLogin->txtPassword.SelStart = 3;
    frmLogin->txtPassword.SetFocus();
    EXPECT_EQ(std::pair(frmLogin->txtPassword.SelStart(), frmLogin->txtPassword.SelLength()), std::pair(0, 6));
}

TEST_F(Login, BringsTheWholeStateUp) {
    site();
    secondsSinceChange = 77;
    noWallpapersExist = gAPI->apiSilent = true;
    timerTick = 21;
    submit(L"ALICE", L"velvet");
    EXPECT_FALSE(fieldsAreEnabled());
    ASSERT_TRUE(gotThrough());

    EXPECT_THAT(site().requests.front(), HasSubstr("&method=vh.auth.login&username=ALICE&md5password="
                                                   "3ab8d589b5e2c77ade96614f29ef4cc6 HTTP/1.0\r\n\r\n"));
    EXPECT_THAT(site().lastRequest(), HasSubstr("apikey=Zz11yY22xX33&method=vh.getGalleries&withcategories=yes HTTP"))
        << "with the key that the service gave";
    EXPECT_TRUE(gAPI->apiLoggedIn && frmMain->Visible && frmMain->Enabled && !frmLogin->Visible);
    EXPECT_THAT((Strings{gAPI->apiAuthToken, frmLogin->txtUserName.Text, frmOptions->lblLoggedIn.Caption}),
                ElementsAre(L"t0k3n", L"Alice", L"Alice"));
    EXPECT_EQ(frmMain->lblUploadedWhere.Caption(), L"http://members.velvetharbor.example/Alice/uploads/");
    EXPECT_EQ(frmMain->lblFavoriteWhere.Caption(), L"http://members.velvetharbor.example/Alice/favorites/");
    EXPECT_EQ(saved(), L"Alice:" + hash);
    EXPECT_EQ(setting(L"ActiveTab") + setting(L"UseMembers"), L"0(none)") << "that, only a click of the user saves";
    EXPECT_TRUE(frmMain->optMemberFavorites.Value && !frmMain->optMemberUploads.Value);
    EXPECT_EQ(gAPI->apiActiveWallpaperLink, L"http://velvetharbor.example/?source=Quillory");
    EXPECT_EQ(secondsSinceChange, 0);
    EXPECT_EQ(changeInterval, 10800);
    EXPECT_TRUE(gTimers->Active_ChangeWallpaper && gTimers->Active_CheckIdle && !noWallpapersExist);
    EXPECT_EQ(std::pair(Start_ChangeWallpaper, Start_CheckIdle), std::pair(std::int16_t{21}, std::int16_t{21}));
    EXPECT_TRUE(frmMain->frmSourceTabs[0].Visible && !frmMain->frmSourceTabs[1].Visible);
}

TEST_F(Login, AnAutomaticLoginStaysInTheBackgroundAndSavesNothing) {
    frmLogin->Hide();
    gAPI->apiUsername = L"Alice";
    const std::wstring link = L"http://velvetharbor.example/w/815";
    const std::pair<const wchar_t*, std::wstring> settings[] = {
        {L"Freeze", L"1"},       {L"ActiveTab", L"2"},    {L"UseMembers", L"anything"}, {L"TagName", L"sea*"},
        {L"Gallery", L"Nature"}, {L"Category", L"Lakes"}, {L"ActiveWallpaper", L"815"}, {L"ActiveWallpaperLink", link}};
    for (const auto& [key, value] : settings) saveAccountSetting(key, value);
    gTimers->Active_ChangeWallpaper = gTimers->Active_CheckIdle = true; // of a login before
    logIn(true);
    EXPECT_TRUE(frmMain->Enabled && !frmMain->Visible);
    EXPECT_EQ(saved(), L"(none):(none)");
    EXPECT_FALSE(gTimers->Active_ChangeWallpaper || gTimers->Active_CheckIdle) << "frozen";
    EXPECT_TRUE(frmMain->optMemberUploads.Value && !frmMain->optMemberFavorites.Value);
    EXPECT_THAT((Strings{frmMain->txtTagName.Text, frmMain->cboGallery.Text, frmMain->cboCategory.Text}),
                ElementsAre(L"sea*", L"Nature", L"Lakes"));
    EXPECT_EQ(std::pair(activeTab, gAPI->apiActiveWallpaper), std::pair(2, 815));
    EXPECT_EQ(gAPI->apiActiveWallpaperLink, link);
}

TEST_F(Login, NonsenseInASettingStopsTheBringUpWithAReport) {
    site();
    gAPI->apiUsername = L"Alice";
    for (const wchar_t* key : {L"Freeze", L"ActiveWallpaper", L"ActiveTab"}) { // each is read before the last
        forgetLogin();
        saveAccountSetting(key, L"abc");
        gAPI->apiUsername = L"alice";
        gAPI->apiPasswordHash = L"ff";
        ASSERT_TRUE(gAPI->APILogin());
        ASSERT_TRUE(testDesktop::pumpUntil([] { return frmSlideMessage.isLoaded(); })) << key;
        EXPECT_THAT(takeNotice(), HasSubstr(L"In Function ParseXML, modXML\r\n[13] Type mismatch\r\n"));
        EXPECT_TRUE(gAPI->apiLoggedIn);
        EXPECT_EQ(saved(), L"Alice:ff") << "before anything of the account is read";
        EXPECT_FALSE(gTimers->Active_ChangeWallpaper) << "the steps behind the failure do not run";
    }
}

TEST_F(Login, TheGuideHoldsTheRestOfTheLoginUp) {
    site();
    for (const bool ticked : {false, true}) {
        gAPI->apiUsername = L"Alice";
        saveAccountSetting(L"HideQuickStart", L"0");
        gTimers->Active_ChangeWallpaper = false;
        site().requests.clear();
        bool seen = false;
        person::once([] { return frmQuickStart.isLoaded() && frmQuickStart->Visible; },
                     [&] {
                         seen = true;
                         EXPECT_EQ(frmQuickStart->owner(), &*frmMain);
                         EXPECT_FALSE(frmMain->takesInput()) << "the guide is modal";
                         EXPECT_EQ(site().count("getGalleries"), 0u);
                         EXPECT_FALSE(gTimers->Active_ChangeWallpaper);
                         frmQuickStart->chkDontShowAgain.Value = ticked ? 1 : 0;
                         Input::press(ticked ? static_cast<Control&>(frmQuickStart->picCloseX)
                                             : frmQuickStart->picClose);
                     });
        frmLogin->EnableLogin();
        frmLogin->Show();
        submit(L"alice", L"velvet");
        ASSERT_TRUE(testDesktop::pumpUntil([&] { return site().count("getGalleries") == 1; }));
        EXPECT_TRUE(seen && gTimers->Active_ChangeWallpaper && !frmQuickStart.isLoaded());
        EXPECT_EQ(setting(L"HideQuickStart"), ticked ? L"1" : L"0");
    }
}

TEST_F(Login, ARefusedOneComesBackToTheWindow) {
    site().onApi("vh.auth.login", "<error>\n<number>75</number><description>no</description>\n</error>\n");
    for (const bool silent : {false, true}) {
        saveLogin(L"Alice", L"ff");
        frmOptions->lblLoggedIn.Caption = L"Alice";
        frmLogin->DisableLogin();
        frmLogin->txtPassword.Text = L"wrong";
        if (silent) frmLogin->Hide();
        gAPI->apiSilent = silent;
        gAPI->apiLoggedIn = true;
        gAPI->apiUsername = L"alice";
        gAPI->apiPasswordHash = L"ff";
        gAPI->APILogin();
        ASSERT_TRUE(testDesktop::pumpUntil([] { return frmLogin->txtUserName.Enabled(); }));
        EXPECT_THAT(newBoxes(), ElementsAre(refusal));
        EXPECT_TRUE(frmLogin->Visible && fieldsAreEnabled());
        EXPECT_EQ(saved(), L":");
        EXPECT_EQ(frmLogin->txtPassword.Text(), L"");
        EXPECT_EQ(frmLogin->activeControl(), &frmLogin->txtPassword);
        EXPECT_EQ(frmOptions->lblLoggedIn.Caption(), L"[Not Logged In]");
        EXPECT_EQ(gAPI->apiUsername + L":" + gAPI->apiPasswordHash, L"alice:");
        EXPECT_FALSE(gAPI->apiSilent || gAPI->apiLoggedIn);
    }
    gAPI->apiUsername.clear();
    frmLogin->txtUserName.Text = L"alice";
    gAPI->APIHandleError(75, L"");
    EXPECT_EQ(frmLogin->txtUserName.Text(), L"");
    EXPECT_EQ(frmLogin->activeControl(), &frmLogin->txtUserName) << "nobody's name";
    EXPECT_FALSE(gAPI->APILogin()) << "nor anything to log in with";
}

TEST_F(Login, ALogoutForgetsThePairAndLeavesTheSchedulerAlone) {
    site();
    submit(L"alice", L"velvet");
    ASSERT_TRUE(gotThrough());
    const std::wstring question =
        L"Confirm Logout? | 36 | Are you sure you want to logout of your Velvet Harbor account?";
    frmMain->Hide();
    frmOptions->Show();
    frmOptions->txtRating.Text = L"7";
    testDesktop::answerBoxes({7});
    Input::press(frmOptions->lblLogout);
    EXPECT_TRUE(frmOptions->Visible) << "answered No";
    EXPECT_EQ(saved(), L"Alice:" + hash);
    testDesktop::answerBoxes({6});
    Input::press(frmOptions->lblLogout);
    EXPECT_THAT(newBoxes(), ElementsAre(question, question));
    EXPECT_EQ(saved(), L":");
    EXPECT_EQ(frmOptions->txtRating.Text(), L"0") << "as a cancel does";
    EXPECT_FALSE(frmOptions->Visible || frmMain->Visible);
    EXPECT_TRUE(frmLogin->Visible && fieldsAreEnabled());
    EXPECT_EQ(frmLogin->txtUserName.Text() + frmLogin->txtPassword.Text(), L"");
    EXPECT_EQ(gAPI->apiUsername + gAPI->apiPasswordHash, L"");
    EXPECT_EQ(frmOptions->lblLoggedIn.Caption(), L"[Not Logged In]");
    EXPECT_TRUE(gAPI->apiLoggedIn) << "once set it stays";
    EXPECT_TRUE(gTimers->Active_ChangeWallpaper);
}

} // namespace
