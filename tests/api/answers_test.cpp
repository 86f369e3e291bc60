#include "program/ProgramTest.h"

namespace {

class Answers : public ProgramTest {
protected:
    static std::wstring noticeAfter(const std::wstring& answer) {
        ParseXML(answer);
        return takeNotice();
    }
};

TEST_F(Answers, TheGalleryTreeLeavesRedirectedCategoriesOut) {
    ParseXML(std::wstring(Service::galleries.begin(), Service::galleries.end()));
    ASSERT_EQ(galleries.size(), 2u);
    EXPECT_THAT(galleries.item(L"Nature"), ElementsAre(L"Nature", L"Lakes", L"Ah! My Goddess"));
    EXPECT_THAT(galleries.item(L"Cities"), ElementsAre(L"Cities"));
    EXPECT_THAT(frmMain->cboGallery.List(), ElementsAre(L"All Galleries", L"Nature", L"Cities"));
    EXPECT_EQ(frmMain->cboGallery.Text(), L"All Galleries");
    EXPECT_EQ(frmMain->cboCategory.Text(), L"All Categories");

    ParseXML(L"<galleries></galleries>");
    EXPECT_EQ(galleries.size(), 0u);
    EXPECT_THAT(frmMain->cboGallery.List(), ElementsAre(L"All Galleries")) << "an empty tree is shown too";
}

TEST_F(Answers, WhatIsMissingStopsThereAndIsReported) {
    const std::wstring mismatch = L"[13] Type mismatch";
    const std::wstring missing = L"[91] Object variable not set";
    const std::pair<const wchar_t*, std::wstring> cases[] = {
        {L"<galleries><gallery><friendly>A</friendly></gallery><gallery><friendly>A</friendly></gallery></galleries>",
         L"[457] This key is already associated with an element of this collection"},
        {L"<wallpapers count='many'/>", mismatch},
        {L"<wallpapers total='1'/>", missing},
        {L"<wallpapers count='1'/>", missing},
        {L"<wallpapers count='1'><wallpaper><id>x</id></wallpaper></wallpapers>", mismatch},
        {L"<wallpapers count='1'><wallpaper><id>7</id></wallpaper></wallpapers>", missing},
        {L"<auth/>", missing},
        {L"<auth><token/></auth>", missing},
        {L"<error><description>d</description></error>", missing},
        {L"<error><number>99999</number><description>d</description></error>", L"[6] Overflow"},
        {L"<quillory/>", missing},
    };
    for (const auto& [answer, error] : cases)
        EXPECT_EQ(noticeAfter(answer), L"Quillory - Internal Error | In Function ParseXML, modXML\r\n" + error +
                                           L"\r\nIf this continues to happen, please reinstall Quillory from "
                                           L"http://velvetharbor.example/quillory/")
            << answer;
    EXPECT_EQ(galleries.size(), 1u) << "what was stored before the failure stays";
    EXPECT_EQ(wallpaperId, 7);

    for (const wchar_t* silent : {L"<wallpapers/>", L"<quillory><action>rest</action></quillory>",
                                  L"<auth><token/><status>refused</status></auth>"})
        EXPECT_EQ(noticeAfter(silent), L"");
    EXPECT_FALSE(gAPI->apiLoggedIn);
    EXPECT_THAT(newBoxes(), IsEmpty());
}

TEST_F(Answers, WhatIsNotUnderstoodIsShown) {
    ParseXML(L"<auth><token/><status/></auth>");
    EXPECT_THAT(newBoxes(), ElementsAre(L"Quillory | 0 | Unknown Login Error"));
    ParseXML(L"<auth><token>");
    EXPECT_THAT(newBoxes(), ElementsAre(testing::AllOf(StartsWith(L"XML Error | 16 | "), HasSubstr(L"\r\n"))));
    const std::wstring dump = noticeAfter(L"<html><body>Welcome to our cafe</body></html>");
    EXPECT_THAT(dump, StartsWith(L"Quillory - API Error | Quillory has encountered an inconsistency in "
                                 L"communications with VelvetHarbor\r\nDebug Dump: <html>"));
    EXPECT_THAT(dump, HasSubstr(L"Welcome to our cafe"));
}

TEST_F(Answers, TheServicesErrorsHaveTheirReactions) {
    const std::wstring contact = L"Please contact us for details: http://velvetharbor.example/contact/";
    const std::wstring fatal = L"] A fatal API error has occurred within Quillory.  " + contact;
    const std::tuple<const wchar_t*, const wchar_t*, std::wstring, bool> cases[] = {
        {L"901", L"x",
         L"Your API Key has exceeded it's daily allocation.  This usually shouldn't happen in Quillory.  " + contact,
         true},
        {L"950", L"x", L"[950" + fatal, false},
        {L"951", L"x", L"[951" + fatal, false},
        {L"12", L"", L"An error has occurred [12]: .  " + contact, true},
        {L"-3.9", L"Too far", L"An error has occurred [-3]: Too far.  " + contact, true},
    };
    const auto answer = [](const std::wstring& number, const std::wstring& description) {
        return L"<error><number>" + number + L"</number><description>" + description + L"</description></error>";
    };
    for (const auto& [number, description, text, clockRuns] : cases) {
        frmMain->tmrMain.Enabled = true;
        EXPECT_EQ(noticeAfter(answer(number, description)), L"Quillory Wallpaper Manager | " + text)
            << "these notices keep the window's own title";
        EXPECT_EQ(frmMain->tmrMain.Enabled, clockRuns) << "or the scheduler stands still until a restart";
    }
    EXPECT_THAT(noticeAfter(answer(L"69.9", L"")), StartsWith(L"Quillory - No matching wallpapers!"));
    EXPECT_THAT(newBoxes(), IsEmpty());
}

} // namespace
