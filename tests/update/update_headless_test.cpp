#include "platform/headless/Loop.h"
#include "platform/headless/State.h"
#include "program/ProgramTest.h"

// A self-update ends the process, which only the headless desktop can survive.

namespace {

class Update : public ProgramTest {
protected:
    static inline const std::wstring updater = L"C:\\Program Files\\Quillory\\Updater\\update.exe";
    static inline const std::wstring permission =
        L"Proceed with Update? | 36 | An update has been released for your Quillory Wallpaper Manager software.\r\n\r\n"
        L"You have disabled automatic updates, so your permission is required to update Quillory.\r\n\r\n"
        L"Proceed with update now?  Clicking 'No' will exit the program.";
    static inline const std::wstring starting =
        L"Auto-Update Starting | 64 | A new update to Quillory has been released since you last rotated your "
        L"wallpaper.  Hang on one second and we'll handle the upgrade for you.";
    static inline const std::wstring downloaded =
        L"Update Downloaded Successfully | 64 | Quillory has successfully downloaded the update.  Applying update now "
        L"and restarting the program...";

    void SetUp() override {
        ProgramTest::SetUp();
        logIn();
        site().offerUpdate();
        platform::makeDirectory(L"C:\\Program Files\\Quillory\\Updater");
        testDesktop::putFile(updater, "MZ");
        frmMain->tmrMain.Enabled = true;
    }
    /// Lets the update run; true if the process ended.
    static bool ends(const std::wstring& from = Service::updateLink) {
        try {
            upgradeQuillory(from);
            testDesktop::pumpUntil([] { return false; });
        } catch (const headless::ProcessEnded&) {
            return true;
        }
        return false;
    }
    /// Begins an update whose archive does not come whole.
    void hangHalfWay() {
        site().replies = {{"GET /quillory", {{"HTTP/1.0 200 OK\r\nContent-Length: 99\r\n\r\nPK"}, false}}};
        upgradeQuillory(Service::updateLink);
        ASSERT_TRUE(testDesktop::pumpUntil([] { return gAPI->apiDownloadedBytes == 2; }));
    }
    static std::wstring title() { return frmDownloading->lblHeaderTitle.Caption; }
};

TEST_F(Update, RunsUnseenToTheUpdaterWhenNobodyIsWaiting) {
    std::filesystem::remove_all(headless::mapFolder(tempFolder));
    gAPI->apiForced = false;
    EXPECT_TRUE(ends());
    EXPECT_THAT(newBoxes(), IsEmpty());
    EXPECT_EQ(site().count("GET /quillory/Quillory-1.0.113.zip HTTP"), 1u);
    ASSERT_EQ(headless::state.started.size(), 1u);
    const auto& call = headless::state.started[0];
    EXPECT_EQ(call.operation + L" " + call.target + L" " + call.parameters + call.directory,
              L"runas " + updater + L" Quillory-1.0.113.zip");
    EXPECT_EQ(call.showCommand, 1);
    EXPECT_EQ(call.owner, frmMain->hWnd());
    EXPECT_EQ(platform::readWholeFile(tempFolder + L"Quillory-1.0.113.zip"), Service::updateArchive);
    EXPECT_FALSE(fileExists(tempFolder + L"Quillory-1.0.113.zip.md5"));
    EXPECT_FALSE(frmMain->tmrMain.Enabled || frmMain->Enabled || frmDownloading->Visible);
    EXPECT_TRUE(gAPI->apiForced);
    EXPECT_EQ(title(), L"Download completed. Updating...");
    EXPECT_EQ(frmDownloading->lblProgressPercent.Caption(), L"100%");
    EXPECT_EQ(frmDownloading->picProgressBar.Width, 417);
}

TEST_F(Update, AsksAndTellsInThisOrder) {
    const std::tuple<bool, bool, Strings> cases[] = {{false, false, {permission, downloaded}},
                                                     {true, true, {starting}},
                                                     {false, true, {permission, starting, downloaded}}};
    for (const auto& [autoUpdate, forced, boxes] : cases) {
        gAPI->apiDownloadingUpdate = gAPI->apiDownloadingUpdateMD5 = false;
        frmDownloading.discard();
        frmOptions->chkAutoUpdate.Value = autoUpdate ? 1 : 0;
        gAPI->apiForced = forced;
        // A retry asks and tells nothing again.
        site().replies.insert(site().replies.begin(), {"113.zip HTTP", {{Service::fileAnswer("corrupt")}, true, 2}});
        site().requests.clear();
        gAPI->apiDownloadingUpdateErr = 0;
        EXPECT_TRUE(ends());
        EXPECT_EQ(newBoxes(), boxes);
        EXPECT_EQ(site().count(".zip HTTP"), 3u);
        EXPECT_EQ(platform::readWholeFile(tempFolder + L"Quillory-1.0.113.zip"), Service::updateArchive);
        EXPECT_TRUE(frmDownloading->Visible);
        EXPECT_EQ(frmDownloading->owner(), &*frmMain);
        EXPECT_EQ(headless::state.foreground.back(), frmDownloading->hWnd());
    }
    headless::state.started.clear();
    gAPI->apiDownloadingUpdateMD5 = false;
    frmOptions->chkAutoUpdate.Value = 0;
    headless::answers = {7};
    EXPECT_TRUE(ends()) << "a refusal ends the program";
    EXPECT_THAT(newBoxes(), ElementsAre(permission));
    EXPECT_THAT(headless::state.started, IsEmpty());
}

/// A question that is left alone outlasts rotations, each of which brings word of the update again.
TEST_F(Update, AsksOnceHoweverLongTheAnswerTakes) {
    frmOptions->chkAutoUpdate.Value = 0;
    headless::whileBoxIsUp = [&](const headless::ShownBox&) {
        if (headless::boxes.size() < 3) upgradeQuillory(Service::updateLink);
    };
    upgradeQuillory(Service::updateLink);
    EXPECT_THAT(newBoxes(), ElementsAre(permission));
    EXPECT_TRUE(gAPI->apiDownloadingUpdate);
}

TEST_F(Update, NoRotationStartsMeanwhileAndOneThatRunsEnds) {
    site().replies.insert(site().replies.begin(),
                          {"/dl/inline", {{"HTTP/1.0 200 OK\r\nContent-Length: 9\r\n\r\nGIF"}}});
    gAPI->RotateWallpaper();
    ASSERT_TRUE(testDesktop::pumpUntil([] { return gAPI->apiDownloadedBytes == 3; }));
    site().requests.clear();
    hangHalfWay();
    for (const bool forced : {false, true}) {
        gAPI->apiForced = forced;
        gAPI->RotateWallpaper();
        gAPI->DownloadAndChangeWallpaper(4711, L"late.jpg"); // an answer that was under way
    }
    person::settle();
    EXPECT_EQ(site().requests.size(), 1u);
    EXPECT_EQ(gAPI->apiDownloadedBytes, 2) << "the update goes on";
}

TEST_F(Update, OnlyAPlainArchiveFromTheTwoPlacesIsAccepted) {
    const std::wstring place = L"http://dl.velvetharbor.example/quillory/";
    const std::wstring wrong[] = {place + L"x.ZIP",
                                  L"http://evil.example/quillory/x.zip",
                                  L"HTTP" + place.substr(4) + L"x.zip",
                                  place + L"..\\x.zip",
                                  place + L"a b.zip",
                                  place + L"\u0161.zip",
                                  place + L".zip/"};
    const auto critical =
        StartsWith(L"Critical Update Error | 16 | A critical error occurred while downloading the new "
                   L"software update for Quillory "
                   L"Wallpaper Manager.\r\n\r\nPlease try reinstalling the software by visiting:\r\n"
                   L"http://velvetharbor.example/quillory/");
    for (const std::wstring& bad : wrong) {
        headless::answers = {1, 7}; // the exit's question is declined
        upgradeQuillory(bad);
        EXPECT_THAT(newBoxes(), ElementsAre(critical, StartsWith(L"Confirm Exit")));
        EXPECT_FALSE(gAPI->apiDownloadingUpdate) << "and the program runs on";
    }
    headless::answers = {1, 6}; // and confirmed
    EXPECT_TRUE(ends(wrong[0]));
    EXPECT_TRUE(ends(L"http://velvetharbor.example/quillory/dl/Quillory-1.0.113.zip"));
}

TEST_F(Update, ACorruptArchiveIsFetchedThreeTimes) {
    site().onFile("Quillory-1.0.113.zip.md5 ", std::string(32, '0'));
    std::wstring told;
    person::once([] { return frmSlideMessage.isLoaded(); },
                 [&] {
                     told = frmSlideMessage->lblTitle.Caption() + L" | " + frmSlideMessage->lblStatusMsg.Caption();
                     headless::advance(3000);
                 });
    EXPECT_TRUE(ends());
    EXPECT_EQ(site().count(".zip HTTP"), 3u);
    EXPECT_EQ(site().count(".md5 HTTP"), 1u) << "the first checksum counts";
    EXPECT_THAT(newBoxes(), IsEmpty());
    EXPECT_THAT(headless::state.started, IsEmpty());
    EXPECT_FALSE(frmSlideMessage.isLoaded()) << "the end waits for the notice";
    EXPECT_EQ(told, L"Quillory - Update Error | The update engine cannot find the correct update file on the Velvet "
                    L"Harbor servers.  This could be due to a corruption issue.  Please reopen Quillory and try again "
                    L"later.  If the problem persists, please reinstall: http://velvetharbor.example/quillory/");
}

TEST_F(Update, TheFirstItemOfTheChecksumFileCounts) {
    const std::string hash = Service::updateHash;
    std::string upper = hash;
    for (char& c : upper) c = static_cast<char>(std::toupper(c));
    const std::pair<std::string, bool> cases[] = {{hash.substr(0, 16) + "\n" + hash.substr(16) + "\r\n", true},
                                                  {" \"" + hash + "\" , 29", true},
                                                  {upper, false},
                                                  {hash + " Quillory.zip", false}};
    for (const auto& [file, isRight] : cases) {
        gAPI->VHDownload.Cancel();
        gAPI->apiDownloadingUpdateMD5 = false;
        gAPI->apiDownloadingUpdateErr = 0;
        headless::state.started.clear();
        site().onFile("Quillory-1.0.113.zip.md5 ", file);
        upgradeQuillory(Service::updateLink);
        try {
            testDesktop::pumpUntil([] { return gAPI->apiDownloadingUpdateErr == 1; });
        } catch (const headless::ProcessEnded&) {
        }
        EXPECT_EQ(headless::state.started.size(), isRight ? 1u : 0u) << file;
    }
}

TEST_F(Update, AMissingUpdaterEndsWithAWord) {
    minimizeToTray();
    platform::deleteFile(updater);
    EXPECT_TRUE(ends());
    EXPECT_FALSE(headless::state.trayIcon);
    EXPECT_THAT(newBoxes(), ElementsAre(L"Critical Update Error | 16 | An error has occurred launching the Quillory "
                                        L"Update Engine.\r\n\r\nPlease visit http://velvetharbor.example/quillory/ and "
                                        L"reinstall the software."));
    EXPECT_THAT(headless::state.started, IsEmpty());
}

TEST_F(Update, AnAbortAndAnOutageLeaveTheSchedulerStanding) {
    hangHalfWay();
    EXPECT_EQ(title(), L"Quillory - Downloading Update...");
    frmDownloading->imgAbort_Click();
    EXPECT_FALSE(gAPI->apiDownloadingUpdate || frmMain->tmrMain.Enabled);
    EXPECT_TRUE(frmMain->Enabled);

    site().replies = {{".md5 HTTP", {}}, {"GET /quillory", {{Service::fileAnswer(Service::updateArchive)}, true}}};
    upgradeQuillory(Service::updateLink);
    ASSERT_TRUE(testDesktop::pumpUntil([] { return gAPI->apiDownloadingUpdateMD5; })) << "it is being verified";
    EXPECT_EQ(title(), L"Quillory - Verifying update file ...");
    EXPECT_EQ(frmDownloading->lblProgressPercent.Caption(), L"0%");
    gAPI->apiDownloadingUpdateErr = 2;
    frmDownloading->imgAbort_Click();
    EXPECT_FALSE(gAPI->apiDownloadingUpdate || gAPI->apiDownloadingUpdateMD5 || gAPI->apiDownloadingUpdateErr);
    gAPI->RotateWallpaper();
    EXPECT_TRUE(testDesktop::pumpUntil([] { return setting(L"ActiveWallpaper") == L"4711"; }));

    gAPI->apiDownloadingUpdateMD5 = true; // as when it is fetched again
    hangHalfWay();
    EXPECT_EQ(title(), L"Quillory - Corrupt update detected! Retrying download...");
    std::wstring description;
    gAPI->VHDownload.on.Error(10053, description);
    EXPECT_TRUE(gAPI->apiDownloadingUpdate) << "so that no rotation starts any more";
    EXPECT_TRUE(frmMain->Enabled && !frmDownloading.isLoaded());

    hangHalfWay();
    EXPECT_THROW(gAPI->VHDownload.on.Error(10054, description), headless::ProcessEnded);
    EXPECT_TRUE(gAPI->VHDownload.IsIdle());
    EXPECT_THAT(newBoxes(),
                ElementsAre(starting, L"Update Error | 64 | An error occurred downloading the new Quillory update: "
                                      L"Quillory-1.0.113.zip.\r\nPlease check your internet connection and try "
                                      L"again, otherwise visit http://velvetharbor.example/quillory/ and try "
                                      L"reinstalling the software.\r\n\r\nShutting down Quillory..."));
}

TEST_F(Update, WithoutASizeOrAChecksumItStandsStillForGood) {
    for (const auto& [request, answer] : {std::pair("113.zip.md5 HTTP", "HTTP/1.0 200 OK\r\n\r\n"),
                                          std::pair("113.zip HTTP", "HTTP/1.0 200 OK\r\n\r\nPK")}) {
        gAPI->apiForced = gAPI->apiDownloadingUpdateMD5 = false;
        site().replies.insert(site().replies.begin(), {request, {{answer}, true}});
        upgradeQuillory(Service::updateLink);
        ASSERT_TRUE(testDesktop::pumpUntil([&] { return site().count(request) > 0 && gAPI->VHDownload.IsIdle(); }));
        EXPECT_TRUE(gAPI->apiDownloadingUpdate) << request;
        EXPECT_THAT(newBoxes(), IsEmpty()) << request;
        EXPECT_EQ(site().count("vh.wallpapers"), 0u) << request;
        site().requests.clear();
    }
}

} // namespace
