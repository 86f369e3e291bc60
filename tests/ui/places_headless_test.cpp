#include <cstdlib>
#include <new>

#include "platform/headless/Loop.h"
#include "program/Program.h"
#include "program/ProgramTest.h"
#include "ui/modSysTray.h"

namespace {

std::size_t allocationsLeft = 0; // until one fails; 0 for none

} // namespace

void* operator new(std::size_t size) {
    if (allocationsLeft > 0 && --allocationsLeft == 0) throw std::bad_alloc();
    if (void* memory = std::malloc(size > 0 ? size : 1)) return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

/// Lets each allocation of a call fail once: what traps it tells its own name.
TEST_F(ProgramTest, WhatFailsTellsItsPlace) {
    static Strings keys, values;
    static std::wstring text = L"a header\r\n\r\nthat is long enough to need memory";
    const std::pair<const wchar_t*, void (*)()> cases[] = {
        {L"APISend, CVHAPI", [] { gAPI->APISend(L"vh.wallpapers.browse", keys, values); }},
        {L"APIConnect, CVHAPI", [] { gAPI->APISend(L"vh.wallpapers.browse", keys, values); }},
        {L"APILogin, CVHAPI", [] { gAPI->APILogin(); }},
        {L"APILogout, CVHAPI", [] { gAPI->APILogout(); }},
        {L"APIHandleError, CVHAPI", [] { gAPI->APIHandleError(901, L""); }},
        {L"apiSetNetworkOutage, CVHAPI", [] { gAPI->apiSetNetworkOutage(); }},
        {L"apiNetworkRetry, CVHAPI", [] { gAPI->apiNetworkRetry(); }},
        {L"RotateWallpaper, CVHAPI", [] { gAPI->RotateWallpaper(); }},
        {L"DownloadAndChangeWallpaper, CVHAPI", [] { gAPI->DownloadAndChangeWallpaper(1, L"a.jpg"); }},
        {L"VHDownload_Starting, CVHAPI", [] { gAPI->VHDownload.on.Starting(1, std::string()); }},
        {L"VHDownload_DataArrival, CVHAPI", [] { gAPI->VHDownload.on.DataArrival(1); }},
        {L"VHDownload_Error, CVHAPI", [] { gAPI->VHDownload.on.Error(10054, text); }},
        {L"ParseXML, modXML", [] { ParseXML(L"<quillory><action>rest</action></quillory>"); }},
        {L"NoWallpapersExist, modXML", [] { NoWallpapersExist(); }},
        {L"upgradeQuillory, modXML", [] { upgradeQuillory(L"http://dl.velvetharbor.example/quillory/a.zip"); }},
        {L"CreateSystrayIcon, modSysTray", [] { CreateSystrayIcon(*frmPopupMenu, text); }},
        {L"toggleSourceTabs, modGlobals", [] { toggleSourceTabs(1); }},
        {L"updateCategoryList, modGlobals", [] { updateCategoryList(); }},
        {L"minimizeToTray, modMisc", [] { minimizeToTray(); }},
        {L"getFormattedTimeUntilChange, modMisc", [] { getFormattedTimeUntilChange(); }},
        {L"URLEncode, modMisc", [] { (void)URLEncode(text); }},
        {L"validateHTMLHeader, modMisc", [] { validateHTMLHeader(text); }},
    };
    for (const auto& [place, call] : cases) {
        bool isTold = false;
        for (std::size_t n = 1; n < 60 && !isTold; ++n) {
            ProgramTest::SetUp();
            gAPI->apiUsername = gAPI->apiPasswordHash = L"somebody whose name is long";
            frmMain->cboGallery.Text = frmMain->cboCategory.Text = L"";
            gAPI->apiLoggedIn = gAPI->apiForced = true;
            changeInterval = 900 * 86400;
            try {
                allocationsLeft = n;
                call();
            } catch (const std::bad_alloc&) { // in the report itself, or before the trap
            }
            allocationsLeft = 0;
            isTold = takeNotice().starts_with(std::wstring(L"Quillory - Internal Error | In Function ") + place +
                                              L"\r\n[7] Out of memory\r\n");
        }
        EXPECT_TRUE(isTold) << place;
    }
    program::forget();
    newBoxes();
    allocationsLeft = 50;
    EXPECT_THROW(startQuillory(), headless::ProcessEnded);
    EXPECT_THAT(newBoxes(), ElementsAre(L"Quillory | 16 | Quillory cannot start.\r\n[7] Out of memory"));
}

} // namespace
