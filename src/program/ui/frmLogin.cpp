#include "ui/frmLogin.h"

#include "api/CVHAPI.h"
#include "api/accountSettings.h"
#include "core/Endpoints.h"
#include "core/Numbers.h"
#include "core/modMD5.h"
#include "core/modMisc.h"
#include "core/modShell.h"
#include "platform/Process.h"
#include "scheduler/CTimerFunctions.h"
#include "state/modGlobals.h"
#include "ui/frmMain.h"
#include "ui/frmOptions.h"
#include "ui/frmQuickStart.h"
#include "ui/windows.h"

AutoForm<FrmLogin> frmLogin;

FrmLogin::FrmLogin()
    : Form({.name = L"frmLogin",
            .caption = L"Quillory Login",
            .width = 440,
            .height = 320,
            .background = look::paper,
            .edge = look::water,
            .text = look::ink}) {
    showHand({&picLoginSubmit, &picNewAccount, &picCloseX});
    makeReachable({&picLoginSubmit, &picNewAccount});
    takeFocusOnClick({&picCloseX});
    giveAccessKeys({{&lblLabels[0], L'U'}, {&lblLabels[1], L'P'}, {&picLoginSubmit, L'L'}});
    escapePresses = &picCloseX;
    cmdLogin.Click = [this] { cmdLogin_Click(); };
    picLoginSubmit.Click = [this] { cmdLogin_Click(); };
    picNewAccount.Click = [this] { picNewAccount_Click(); };
    picCloseX.Click = [this] { picCloseX_Click(); };
    txtPassword.GotFocus = [this] { txtPassword_GotFocus(); };
}

/// A close request of the system ends the program at once: without a login there is nothing to keep.
void FrmLogin::Form_Unload(std::int16_t&) {
    gAPI->APICloseSock();
    platform::endProcess();
}

void FrmLogin::EnableLogin() {
    txtUserName.Enabled = true;
    txtPassword.Enabled = true;
    cmdLogin.Enabled = true;
}

void FrmLogin::DisableLogin() {
    txtUserName.Enabled = false;
    txtPassword.Enabled = false;
    cmdLogin.Enabled = false;
}

void FrmLogin::cmdLogin_Click() {
    namespace box = platform::box;
    const std::wstring forgotten = L"Oops! You forgot something...";
    if (txtUserName.Text == L"") {
        platform::messageBox(L"Please enter your username.", box::exclamation, forgotten);
        txtUserName.SetFocus();
        return;
    }
    if (txtPassword.Text == L"") {
        platform::messageBox(L"Please enter your password.", box::exclamation, forgotten);
        txtPassword.SetFocus();
        return;
    }
    if (!isValidUsername(txtUserName.Text)) {
        platform::messageBox(L"The username can only consist of letters, numbers, periods, dashes, and underscores." +
                                 crLf + L"Please check your typing and try again.",
                             box::information, L"Invalid Username");
        txtUserName.SetFocus();
        return;
    }
    DisableLogin();
    gAPI->apiSilent = false;
    gAPI->apiUsername = txtUserName.Text;
    gAPI->apiPasswordHash = md5String(txtPassword.Text);
    gAPI->APILogin();
}

void showUserName(const std::wstring& name) { frmLogin->txtUserName.Text = name; }

void LoginSuccess() { frmLogin->LoginSuccess(); }

/// Brings the whole running state up for the account that has just logged in. Runs inside the answer's socket event; an
/// error here ends in the trap of the parser, and the steps behind it do not run.
void FrmLogin::LoginSuccess() {
    CVHAPI& api = *gAPI;
    Hide();
    frmMain->Enabled = true;
    if (!api.apiSilent) {
        frmMain->Show();
        frmMain->SetFocus();
    }
    const std::wstring memberPage = std::wstring(MemberSiteUrl) + api.apiUsername;
    frmOptions->lblLoggedIn.Caption = api.apiUsername;
    frmMain->lblFavoriteWhere.Caption = memberPage + L"/favorites/";
    frmMain->lblUploadedWhere.Caption = memberPage + L"/uploads/";
    noWallpapersExist = false;
    if (!api.apiSilent) saveLogin(api.apiUsername, api.apiPasswordHash);

    toggleSourceTabs(toInteger(getAccountSetting(L"ActiveTab", L"0")));
    const bool favorites = getAccountSetting(L"UseMembers", L"Favorites") == L"Favorites";
    (favorites ? frmMain->optMemberUploads : frmMain->optMemberFavorites).Value = false;
    (favorites ? frmMain->optMemberFavorites : frmMain->optMemberUploads).Value = true;
    frmMain->txtTagName.Text = getAccountSetting(L"TagName", L"");
    selectedGallery = getAccountSetting(L"Gallery", allGalleries);
    selectedCategory = getAccountSetting(L"Category", allCategories);
    api.apiActiveWallpaper = toLong(getAccountSetting(L"ActiveWallpaper", L"0"));
    api.apiActiveWallpaperLink = getAccountSetting(L"ActiveWallpaperLink", L"");
    if (api.apiActiveWallpaperLink.find(SiteDomain) == std::wstring::npos)
        api.apiActiveWallpaperLink = std::wstring(SiteHomeUrl) + L"?source=Quillory";
    frmOptions->loadOptions();

    if (getAccountSetting(L"HideQuickStart", L"0") == L"0") frmQuickStart->Show(Modality::modal, &*frmMain);
    getGalleries();
    const bool running = frmOptions->chkFreeze.Value == 0;
    if (running) {
        Start_CheckIdle = static_cast<std::int16_t>(timerTick);
        Start_ChangeWallpaper = static_cast<std::int16_t>(timerTick);
    }
    gTimers->Active_CheckIdle = running;
    gTimers->Active_ChangeWallpaper = running;
}

void FrmLogin::picNewAccount_Click() { openLink(std::wstring(SignupUrl)); }

void FrmLogin::picCloseX_Click() { frmMain->exitQuillory(false); }

void FrmLogin::txtPassword_GotFocus() {
    txtPassword.SelStart = 0;
    txtPassword.SelLength = static_cast<std::int32_t>(txtPassword.Text().size());
}
