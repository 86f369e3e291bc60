#include "api/CVHAPI.h"
#include "api/accountSettings.h"
#include "api/modXML.h"
#include "core/Endpoints.h"
#include "core/Errors.h"
#include "core/Raised.h"
#include "platform/Messages.h"
#include "scheduler/CTimerFunctions.h"
#include "state/modGlobals.h"
#include "ui/frmLogin.h"
#include "ui/frmMain.h"
#include "ui/frmOptions.h"
#include "ui/frmSlideMessage.h"
#include "ui/windows.h"

namespace {

namespace box = platform::box;

constexpr std::int16_t connectionAborted = 10053; // WSAECONNABORTED
constexpr std::int16_t noDataRecord = 11004;      // WSANO_DATA

/// The notice keeps its own title: `status` is written into the message label, which the message then replaces.
void notifyServiceError(const std::wstring& status, const std::wstring& text) {
    frmSlideMessage->lblStatusMsg.Caption = status;
    frmSlideMessage->startSlide(text);
}

} // namespace

void CVHAPI::APIHandleError(std::int16_t ErrorNo, const std::wstring& ErrorDescr) {
    trapErrors(L"Function APIHandleError, CVHAPI", [&] {
        const std::wstring number = std::to_wstring(ErrorNo);
        const std::wstring contact(ContactUrl);
        switch (ErrorNo) {
        case 69: NoWallpapersExist(); break;
        case 75: refuseLogin(); break;
        case 901:
            notifyServiceError(L"Quillory API Error",
                               L"Your API Key has exceeded it's daily allocation.  This usually shouldn't happen in "
                               L"Quillory.  Please contact us for details: " +
                                   contact);
            break;
        case 950:
        case 951:
            notifyServiceError(L"Quillory API Error", L"[" + number +
                                                          L"] A fatal API error has occurred within Quillory.  Please "
                                                          L"contact us for details: " +
                                                          contact);
            stopClock();
            break;
        default:
            notifyServiceError(L"Quillory Error", L"An error has occurred [" + number + L"]: " + ErrorDescr +
                                                      L".  Please contact us for details: " + contact);
        }
    });
}

void CVHAPI::refuseLogin() {
    const auto answer = platform::messageBox(
        L"Oops!  That username / password is not a valid Velvet Harbor login!" + crLf + crLf +
            L"Please try again, or visit VelvetHarbor to create a new account or recover a forgotten "
            L"password.",
        box::exclamation, L"Invalid Username/Password");
    if (answer == box::notAsked) return; // the first one goes on when it is answered
    forgetLogin();
    apiPasswordHash.clear();
    frmLogin->txtPassword.Text = L"";
    frmOptions->lblLoggedIn.Caption = L"[Not Logged In]";
    apiLoggedIn = false;
    apiSilent = false;
    if (!frmLogin->Visible || frmLogin->WindowState == windowMinimized) frmLogin->Show();
    frmLogin->EnableLogin();
    if (apiUsername.empty()) {
        frmLogin->txtUserName.Text = L"";
        frmLogin->txtUserName.SetFocus();
    } else {
        frmLogin->txtPassword.SetFocus();
    }
}

void CVHAPI::apiSetNetworkOutage() {
    trapErrors(L"Function apiSetNetworkOutage, CVHAPI", [&] {
        if (apiNetworkOutage || announcingOutage) return; // one outage is announced once
        APICloseSock();
        endAbandonedRotation();
        if (apiSilent || apiLoggedIn) {
            showNotice(
                L"Quillory - Connection Issue",
                L"Could not connect to VelvetHarbor" + crLf + crLf +
                    L"Quillory will try again in a few minutes.  Wallpaper rotation will resume automatically when you "
                    L"reconnect to the internet.");
            frmSlideMessage->Show();
            Start_NetworkRetry = static_cast<std::int16_t>(timerTick);
            gTimers->Active_NetworkRetry = true;
        } else {
            const Raised whileBoxIsUp(announcingOutage);
            platform::messageBox(
                L"The connection to VelvetHarbor cannot be established at this time due to a connectivity issue." +
                    crLf + crLf + L"Please make sure you're connected to the internet and try again.",
                box::critical, L"Connection Error");
            frmLogin->EnableLogin();
        }
        apiNetworkOutage = true;
    });
}

bool CVHAPI::apiNetworkRetry() {
    return trapErrors(L"Function apiNetworkRetry, CVHAPI", [&] {
        VHSock->CloseSck();
        if (!APIConnect()) return false;
        if (!apiLoggedIn) {
            if (apiPasswordHash.empty() || apiUsername.empty()) {
                frmMain->Show();
                frmMain->Enabled = false;
                frmLogin->Show(Modality::modal, &*frmMain);
            } else {
                minimizeToTray();
                apiSilent = true;
                APILogin();
            }
        }
        apiNetworkOutage = false;
        return true;
    });
}

void CVHAPI::APIHandleSockError() {
    trapErrors(L"Function APIHandleSockError, CVHAPI", [&] {
        if (VHSock->State() != StateClosed) VHSock->CloseSck();
        // Unattended, nothing is said: the next request finds the socket closed and connects anew.
        if (!apiSilent && !apiLoggedIn)
            platform::messageBox(L"Could not connect to the Velvet Harbor servers!" + crLf + crLf +
                                     L"Make sure you're connected to the internet and try again.",
                                 box::critical, L"Connection Error");
    });
}

bool CVHAPI::apiCheckOutageError(std::int16_t Number) {
    if (Number != connectionAborted && Number != noDataRecord) return false;
    apiSetNetworkOutage();
    return true;
}

/// What a user who asked for a wallpaper is told of a failed transfer; a timed rotation fails silently.
void CVHAPI::notifyNetworkError(std::int16_t Number, const std::wstring& Description) {
    if (!apiLoggedIn || !apiForced) return;
    showNotice(L"Quillory - Connection Issue", L"Network Error " + std::to_wstring(Number) + L"!" + crLf + Description);
    frmSlideMessage->Show();
}

void CVHAPI::VHSock_Error(std::int16_t Number, const std::wstring& Description) {
    trapErrors(L"Function VHSock_Error, CVHAPI", [&] {
        VHSock->CloseSck();
        endAbandonedRotation();
        if (!apiCheckOutageError(Number)) notifyNetworkError(Number, Description);
    });
}

// After a bad answer the scheduler stands still until the program is restarted.

void CVHAPI::notifyUnexpectedResponse() {
    stopClock();
    showNotice(
        L"Quillory - Network Error",
        L"The Velvet Harbor servers responded in an unexpected way.  This could be due to a temporary network problem "
        L"or "
        L"interference from another program on your computer (such as spyware).  If this continues, please reinstall "
        L"Quillory: " +
            std::wstring(ProductPageUrl));
}

void CVHAPI::notifyForeignResponse() {
    stopClock();
    showNotice(
        L"Quillory - Network Error",
        L"Quillory received a response from a source other than Velvet Harbor.  This is usually caused by a wireless "
        L"gateway interfering (at a coffee shop, airport, etc).  Try visiting VelvetHarbor in your web browser.  If "
        L"everything works there, try scanning your computer for spyware.");
}
