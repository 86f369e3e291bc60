#include <cmath>

#include "platform/win32/ToolkitArt.h"
#include "program/ProgramTest.h"

namespace {

using platform::win32::textSize;

/// Fails for a text that is cut at the right or below, in the font that it is drawn in, on a screen of any density.
void expectFits(const std::wstring& text, const TextStyle& style, double width, double height) {
    if (text.empty()) return;
    for (const int dpi : {96, 120, 144, 192, 240}) {
        const auto pixels = [dpi](double design) { return static_cast<int>(std::lround(design * dpi / 96)); };
        const SIZE needed = textSize(text, style, pixels(width), dpi);
        const LONG lines = needed.cy / textSize(L"Ag", style, 10'000, dpi).cy;
        const auto tallestLine = static_cast<LONG>(std::ceil(style.points * dpi / 72 * 4 / 3)); // of the usual fonts
        const std::string what = std::string(text.begin(), text.end()) + " at " + std::to_string(dpi) + " dpi";
        EXPECT_LE(needed.cx, pixels(width)) << what;
        EXPECT_LE(std::max(needed.cy, lines * tallestLine), pixels(height)) << what;
    }
}

void expectFits(const Label& label, const std::wstring& text) {
    expectFits(text, label.style, label.Width, label.Height);
}

void expectControlFits(const Control& control) {
    constexpr double mark = 13 + 4;           // of an option or a check, with the gap behind it
    constexpr double comboFrame = 17 + 2 * 6; // its button, and the space around the text
    if (const auto* label = dynamic_cast<const Label*>(&control))
        expectFits(*label, label->Caption);
    else if (const auto* picture = dynamic_cast<const PictureBox*>(&control))
        expectFits(picture->Caption, picture->style, control.Width - picture->captionInset, control.Height);
    else if (const auto* option = dynamic_cast<const OptionButton*>(&control))
        expectFits(option->Caption, {}, control.Width - mark, control.Height);
    else if (const auto* check = dynamic_cast<const CheckBox*>(&control))
        expectFits(check->Caption, {}, control.Width - mark, control.Height);
    else if (const auto* combo = dynamic_cast<const ComboBox*>(&control))
        for (const std::wstring& entry : combo->List())
            expectFits(entry, {}, control.Width - comboFrame, control.Height);
}

TEST_F(ProgramTest, NoTextOfAWindowIsCut) {
    frmDownloading.Load();
    frmQuickStart.Load();
    frmSlideMessage.Load(); // nobody has written on it
    for (const Form* form : openForms())
        for (const Control* control : form->controls()) expectControlFits(*control);

    expectFits(frmDownloading->lblHeaderTitle, L"Quillory - Corrupt update detected! Retrying download...");
    expectFits(frmOptions->lblNextRotation, L"500 Days, 23:59:59");
    expectFits(frmOptions->lblLoggedIn, std::wstring(32, L'w'));
    expectFits(frmMain->lblFavoriteWhere, L"http://members.velvetharbor.example/wonderful_amber/favorites/");
}

TEST_F(ProgramTest, NoNoticeIsCut) {
    site().replies = {{"method=vh.getGalleries", {.segments = {"Welcome to this airport\nPay for the network"}}}};
    gAPI->apiLoggedIn = true;
    activeTab = 1; // the longest of its sentences
    const std::function<void()> raise[] = {
        [] { minimizeToTray(); },
        [] { gAPI->apiSetNetworkOutage(); },
        [] { gAPI->APIHandleError(901, {}); },
        [] { gAPI->APIHandleError(950, {}); },
        [] { gAPI->APIHandleError(512, L"The service is closed for maintenance until tomorrow"); },
        [] { NoWallpapersExist(); },
        [] { slideError(L"Function DownloadAndChangeWallpaper, CVHAPI", RunTimeError(errors::duplicateKey)); },
        [] { // none of the service's answers
            getGalleries();
            testDesktop::pumpUntil([] { return frmSlideMessage.isLoaded(); });
        }};
    for (const auto& next : raise) {
        frmSlideMessage.discard();
        next();
        ASSERT_TRUE(frmSlideMessage.isLoaded());
        expectControlFits(frmSlideMessage->lblTitle);
        expectControlFits(frmSlideMessage->lblStatusMsg);
    }
}

} // namespace
