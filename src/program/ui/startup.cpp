#include "api/CVHAPI.h"
#include "api/accountSettings.h"
#include "core/Endpoints.h"
#include "core/Numbers.h"
#include "core/modMisc.h"
#include "platform/Files.h"
#include "platform/Process.h"
#include "platform/RunTimeError.h"
#include "platform/Shell.h"
#include "scheduler/CTimerFunctions.h"
#include "state/modGlobals.h"
#include "ui/frmLogin.h"
#include "ui/frmMain.h"
#include "ui/frmOptions.h"
#include "ui/frmPopupMenu.h"
#include "ui/modSysTray.h"
#include "ui/windows.h"

// How the program comes up and goes down. The main window is the start-up object: its load is the program's first code.

namespace {

namespace box = platform::box;

/// A folder that cannot be made shows by still not being there.
void makeDataFolder() {
    try {
        platform::makeDirectory(tempFolder.substr(0, tempFolder.size() - 1));
    } catch (const RunTimeError&) {
    }
}

} // namespace

void startQuillory() {
    const auto fail = [](const RunTimeError& error) {
        platform::messageBox(L"Quillory cannot start." + crLf + L"[" + std::to_wstring(error.Number) + L"] " +
                                 error.Description,
                             box::critical, std::wstring(ProductName));
        platform::endProcess();
    };
    try {
        frmMain.Load();
    } catch (const RunTimeError& error) {
        fail(error);
    } catch (const std::bad_alloc&) {
        fail(RunTimeError(errors::outOfMemory));
    }
}

void FrmMain::Form_Load() {
    if (platform::previousInstance()) platform::endProcess();
    gAPI = std::make_unique<CVHAPI>();
    frmLogin.Load();
    frmOptions.Load();
    frmPopupMenu.Load();
    screenAspectRatio = singleText(getScreenAspectRatio());
    idleHold = false;
    gTimers = std::make_unique<CTimerFunctions>();
    gTimers->TimerInit();

    tempFolder = platform::applicationDataFolder(hWnd()) + L"\\Quillory\\";
    if (!dirExists(tempFolder)) makeDataFolder();
    if (!dirExists(tempFolder)) {
        platform::messageBox(L"A critical error occurred trying to setup the Quillory temporary data folder!" + crLf +
                                 crLf + L"If this continues to happen, try reinstalling Quillory from: " + crLf +
                                 std::wstring(ProductPageUrl) + crLf + crLf + L"Or contact us:" + crLf +
                                 std::wstring(ContactUrl),
                             box::critical, L"Fatal Permissions Error");
        exitQuillory(true);
    }
    drag.clear();

    gAPI->apiUsername = getLoginSetting(L"SavedUsername");
    gAPI->apiPasswordHash = getLoginSetting(L"SavedPassword");
    if (!gAPI->apiUsername.empty() && !gAPI->apiPasswordHash.empty()) {
        minimizeToTray();
        Enabled = false;
        gAPI->apiSilent = true;
        gAPI->APILogin();
    } else {
        Hide();
        Enabled = false;
        frmLogin->Show(Modality::modal, this);
    }
}

void FrmMain::exitQuillory(bool confirmed) {
    const auto shutDown = [] {
        gAPI->APICloseSock();
        RemoveSystrayIcon();
        platform::endProcess();
    };
    if (confirmed) {
        shutDown();
        return;
    }
    // The answer ends the program at once: a wait for the connection may lie on top of this call, for a minute.
    platform::messageBox(L"Are you sure you want to completely shut down Quillory?" + crLf + crLf +
                             L"Your wallpaper will remain exactly as it looks now and will not be "
                             L"automatically updated with new images.",
                         box::yesNo | box::question, L"Confirm Exit", [&](std::int32_t answer) {
                             if (answer == box::resultYes) shutDown();
                         });
}
