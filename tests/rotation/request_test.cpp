#include "program/ProgramTest.h"

namespace {

class Request : public ProgramTest {
protected:
    void SetUp() override {
        ProgramTest::SetUp();
        logIn();
        site().stayMute("vh.wallpapers");
        screenAspectRatio = L"1.77778";
    }
    /// What RotateWallpaper sends, behind the method.
    std::string query() {
        const std::size_t before = site().requests.size();
        gAPI->RotateWallpaper();
        if (!testDesktop::pumpUntil([&] { return site().requests.size() > before; })) return "nothing";
        const std::string request = site().lastRequest();
        const std::size_t from = request.find("method=") + 7;
        return request.substr(from, request.find(" HTTP/1.0") - from);
    }
};

TEST_F(Request, PutsTheChoicesIntoTheirFixedOrder) {
    const std::string head = "&withar=1%2E77778&withtags=no&sort=desc&minpoints=";
    const std::string random = "&order=randomize&page=1&perpage=1";
    const std::string version = "&QY%5FVersion=1%2E0%2E112";
    frmOptions->txtRating.Text = L"3";

    toggleSourceTabs(0);
    EXPECT_EQ(query(), "vh.wallpapers.favorites" + head + "3" + random + "&member=Alice" + version);
    frmMain->optMemberFavorites.Value = false;
    frmMain->optMemberUploads.Value = true;
    EXPECT_EQ(query(), "vh.wallpapers.browse" + head + "3" + random + "&member=Alice" + version);

    toggleSourceTabs(1);
    EXPECT_EQ(query(), "vh.wallpapers.browse" + head + "3" + random + "&tag=" + version);
    frmMain->txtTagName.Text = L"dog*, b-ball";
    frmOptions->txtRating.Text = L"+5";
    EXPECT_EQ(query(), "vh.wallpapers.browse" + head + "%2B5" + random + "&tag=dog%2A%2C+b%2Dball" + version);
    frmOptions->txtRating.Text = L"";

    toggleSourceTabs(2);
    const std::tuple<const wchar_t*, const wchar_t*, std::string> cases[] = {
        {L"All Galleries", L"All Categories", ""},
        {L"All Galleries", L"Lakes", ""},
        {L"Nature", L"All Categories", "&gallery=Nature"},
        {L"Nature", L"Ah! My Goddess", "&gallery=Nature&category=Ah%21+My+Goddess"}};
    for (const auto& [gallery, category, source] : cases) {
        frmMain->cboGallery.Text = gallery;
        frmMain->cboCategory.Text = category;
        EXPECT_EQ(query(), "vh.wallpapers.browse" + head + random + source + version);
    }
    activeTab = 9;
    EXPECT_EQ(query(), "vh.wallpapers.browse" + head + random + version);

    frmOptions->optRandomize.Value = false;
    gAPI->apiActiveWallpaper = 99;
    EXPECT_EQ(query(), "vh.wallpapers.browse" + head + "&startid=0&order=freshness&page=1&perpage=1" + version);
    saveAccountSetting(L"ActiveWallpaper", L"815xyz");
    EXPECT_EQ(query(), "vh.wallpapers.browse" + head + "&startid=815&order=freshness&page=1&perpage=1" + version);
    EXPECT_EQ(gAPI->apiActiveWallpaper, 815);
}

TEST_F(Request, RestartsTheIntervalOnlyIfItGoesAhead) {
    secondsSinceChange = 50;
    gAPI->apiDownloadingUpdate = gAPI->apiForced = true;
    gAPI->RotateWallpaper();
    EXPECT_EQ(secondsSinceChange, 50) << "no rotation during an update";
    gAPI->apiDownloadingUpdate = gAPI->apiForced = false;
    gAPI->apiNetworkOutage = true;
    gAPI->RotateWallpaper();
    EXPECT_EQ(secondsSinceChange, 50) << "a timed rotation does nothing in an outage";
    gAPI->apiNetworkOutage = false;

    for (ComboBox* combo : {&frmMain->cboGallery, &frmMain->cboCategory}) {
        const std::wstring text = combo->Text;
        combo->Text = L"Loading...";
        EXPECT_EQ(query(), "vh.getGalleries&withcategories=yes") << "the tree first, whatever tab is active";
        EXPECT_EQ(secondsSinceChange, 50);
        ASSERT_TRUE(testDesktop::pumpUntil([&] { return frmMain->cboGallery.Enabled(); }));
        combo->Text = text;
    }
    query();
    EXPECT_EQ(secondsSinceChange, 0);
}

TEST_F(Request, AnEmptySourceIsToldOnceInItsOwnWords) {
    const std::wstring head =
        L"Quillory - No matching wallpapers! | Quillory couldn't find any wallpapers matching your "
        L"settings!\r\n\r\n";
    const std::wstring cropped = L"make sure they have been cropped to your resolution and have at least a ";
    const std::tuple<int, bool, bool, std::wstring, std::wstring> cases[] = {
        {2, true, false, L"5",
         L"your selected category contains wallpapers that have been cropped to your resolution and have at least a "
         L"5+"},
        {1, true, false, L"0", L"wallpapers marked with your exact tag exist on Velvet Harbor, then " + cropped + L"0"},
        {0, true, false, L"-3", L"the selected member has favorited some wallpapers, then " + cropped + L"-3"},
        {0, false, true, L"1.5", L"the selected member has uploaded some wallpapers, then " + cropped + L"1.5+"},
        {7, true, true, L"5", L""},
        {0, false, false, L"5", L""}};
    for (const auto& [tab, favorites, uploads, rating, what] : cases) {
        noWallpapersExist = false;
        activeTab = tab;
        frmMain->optMemberFavorites.Value = favorites;
        frmMain->optMemberUploads.Value = uploads;
        frmOptions->txtRating.Text = rating;
        NoWallpapersExist();
        EXPECT_TRUE(noWallpapersExist);
        EXPECT_EQ(takeNotice(), what.empty() ? head : head + L"Check that " + what + L" rating (via your settings).");
    }
    NoWallpapersExist();
    EXPECT_EQ(takeNotice(), L"") << "once";

    noWallpapersExist = false;
    frmOptions->txtRating.Text = L"many";
    NoWallpapersExist();
    EXPECT_FALSE(noWallpapersExist);
    EXPECT_THAT(takeNotice(), HasSubstr(L"In Function NoWallpapersExist, modXML\r\n[13] Type mismatch\r\n"));
}

} // namespace
