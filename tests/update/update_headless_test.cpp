#include "api/modXML.h"
#include "core/modMD5.h"
#include "platform/Files.h"
#include "platform/Input.h"
#include "platform/headless/Loop.h"
#include "platform/headless/State.h"
#include "program/ProgramTest.h"

// A self-update ends the process, which only the headless desktop can survive.

namespace {

using testing::IsEmpty;

class Update : public ProgramTest {
protected:
    const std::wstring link = L"http://dl.velvetharbor.example/quillory/Quillory-1.0.113.zip";
    const std::string archive = "PK archive of the new release";
    const std::wstring updater = L"C:\\Program Files\\Quillory\\Updater\\update.exe";

    void SetUp() override {
        ProgramTest::SetUp();
        logIn();
        site().onFile("Quillory-1.0.113.zip.md5 ", hashOf(archive) + "\n");
        site().onFile("Quillory-1.0.113.zip ", archive);
        platform::makeDirectory(L"C:\\Program Files\\Quillory\\Updater");
        testDesktop::putFile(updater, "MZ");
        frmMain->tmrMain.Enabled = true;
    }
    static std::string hashOf(const std::string& bytes) {
        const std::wstring hash = md5String(std::wstring(bytes.begin(), bytes.end()));
        return {hash.begin(), hash.end()};
    }
    /// Lets the update run; true if the process ended.
    static bool ends(
        const std::function<void()>& start, const std::function<bool()>& done = [] { return false; }) {
        try {
            start();
            testDesktop::pumpUntil(done);
        } catch (const headless::ProcessEnded&) {
            return true;
        }
        return false;
    }
    static std::vector<std::wstring> titles() {
        std::vector<std::wstring> all;
        for (const auto& box : headless::boxes) all.push_back(box.title);
        return all;
    }
};

TEST_F(Update, RunsUnseenToTheUpdaterWhenNobodyIsWaiting) {
    gAPI->apiForced = false;
    EXPECT_TRUE(ends([&] { upgradeQuillory(link); }));
    EXPECT_THAT(titles(), IsEmpty());
    EXPECT_EQ(site().count("GET /quillory/Quillory-1.0.113.zip HTTP"), 1u);
    ASSERT_EQ(headless::state.started.size(), 1u);
    const auto& call = headless::state.started[0];
    EXPECT_EQ(call.operation, L"runas");
    EXPECT_EQ(call.target, updater);
    EXPECT_EQ(call.parameters, L"Quillory-1.0.113.zip");
    EXPECT_EQ(call.directory, L"");
    EXPECT_EQ(call.showCommand, 1);
    EXPECT_EQ(call.owner, frmMain->hWnd());
    EXPECT_EQ(platform::readWholeFile(tempFolder + L"Quillory-1.0.113.zip"), archive);
    EXPECT_FALSE(fileExists(tempFolder + L"Quillory-1.0.113.zip.md5"));
    EXPECT_FALSE(frmMain->tmrMain.Enabled);
    EXPECT_FALSE(frmDownloading->Visible);
}

TEST_F(Update, AsksAndTellsInThisOrder) {
    struct Case {
        std::int16_t autoUpdate;
        bool forced;
        std::vector<std::wstring> titles;
    };
    for (const auto& [autoUpdate, forced, expected] :
         {Case{0, false, {L"Proceed with Update?", L"Update Downloaded Successfully"}},
          Case{1, true, {L"Auto-Update Starting"}},
          Case{0, true, {L"Proceed with Update?", L"Auto-Update Starting", L"Update Downloaded Successfully"}}}) {
        gAPI->apiDownloadingUpdate = gAPI->apiDownloadingUpdateMD5 = false;
        frmDownloading.discard();
        headless::boxes.clear();
        frmOptions->chkAutoUpdate.Value = autoUpdate;
        gAPI->apiForced = forced;
        EXPECT_TRUE(ends([&] { upgradeQuillory(link); }));
        EXPECT_EQ(titles(), expected);
        EXPECT_TRUE(frmDownloading->Visible);
        EXPECT_EQ(headless::state.foreground.back(), frmDownloading->hWnd());
    }
    EXPECT_EQ(headless::boxes[0].style, 36);
    EXPECT_EQ(headless::boxes[1].style, 64);
}

/// A question that is left alone outlasts rotations, each of which brings word of the update again.
TEST_F(Update, AsksOnceHoweverLongTheAnswerTakes) {
    frmOptions->chkAutoUpdate.Value = 0;
    headless::whileBoxIsUp = [&](const headless::ShownBox&) {
        if (headless::boxes.size() < 3) upgradeQuillory(link);
    };
    upgradeQuillory(link);
    EXPECT_THAT(titles(), testing::ElementsAre(L"Proceed with Update?"));
    EXPECT_TRUE(gAPI->apiDownloadingUpdate);
}

TEST_F(Update, ARefusalEndsTheProgram) {
    frmOptions->chkAutoUpdate.Value = 0;
    headless::answers = {7};
    EXPECT_TRUE(ends([&] { upgradeQuillory(link); }));
    EXPECT_EQ(titles().size(), 1u);
    EXPECT_THAT(headless::state.started, IsEmpty());
}

TEST_F(Update, ARetryAsksAndTellsNothingAgain) {
    frmOptions->chkAutoUpdate.Value = 0;
    gAPI->apiForced = true;
    site().replies.insert(site().replies.begin(), {"113.zip HTTP", {{Service::fileAnswer("corrupt")}, true, 2}});
    EXPECT_TRUE(ends([&] { upgradeQuillory(link); }));
    EXPECT_THAT(titles(), testing::ElementsAre(L"Proceed with Update?", L"Auto-Update Starting",
                                               L"Update Downloaded Successfully"));
    EXPECT_EQ(site().count(".zip HTTP"), 3u);
    EXPECT_EQ(platform::readWholeFile(tempFolder + L"Quillory-1.0.113.zip"), archive);
    EXPECT_EQ(headless::state.started.size(), 1u);
}

TEST_F(Update, NoRotationStartsMeanwhile) {
    site().replies = {{"GET /quillory", {{"HTTP/1.0 200 OK\r\nContent-Length: 99\r\n\r\nPK"}, false}}};
    upgradeQuillory(link);
    ASSERT_TRUE(testDesktop::pumpUntil([] { return gAPI->apiDownloadedBytes == 2; }));
    EXPECT_FALSE(frmMain->Enabled);
    for (const bool forced : {false, true}) {
        gAPI->apiForced = forced;
        gAPI->RotateWallpaper();
        gAPI->DownloadAndChangeWallpaper(4711, L"late.jpg"); // an answer that was under way
    }
    person::settle();
    EXPECT_EQ(site().count("vh.wallpapers"), 0u);
    EXPECT_EQ(site().count("/dl/inline"), 0u);
    EXPECT_EQ(gAPI->apiDownloadedBytes, 2) << "the update goes on";
}

TEST_F(Update, OnlyAPlainArchiveFromTheTwoPlacesIsAccepted) {
    const std::wstring wrong[] = {
        L"http://dl.velvetharbor.example/quillory/x.ZIP",
        L"http://dl.velvetharbor.example/quillory/x.exe",
        L"http://evil.example/quillory/x.zip",
        L"HTTP://dl.velvetharbor.example/quillory/x.zip",
        L"https://dl.velvetharbor.example/quillory/x.zip",
        L"",
        L"http://dl.velvetharbor.example/quillory/..\\x.zip",
        L"http://dl.velvetharbor.example/quillory/C:x.zip",
        L"http://dl.velvetharbor.example/quillory/a+b.zip",
        L"http://dl.velvetharbor.example/quillory/a%20b.zip",
        L"http://dl.velvetharbor.example/quillory/a b.zip",
        L"http://dl.velvetharbor.example/quillory/a(1).zip",
        L"http://dl.velvetharbor.example/quillory/\u0161.zip",
        L"http://dl.velvetharbor.example/quillory/.zip/",
        L"http://dl.velvetharbor.example/quillory/a\\b.zip",
    };
    for (const std::wstring& bad : wrong) {
        headless::boxes.clear();
        headless::answers = {1, 7}; // the exit's question is declined
        upgradeQuillory(bad);
        EXPECT_THAT(titles(), testing::ElementsAre(L"Critical Update Error", L"Confirm Exit"));
        EXPECT_FALSE(gAPI->apiDownloadingUpdate) << "and the program runs on";
    }
    EXPECT_TRUE(ends([&] { upgradeQuillory(L"http://velvetharbor.example/quillory/dl/Quillory-1.0.113.zip"); }));
    headless::answers = {1, 6}; // and confirmed
    EXPECT_TRUE(ends([&] { upgradeQuillory(wrong[0]); }));
}

TEST_F(Update, ACorruptArchiveIsFetchedThreeTimes) {
    site().onFile("Quillory-1.0.113.zip.md5 ", std::string(32, '0'));
    person::once([] { return frmSlideMessage.isLoaded(); }, [] { headless::advance(3000); });
    EXPECT_TRUE(ends([&] { upgradeQuillory(link); }));
    EXPECT_EQ(site().count(".zip HTTP"), 3u);
    EXPECT_EQ(site().count(".md5 HTTP"), 1u) << "the first checksum counts";
    EXPECT_THAT(titles(), IsEmpty());
    EXPECT_THAT(headless::state.started, IsEmpty());
    EXPECT_FALSE(frmSlideMessage.isLoaded()) << "the end waits for the notice";
}

TEST_F(Update, AChecksumOfOtherCaseIsAMismatchAndLineFeedsAreNot) {
    std::string upper = hashOf(archive);
    for (char& c : upper) c = static_cast<char>(std::toupper(c));
    site().onFile("Quillory-1.0.113.zip.md5 ", upper);
    upgradeQuillory(link);
    EXPECT_TRUE(testDesktop::pumpUntil([] { return gAPI->apiDownloadingUpdateErr == 1; }));
    gAPI->VHDownload.Cancel();
    gAPI->apiDownloadingUpdateMD5 = false;

    std::string folded = hashOf(archive);
    folded.insert(16, "\n");
    site().onFile("Quillory-1.0.113.zip.md5 ", folded + "\r\n");
    EXPECT_TRUE(ends([&] { upgradeQuillory(link); }));
}

TEST_F(Update, AMissingUpdaterEndsWithAWord) {
    platform::deleteFile(updater);
    EXPECT_TRUE(ends([&] { upgradeQuillory(link); }));
    EXPECT_THAT(titles(), testing::ElementsAre(L"Critical Update Error"));
    EXPECT_THAT(headless::state.started, IsEmpty());
}

TEST_F(Update, AnAbortAndAnOutageLeaveTheSchedulerStanding) {
    site().replies = {{"GET /quillory", {{"HTTP/1.0 200 OK\r\nContent-Length: 99\r\n\r\nPK"}, false}}};
    upgradeQuillory(link);
    ASSERT_TRUE(testDesktop::pumpUntil([] { return gAPI->apiDownloadedBytes == 2; }));
    EXPECT_EQ(frmDownloading->lblHeaderTitle.Caption(), L"Quillory - Downloading Update...");
    frmDownloading->imgAbort_Click();
    EXPECT_FALSE(gAPI->apiDownloadingUpdate);
    EXPECT_FALSE(frmMain->tmrMain.Enabled);
    EXPECT_TRUE(frmMain->Enabled);

    site().replies = {{".md5 HTTP", {}}, {"GET /quillory", {{Service::fileAnswer(archive)}, true}}};
    upgradeQuillory(link);
    ASSERT_TRUE(testDesktop::pumpUntil([] { return gAPI->apiDownloadingUpdateMD5; })) << "it is being verified";
    frmDownloading->imgAbort_Click();
    EXPECT_FALSE(gAPI->apiDownloadingUpdate || gAPI->apiDownloadingUpdateMD5);
    gAPI->RotateWallpaper();
    EXPECT_TRUE(testDesktop::pumpUntil([] { return setting(L"ActiveWallpaper") == L"4711"; }));

    site().replies = {{"GET /quillory", {{"HTTP/1.0 200 OK\r\nContent-Length: 99\r\n\r\nPK"}, false}}};
    upgradeQuillory(link);
    ASSERT_TRUE(testDesktop::pumpUntil([] { return gAPI->apiDownloadedBytes == 2; }));
    std::wstring description;
    gAPI->VHDownload.on.Error(10053, description);
    EXPECT_TRUE(gAPI->apiDownloadingUpdate) << "so that no rotation starts any more";
    EXPECT_TRUE(frmMain->Enabled);
    EXPECT_FALSE(frmDownloading.isLoaded());
}

TEST_F(Update, AnyOtherFailureOfTheTransferEndsTheProgram) {
    site().replies = {{"GET /quillory", {{"HTTP/1.0 200 OK\r\nContent-Length: 99\r\n\r\nPK"}, false}}};
    upgradeQuillory(link);
    ASSERT_TRUE(testDesktop::pumpUntil([] { return gAPI->apiDownloadedBytes == 2; }));
    std::wstring description = L"Connection reset by peer.";
    EXPECT_THROW(gAPI->VHDownload.on.Error(10054, description), headless::ProcessEnded);
    EXPECT_THAT(titles(), testing::ElementsAre(L"Update Error"));
    EXPECT_EQ(headless::boxes[0].text.substr(0, 75),
              L"An error occurred downloading the new Quillory update: Quillory-1.0.113.zip");
}

TEST_F(Update, WithoutASizeOrAChecksumItStandsStillForGood) {
    const std::pair<std::string, std::string> broken[] = {
        {"113.zip.md5 HTTP", "HTTP/1.0 200 OK\r\n\r\n"},
        {"113.zip HTTP", "HTTP/1.0 200 OK\r\n\r\n" + archive},
    };
    for (const auto& [request, answer] : broken) {
        gAPI->apiForced = false;
        gAPI->apiDownloadingUpdateMD5 = false;
        site().replies.insert(site().replies.begin(), {request, {{answer}, true}});
        upgradeQuillory(link);
        ASSERT_TRUE(testDesktop::pumpUntil([&] { return site().count(request) > 0 && gAPI->VHDownload.IsIdle(); }));
        EXPECT_TRUE(gAPI->apiDownloadingUpdate) << request;
        EXPECT_THAT(titles(), IsEmpty()) << request;
        EXPECT_EQ(site().count("vh.wallpapers"), 0u) << request;
        site().requests.clear();
    }
}

} // namespace
