#include "api/modXML.h"

#include "core/Endpoints.h"
#include "program/ProgramTest.h"

namespace {

using testing::ElementsAre;

class Answers : public ProgramTest {
protected:
    static std::vector<testDesktop::ShownBox> boxes() { return testDesktop::shownBoxes(); }
    static std::wstring notice() { return frmSlideMessage.isLoaded() ? frmSlideMessage->lblStatusMsg.Caption() : L""; }
    static std::wstring noticeTitle() { return frmSlideMessage.isLoaded() ? frmSlideMessage->lblTitle.Caption() : L""; }
    static std::wstring internalError(const wchar_t* where, const wchar_t* what) {
        return std::wstring(L"In Function ") + where + L"\r\n" + what +
               L"\r\nIf this continues to happen, please reinstall Quillory from http://velvetharbor.example/quillory/";
    }
};

TEST_F(Answers, TheGalleryTreeLeavesRedirectedCategoriesOut) {
    ParseXML(L"<galleries><gallery><friendly>Nature</friendly><categories>"
             L"<category><redir>no</redir><friendly>Lakes</friendly></category>"
             L"<category><redir>yes</redir><friendly>Ponds</friendly></category>"
             L"<category><redir>No</redir><friendly>Seas</friendly></category>"
             L"<category><redir>no</redir><friendly>Ah My Goddess</friendly></category></categories></gallery>"
             L"<gallery><friendly>Cities</friendly></gallery></galleries>");
    ASSERT_EQ(galleries.size(), 2u);
    EXPECT_THAT(galleries.item(L"Nature"), ElementsAre(L"Nature", L"Lakes", L"Ah! My Goddess"));
    EXPECT_THAT(galleries.item(L"Cities"), ElementsAre(L"Cities"));
    EXPECT_THAT(frmMain->cboGallery.List(), ElementsAre(L"All Galleries", L"Nature", L"Cities"));
    EXPECT_EQ(frmMain->cboGallery.Text(), L"All Galleries");

    ParseXML(L"<galleries></galleries>");
    EXPECT_EQ(galleries.size(), 0u);
    EXPECT_THAT(frmMain->cboGallery.List(), ElementsAre(L"All Galleries")) << "an empty tree is shown too";
}

TEST_F(Answers, WhatIsMissingStopsThereAndIsReported) {
    const wchar_t* const where = L"ParseXML, modXML";
    struct Case {
        const wchar_t *answer, *error;
    };
    const Case cases[] = {
        {L"<galleries><gallery><friendly>A</friendly></gallery><gallery><friendly>A</friendly></gallery></galleries>",
         L"[457] This key is already associated with an element of this collection"},
        {L"<wallpapers count='many'/>", L"[13] Type mismatch"},
        {L"<wallpapers total='1'/>", L"[91] Object variable not set"},
        {L"<wallpapers count='1'/>", L"[91] Object variable not set"},
        {L"<wallpapers count='1'><wallpaper><id>x</id></wallpaper></wallpapers>", L"[13] Type mismatch"},
        {L"<wallpapers count='1'><wallpaper><id>7</id></wallpaper></wallpapers>", L"[91] Object variable not set"},
        {L"<auth/>", L"[91] Object variable not set"},
        {L"<auth><token/></auth>", L"[91] Object variable not set"},
        {L"<error><description>d</description></error>", L"[91] Object variable not set"},
        {L"<error><number>99999</number><description>d</description></error>", L"[6] Overflow"},
        {L"<quillory/>", L"[91] Object variable not set"},
    };
    for (const Case& c : cases) {
        frmSlideMessage.discard();
        ParseXML(c.answer);
        EXPECT_EQ(noticeTitle(), L"Quillory - Internal Error") << c.answer;
        EXPECT_EQ(notice(), internalError(where, c.error));
    }
    EXPECT_EQ(galleries.size(), 1u) << "what was stored before the failure stays";
    EXPECT_EQ(wallpaperId, 7);
    EXPECT_THAT(boxes(), testing::IsEmpty());
}

TEST_F(Answers, SomeAnswersAreMetWithSilence) {
    for (const wchar_t* answer : {L"<wallpapers/>", L"<quillory><action>rest</action></quillory>",
                                  L"<auth><token/><status>refused</status></auth>"}) {
        ParseXML(answer);
        EXPECT_FALSE(frmSlideMessage.isLoaded()) << answer;
        EXPECT_THAT(boxes(), testing::IsEmpty()) << answer;
    }
    EXPECT_FALSE(gAPI->apiLoggedIn);
}

TEST_F(Answers, WhatIsNotUnderstoodIsShown) {
    ParseXML(L"<auth><token/><status/></auth>");
    ASSERT_EQ(boxes().size(), 1u);
    EXPECT_EQ(boxes()[0].text, L"Unknown Login Error");
    EXPECT_EQ(boxes()[0].style, 0);

    ParseXML(L"<auth><token>");
    ASSERT_EQ(boxes().size(), 2u);
    EXPECT_EQ(boxes()[1].title, L"XML Error");
    EXPECT_EQ(boxes()[1].style, 16);
    const std::wstring reason = boxes()[1].text;
    EXPECT_THAT(reason, testing::HasSubstr(L"\r\n"));

    ParseXML(L"<html><body>Welcome to our cafe</body></html>");
    EXPECT_EQ(noticeTitle(), L"Quillory - API Error");
    const std::wstring dump = notice();
    const std::wstring head =
        L"Quillory has encountered an inconsistency in communications with VelvetHarbor\r\nDebug Dump: <html>";
    EXPECT_EQ(dump.substr(0, head.size()), head);
    EXPECT_THAT(dump, testing::HasSubstr(L"Welcome to our cafe"));
}

TEST_F(Answers, TheServicesErrorsHaveTheirReactions) {
    const auto error = [](const wchar_t* number, const wchar_t* description) {
        frmSlideMessage.discard();
        frmMain->tmrMain.Enabled = true;
        noWallpapersExist = false;
        ParseXML(std::wstring(L"<error><number>") + number + L"</number><description>" + description +
                 L"</description></error>");
    };
    const std::wstring contact = L"http://velvetharbor.example/contact/";
    error(L"901", L"x");
    EXPECT_EQ(notice(),
              L"Your API Key has exceeded it's daily allocation.  This usually shouldn't happen in Quillory.  Please "
              L"contact us for details: " +
                  contact);
    EXPECT_TRUE(frmMain->tmrMain.Enabled);
    EXPECT_EQ(noticeTitle(), L"Quillory Wallpaper Manager") << "these notices keep the window's own title";
    for (const wchar_t* fatal : {L"950", L"951"}) {
        error(fatal, L"x");
        EXPECT_EQ(notice(), std::wstring(L"[") + fatal +
                                L"] A fatal API error has occurred within Quillory.  Please contact us "
                                L"for details: " +
                                contact);
        EXPECT_FALSE(frmMain->tmrMain.Enabled) << "the scheduler stands still until a restart";
    }
    error(L"12", L"");
    EXPECT_EQ(notice(), L"An error has occurred [12]: .  Please contact us for details: " + contact);
    error(L"-3.9", L"Too far");
    EXPECT_EQ(notice(), L"An error has occurred [-3]: Too far.  Please contact us for details: " + contact);
    error(L"69.9", L"");
    EXPECT_TRUE(noWallpapersExist);
    EXPECT_THAT(boxes(), testing::IsEmpty());
}

} // namespace
