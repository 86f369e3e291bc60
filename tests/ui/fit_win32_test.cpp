#include <cmath>

#include "api/modXML.h"
#include "platform/win32/ToolkitArt.h"
#include "program/ProgramTest.h"

namespace {

using platform::win32::textSize;

/// Measures texts in the font that they are drawn in, as a screen of any density would show them.
class Fit : public ProgramTest {
protected:
    void SetUp() override {
        ProgramTest::SetUp();
        gAPI->apiUsername = L"alice";
        frmDownloading.Load();
        frmQuickStart.Load();
        frmSlideMessage.Load();
    }

    static int pixels(double design, int dpi) { return static_cast<int>(std::lround(design * dpi / 96)); }

    static LONG lineHeight(const TextStyle& style, int dpi) { return textSize(L"Ag", style, 10'000, dpi).cy; }

    /// The lines of the tallest font of those that the program may be shown in: its lines are 4/3 of its size high.
    static int tallest(LONG lines, const TextStyle& style, int dpi) {
        return static_cast<int>(lines * std::ceil(style.points * dpi / 72 * 4 / 3));
    }

    /// Fails for a text that is cut at the right or below.
    static void expectFits(const std::wstring& text, const TextStyle& style, double width, double height) {
        if (text.empty()) return;
        for (const int dpi : {96, 120, 144, 192}) {
            const SIZE needed = textSize(text, style, pixels(width, dpi), dpi);
            const LONG lines = needed.cy / lineHeight(style, dpi);
            const std::string what = narrow(text) + " at " + std::to_string(dpi) + " dpi";
            EXPECT_LE(needed.cx, pixels(width, dpi)) << what;
            EXPECT_LE(needed.cy, pixels(height, dpi)) << what;
            EXPECT_LE(tallest(lines, style, dpi), pixels(height, dpi)) << what << " in " << lines << " lines";
        }
    }
    static void expectFits(const Label& label, const std::wstring& text) {
        expectFits(text, label.style, label.Width, label.Height);
    }
    static void expectFits(const Label& label) { expectFits(label, label.Caption); }

    static void expectControlFits(const Control& control) {
        constexpr double mark = 13;
        constexpr double gap = 4;
        constexpr double comboFrame = 17 + 2 * 6; // its button, and the space around the text
        const TextStyle native;
        if (const auto* label = dynamic_cast<const Label*>(&control))
            expectFits(*label);
        else if (const auto* picture = dynamic_cast<const PictureBox*>(&control))
            expectFits(picture->Caption, picture->style, control.Width - picture->captionInset, control.Height);
        else if (const auto* option = dynamic_cast<const OptionButton*>(&control))
            expectFits(option->Caption, native, control.Width - mark - gap, control.Height);
        else if (const auto* check = dynamic_cast<const CheckBox*>(&control))
            expectFits(check->Caption, native, control.Width - mark - gap, control.Height);
        else if (const auto* combo = dynamic_cast<const ComboBox*>(&control))
            for (const std::wstring& entry : combo->List())
                expectFits(entry, native, control.Width - comboFrame, control.Height);
    }

    static std::string narrow(const std::wstring& text) { return {text.begin(), text.end()}; }
};

TEST_F(Fit, NoTextOfAWindowIsCut) {
    for (const Form* form : openForms())
        for (const Control* control : form->controls()) expectControlFits(*control);
}

TEST_F(Fit, NoTextThatComesLaterIsCut) {
    for (const auto title :
         {L"Quillory - Connecting to Velvet Harbor...", L"Quillory - Downloading Update...",
          L"Quillory - Corrupt update detected! Retrying download...", L"Quillory - Verifying update file ...",
          L"Download completed. Updating..."})
        expectFits(frmDownloading->lblHeaderTitle, title);
    expectFits(frmOptions->lblNextRotation, L"500 Days, 23:59:59");
    const std::wstring longName(32, L'w');
    expectFits(frmOptions->lblLoggedIn, longName);
    expectFits(frmMain->lblFavoriteWhere, L"http://members.velvetharbor.example/wonderful_amber/favorites/");
}

TEST_F(Fit, NoNoticeIsCut) {
    const auto expectNoticeFits = [](const std::function<void()>& raise) {
        frmSlideMessage.discard();
        raise();
        ASSERT_TRUE(frmSlideMessage.isLoaded());
        expectFits(frmSlideMessage->lblTitle);
        expectFits(frmSlideMessage->lblStatusMsg);
    };
    expectNoticeFits([] { frmSlideMessage.Load(); }); // nobody has written on it
    expectNoticeFits([] { minimizeToTray(); });
    expectNoticeFits([] {
        gAPI->apiLoggedIn = true;
        gAPI->apiSetNetworkOutage();
    });
    expectNoticeFits([] { gAPI->APIHandleError(901, {}); });
    expectNoticeFits([] { gAPI->APIHandleError(950, {}); });
    expectNoticeFits([] { gAPI->APIHandleError(512, L"The service is closed for maintenance until tomorrow"); });
    for (const bool favorites : {true, false})
        for (activeTab = 0; activeTab < 3; ++activeTab) {
            frmMain->optMemberFavorites.Value = favorites;
            frmMain->optMemberUploads.Value = !favorites;
            frmOptions->txtRating.Text = L"-99";
            noWallpapersExist = false;
            expectNoticeFits([] { NoWallpapersExist(); });
        }
    expectNoticeFits([] {
        frmSlideMessage->slideSysError(L"Function DownloadAndChangeWallpaper, CVHAPI", 457,
                                       L"This key is already associated with an element of this collection");
    });

    // Answers that are none of the service's.
    for (const char* answer : {"HTTP/1.0 200 OK\n\n", "Welcome to this airport\nPay for the network"}) {
        site().replies = {{"method=vh.getGalleries", {.segments = {answer}}}};
        expectNoticeFits([] {
            getGalleries();
            testDesktop::pumpUntil([] { return frmSlideMessage.isLoaded(); });
        });
    }
}

} // namespace
