#include "api/modXML.h"
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
    frmMain->txtTagName.Text = L"dog*, b-ball";
    frmOptions->txtRating.Text = L"+5";
    EXPECT_EQ(query(), "vh.wallpapers.browse" + head + "%2B5" + random + "&tag=dog%2A%2C+b%2Dball" + version);
    frmOptions->txtRating.Text = L"";

    toggleSourceTabs(2);
    struct Case {
        const wchar_t *gallery, *category;
        std::string source;
    };
    const Case cases[] = {{L"All Galleries", L"All Categories", ""},
                          {L"All Galleries", L"Lakes", ""},
                          {L"Nature", L"All Categories", "&gallery=Nature"},
                          {L"Nature", L"Ah! My Goddess", "&gallery=Nature&category=Ah%21+My+Goddess"}};
    for (const Case& c : cases) {
        frmMain->cboGallery.Text = c.gallery;
        frmMain->cboCategory.Text = c.category;
        EXPECT_EQ(query(), "vh.wallpapers.browse" + head + random + c.source + version);
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
    gAPI->apiDownloadingUpdate = true;
    gAPI->apiForced = true;
    gAPI->RotateWallpaper();
    EXPECT_EQ(secondsSinceChange, 50) << "no rotation during an update";
    gAPI->apiDownloadingUpdate = false;

    gAPI->apiNetworkOutage = true;
    gAPI->apiForced = false;
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

TEST_F(Request, AForcedRotationEndsAnOutageIfItCan) {
    gAPI->apiNetworkOutage = true;
    gTimers->Active_NetworkRetry = true;
    gAPI->apiForced = true;
    EXPECT_THAT(query(), testing::StartsWith("vh.wallpapers"));
    EXPECT_FALSE(gAPI->apiNetworkOutage);
    EXPECT_TRUE(gTimers->Active_NetworkRetry) << "until its own next firing";
}

TEST_F(Request, AForcedRotationAnnouncesAnOutageAfresh) {
    site().goAway();
    gAPI->apiNetworkOutage = true;
    frmSlideMessage.discard();
    gAPI->apiForced = true;
    timerTick = 12;
    gAPI->RotateWallpaper();
    EXPECT_TRUE(gAPI->apiNetworkOutage);
    EXPECT_TRUE(frmSlideMessage.isLoaded());
    EXPECT_EQ(frmSlideMessage->lblTitle.Caption(), L"Quillory - Connection Issue");
    EXPECT_EQ(Start_NetworkRetry, 12);
}

TEST_F(Request, AnEmptySourceIsToldOnceInItsOwnWords) {
    const std::wstring head = L"Quillory couldn't find any wallpapers matching your settings!\r\n\r\n";
    const std::wstring cropped = L"make sure they have been cropped to your resolution and have at least a ";
    struct Case {
        int tab;
        bool favorites, uploads;
        const wchar_t* rating;
        std::wstring message;
    };
    const Case cases[] = {
        {2, true, false, L"5",
         L"Check that your selected category contains wallpapers that have been cropped to your resolution and have at "
         L"least a "
         L"5+ rating (via your settings)."},
        {1, true, false, L"0",
         L"Check that wallpapers marked with your exact tag exist on Velvet Harbor, then " + cropped +
             L"0 rating (via your settings)."},
        {0, true, false, L"-3",
         L"Check that the selected member has favorited some wallpapers, then " + cropped +
             L"-3 rating (via your settings)."},
        {0, false, true, L"1.5",
         L"Check that the selected member has uploaded some wallpapers, then " + cropped +
             L"1.5+ rating (via your settings)."},
        {7, true, false, L"5", L""},
        {0, false, false, L"5", L""},
    };
    for (const Case& c : cases) {
        noWallpapersExist = false;
        frmSlideMessage.discard();
        activeTab = c.tab;
        frmMain->optMemberFavorites.Value = c.favorites;
        frmMain->optMemberUploads.Value = c.uploads;
        frmOptions->txtRating.Text = c.rating;
        NoWallpapersExist();
        EXPECT_TRUE(noWallpapersExist);
        EXPECT_EQ(frmSlideMessage->lblTitle.Caption(), L"Quillory - No matching wallpapers!");
        EXPECT_EQ(frmSlideMessage->lblStatusMsg.Caption(), head + c.message);
    }
    frmSlideMessage.discard();
    NoWallpapersExist();
    EXPECT_FALSE(frmSlideMessage.isLoaded()) << "once";

    noWallpapersExist = false;
    frmOptions->txtRating.Text = L"many";
    NoWallpapersExist();
    EXPECT_FALSE(noWallpapersExist);
    EXPECT_THAT(frmSlideMessage->lblStatusMsg.Caption(),
                testing::StartsWith(L"In Function NoWallpapersExist, modXML\r\n[13] Type mismatch\r\nI"));
}

} // namespace
