#include "program/ProgramTest.h"

#include "core/Errors.h"
#include "program/Program.h"
#include "ui/modSysTray.h"

namespace program {

void forget() {
    person::forgetWhatIsDue();
    frmSlideMessage.discard();
    frmDownloading.discard();
    frmQuickStart.discard();
    frmPopupMenu.discard();
    frmOptions.discard();
    frmLogin.discard();
    frmMain.discard();
    gTimers.reset();
    gAPI.reset();
    tempFolder.clear();
    screenAspectRatio.clear();
    idleHold = noWallpapersExist = false;
    secondsSinceChange = changeInterval = activeTab = wallpaperId = timerTick = 0;
    selectedGallery.clear();
    selectedCategory.clear();
    galleries.clear();
    wallpaperLink.clear();
    RemoveSystrayIcon();
    gTrayIcon = {};
}

void start() {
    forget();
    showErrorsWith(slideError);
    person::later([] { frmLogin->Hide(); });
    frmMain.Load();
    frmMain->tmrMain.Enabled = false;
}

} // namespace program

void ProgramTest::SetUp() {
    program::start();
    boxesSeen = 0;
}

void ProgramTest::TearDown() {
    service.reset();
    program::forget();
}

Service& ProgramTest::site() {
    if (!service) service = std::make_unique<Service>();
    return *service;
}

void ProgramTest::logIn(bool silent) {
    site();
    gAPI->apiUsername = L"Alice";
    saveAccountSetting(L"HideQuickStart", L"1");
    gAPI->apiUsername = L"alice";
    gAPI->apiPasswordHash = L"3ab8d589b5e2c77ade96614f29ef4cc6";
    gAPI->apiSilent = silent;
    ASSERT_TRUE(gAPI->APILogin());
    ASSERT_TRUE(testDesktop::pumpUntil([] { return frmMain->cboGallery.Text != loadingText; }));
}

void ProgramTest::tick(int times) {
    for (int i = 0; i < times; ++i) frmMain->tmrMain.Timer();
}

std::wstring ProgramTest::takeNotice() {
    if (!frmSlideMessage.isLoaded()) return {};
    const auto text = frmSlideMessage->lblTitle.Caption() + L" | " + frmSlideMessage->lblStatusMsg.Caption();
    frmSlideMessage.discard();
    return text;
}

std::vector<std::wstring> ProgramTest::newBoxes() {
    const auto all = testDesktop::shownBoxes();
    std::vector<std::wstring> boxes;
    for (; boxesSeen < all.size(); ++boxesSeen)
        boxes.push_back(all[boxesSeen].title + L" | " + std::to_wstring(all[boxesSeen].style) + L" | " +
                        all[boxesSeen].text);
    return boxes;
}
