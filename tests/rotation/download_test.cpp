#include "platform/Desktop.h"
#include "program/ProgramTest.h"

namespace {

class Rotation : public ProgramTest {
protected:
    static inline const Service::Reply halfAnImage{{"HTTP/1.0 200 OK\r\nContent-Length: 8\r\n\r\n", "ab", "cd"}, false};

    void SetUp() override {
        ProgramTest::SetUp();
        logIn();
        saveAccountSetting(L"MinimizeHelp", L"1");
    }
    static bool isOver() { return frmMain->Enabled && !frmDownloading.isLoaded(); }
    /// Lets the action fetch an image, and whatever comes of it.
    bool fetches(const std::function<void()>& action) {
        const std::size_t before = site().count("/dl/inline/");
        action();
        return testDesktop::pumpUntil([&] { return site().count("/dl/inline/") > before && isOver(); });
    }
    bool rotate(bool forced) {
        gAPI->apiForced = forced;
        return fetches([] { gAPI->RotateWallpaper(); });
    }
    bool hangsHalfWay(bool forced) {
        site().replies = {{"GET /dl/inline", halfAnImage}};
        gAPI->apiForced = forced;
        gAPI->RotateWallpaper();
        return testDesktop::pumpUntil([] { return frmDownloading.isLoaded() && gAPI->apiDownloadedBytes == 4; });
    }
    static std::wstring image() { return tempFolder + L"vh_wall_active"; }
    static std::wstring bitmap() { return tempFolder + L"Quillory.bmp"; }
};

TEST_F(Rotation, GoesFromTheTriggerToTheDesktop) {
    testDesktop::putFile(image(), std::string(999, 'x')); // a larger one of before
    const auto size = platform::screenSize();
    const std::function<void()> triggers[] = {[] { gAPI->RotateWallpaper(); }, [] { Input::press(frmMain->picSave); },
                                              [] { frmPopupMenu->mnuForce_Click(); }};
    for (const auto& trigger : triggers) {
        site().requests.clear();
        ASSERT_TRUE(fetches(trigger));
        ASSERT_EQ(site().requests.size(), 2u);
        EXPECT_EQ(site().lastRequest(),
                  "GET /dl/inline/4711/" + std::to_string(size.width) + "x" + std::to_string(size.height) +
                      "/Quiet-Bay.jpg HTTP/1.0\r\n"
                      "Accept: image/gif, image/x-xbitmap, image/jpeg, image/pjpeg, application/vnd.ms-powerpoint, "
                      "application/vnd.ms-excel, application/msword, application/x-shockwave-flash, */*\r\n"
                      "Referer: images.velvetharbor.example\r\n"
                      "User-Agent: Mozilla/4.0 (compatible; MSIE 5.5; Windows 98; Win 9x 4.90)\r\n"
                      "Host: images.velvetharbor.example\r\n\r\n");
        EXPECT_EQ(testDesktop::wallpaper(), bitmap());
        EXPECT_EQ(platform::readWholeFile(image()), samplePicture());
        EXPECT_EQ(platform::readWholeFile(bitmap()).substr(54), samplePicture().substr(54)) << "the same pixels";
        EXPECT_EQ(frmMain->picBuff.Picture(), Picture()) << "which nothing holds any more";
        EXPECT_EQ(setting(L"ActiveWallpaper"), L"4711");
        EXPECT_EQ(setting(L"ActiveWallpaperLink"), L"http://velvetharbor.example/w/4711");
        EXPECT_EQ(gAPI->apiActiveWallpaper, 4711);
        EXPECT_EQ(gAPI->apiActiveWallpaperLink, L"http://velvetharbor.example/w/4711");
        EXPECT_FALSE(gAPI->apiForced);
    }
}

TEST_F(Rotation, OnlyAForcedOneIsSeen) {
    for (const bool forced : {false, true}) {
        ASSERT_TRUE(hangsHalfWay(forced));
        EXPECT_FALSE(frmMain->Enabled || gTimers->Active_SockTimeout);
        EXPECT_EQ(frmDownloading->Visible, forced);
        EXPECT_EQ(frmDownloading->owner(), forced ? &*frmMain : nullptr);
        EXPECT_EQ(frmDownloading->lblHeaderTitle.Caption(), L"Quillory - Downloading...");
        EXPECT_EQ(frmDownloading->lblProgressPercent.Caption(), forced ? L"50%" : L"0%");
        EXPECT_EQ(frmDownloading->picProgressBar.Width, forced ? 208 : 1);
        frmDownloading->imgAbort_Click();
        EXPECT_TRUE(isOver() && gAPI->VHDownload.IsIdle());
        EXPECT_FALSE(fileExists(image())) << "no partial file stays";
        EXPECT_EQ(gAPI->apiForced, forced) << "the abort leaves it";
    }
    EXPECT_EQ(setting(L"ActiveWallpaper"), L"(none)");

    // The second of two ends the first, and begins from nothing.
    ASSERT_TRUE(hangsHalfWay(true));
    gAPI->DownloadAndChangeWallpaper(7, L"b.jpg");
    EXPECT_EQ(frmDownloading->lblProgressPercent.Caption(), L"0%");
    EXPECT_EQ(frmDownloading->picProgressBar.Width, 1);
    ASSERT_TRUE(testDesktop::pumpUntil([] { return gAPI->apiDownloadedBytes == 4; }));
    site().replies.clear();
    ASSERT_TRUE(rotate(true));
    EXPECT_EQ(platform::readWholeFile(image()), samplePicture());
}

TEST_F(Rotation, AnImageThatCannotBeUsedMakesItAskForAnother) {
    const std::pair<const char*, Service::Reply> bad[] = {
        {"cut off", {{Service::fileAnswer(samplePicture().substr(0, 60))}, true}},
        {"an error page", {{"HTTP/1.0 404 Not Found\r\nContent-Length: 4\r\n\r\nNo!\n"}, true}},
    };
    for (const auto& [name, reply] : bad) {
        site().requests.clear();
        site().replies = {{"/dl/inline/666/", reply},
                          {"method=vh.wallpapers", {{Service::apiAnswer(Service::wallpapers(666))}, false, 1}}};
        ASSERT_TRUE(rotate(true)) << name;
        EXPECT_EQ(site().count("/dl/inline/666/"), 1u) << name;
        EXPECT_EQ(setting(L"ActiveWallpaper"), L"4711") << name;
        EXPECT_EQ(takeNotice(), L"") << "without a word";
    }
}

/// The window must not wait for a rotation that never comes.
TEST_F(Rotation, AnImageGivenUpWithoutAnotherEndsTheRotation) {
    const Service::Reply none{{Service::apiAnswer(Service::noWallpapers)}};
    const Service::Reply refusal{
        {Service::apiAnswer("<error>\n<number>901</number><description>no</description>\n</error>\n")}};
    const std::string noSize = "HTTP/1.0 200 OK\r\n\r\nGIF";
    const std::string noPicture = Service::fileAnswer("no picture");
    // With title and percentage of the progress window, until it is known.
    const std::tuple<bool, std::string, Service::Reply, const wchar_t*, const wchar_t*> cases[] = {
        {true, noSize, {}, L"Quillory - Connecting to Velvet Harbor...", L"0%"},
        {false, noSize, {}, L"Quillory - Initializing...", L"0%"},
        {true, noPicture, {}, L"Quillory - Downloading...", L"100%"},
        {true, noPicture, none, nullptr, nullptr},
        {true, noPicture, refusal, nullptr, nullptr},
    };
    for (const auto& [forced, file, next, title, percent] : cases) {
        site().replies = {{"/dl/inline/", {{file}, true}},
                          {"method=vh.wallpapers", {{Service::apiAnswer(Service::wallpapers(666))}, false, 1}},
                          {"method=vh.wallpapers", next}};
        site().requests.clear();
        gAPI->apiNetworkOutage = false;
        gAPI->apiForced = forced;
        gAPI->RotateWallpaper();
        ASSERT_TRUE(testDesktop::pumpUntil([&] { return site().count("method=vh.wallpapers") == 2; }));
        if (title) { // the watchdog barks
            EXPECT_EQ(frmDownloading->lblHeaderTitle.Caption(), title);
            EXPECT_EQ(frmDownloading->lblProgressPercent.Caption(), percent);
            EXPECT_FALSE(frmMain->Enabled);
            gTimers->TimerFunc_SockTimeout();
        }
        EXPECT_TRUE(testDesktop::pumpUntil(isOver));
        EXPECT_EQ(gAPI->apiNetworkOutage, title != nullptr);
    }
}

TEST_F(Rotation, AFailedDownloadIsToldOnlyToWhoAsked) {
    const std::tuple<bool, std::int16_t, bool, std::wstring> cases[] = {
        {false, 10054, false, L""},
        {true, 10054, false, L"Network Error 10054!\r\nConnection reset by peer."},
        {false, 10053, true, L"Could not connect to VelvetHarbor\r\n"},
        {true, 11004, true, L"Could not connect to VelvetHarbor\r\n"}};
    for (const auto& [forced, number, outage, text] : cases) {
        gAPI->apiNetworkOutage = false;
        ASSERT_TRUE(hangsHalfWay(forced));
        std::wstring description = L"Connection reset by peer.";
        gAPI->VHDownload.on.Error(number, description);
        EXPECT_TRUE(isOver() && gAPI->VHDownload.IsIdle() && !gAPI->apiForced);
        EXPECT_EQ(gAPI->apiNetworkOutage, outage);
        const std::wstring told = takeNotice();
        EXPECT_EQ(told.empty(), text.empty());
        EXPECT_THAT(told, StartsWith(text.empty() ? L"" : L"Quillory - Connection Issue | " + text));
        EXPECT_EQ(setting(L"ActiveWallpaper"), L"(none)");
    }
}

} // namespace
