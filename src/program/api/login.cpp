#include "api/CVHAPI.h"
#include "api/accountSettings.h"
#include "core/Errors.h"
#include "core/modMisc.h"
#include "platform/Desktop.h"
#include "ui/frmLogin.h"
#include "ui/frmMain.h"
#include "ui/frmOptions.h"

bool CVHAPI::APILogin() {
    return trapErrors(L"Function APILogin, CVHAPI", [&] {
        if (apiPasswordHash.empty() || apiUsername.empty()) return false;
        Strings queryKeys, queryValues;
        array_push(queryKeys, L"username");
        array_push(queryValues, apiUsername);
        array_push(queryKeys, L"md5password");
        array_push(queryValues, apiPasswordHash);
        return APISend(L"vh.auth.login", queryKeys, queryValues);
    });
}

/// The service is told nothing; the saved pair and the names on the screen go. The scheduler, the tray icon and
/// apiLoggedIn stay as they are.
void CVHAPI::APILogout() {
    trapErrors(L"Function APILogout, CVHAPI", [&] {
        forgetLogin();
        frmOptions->lblLoggedIn.Caption = L"[Not Logged In]";
        APICloseSock();
        frmLogin->txtUserName.Text = L"";
        frmLogin->txtPassword.Text = L"";
        apiUsername.clear();
        apiPasswordHash.clear();
        frmLogin->EnableLogin();
        frmMain->Hide();
        frmLogin->Show();
        platform::setForegroundWindow(frmLogin->hWnd());
    });
}
