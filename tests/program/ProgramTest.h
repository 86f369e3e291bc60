#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "api/CVHAPI.h"
#include "api/accountSettings.h"
#include "api/modXML.h"
#include "core/modMisc.h"
#include "core/modRegistry.h"
#include "platform/Files.h"
#include "platform/Input.h"
#include "program/Person.h"
#include "program/Service.h"
#include "scheduler/CTimerFunctions.h"
#include "state/modGlobals.h"
#include "support/TestDesktop.h"
#include "ui/frmDownloading.h"
#include "ui/frmLogin.h"
#include "ui/frmMain.h"
#include "ui/frmOptions.h"
#include "ui/frmPopupMenu.h"
#include "ui/frmQuickStart.h"
#include "ui/frmSlideMessage.h"
#include "ui/windows.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// The whole program on a fresh desktop, as its start leaves it when nobody has logged in yet: windows loaded, the
/// scheduler standing, the login window put aside. The clock stands still; a test ticks the scheduler itself.
class ProgramTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /// Brings the site up.
    Service& site();

    /// Logs an account in and waits until the gallery tree has arrived. The guide is turned off beforehand.
    void logIn(bool silent = false);

    void tick(int times = 1);

    /// Reads a setting of the account that is logged in, "(none)" if it was never written.
    static std::wstring setting(const std::wstring& key) { return getAccountSetting(key, L"(none)"); }

    /// Takes the notice that is up away, as "title | text"; empty for none.
    static std::wstring takeNotice();

    static inline const std::wstring outageNotice =
        L"Quillory - Connection Issue | Could not connect to VelvetHarbor\r\n\r\nQuillory will try again in a few "
        L"minutes.  Wallpaper rotation will resume automatically when you reconnect to the internet.";

    /// The message boxes since the last call, each as "title | style | text".
    std::vector<std::wstring> newBoxes();

private:
    std::unique_ptr<Service> service;
    std::size_t boxesSeen = 0;
};
