#include "platform/Desktop.h"
#include "platform/Files.h"
#include "platform/Input.h"
#include "program/ProgramTest.h"

namespace {

using testing::HasSubstr;

class Rotation : public ProgramTest {
protected:
    void SetUp() override {
        ProgramTest::SetUp();
        logIn();
    }
    static bool isOver() { return frmMain->Enabled && !frmDownloading.isLoaded(); }
    bool rotate(bool forced) {
        gAPI->apiForced = forced;
        gAPI->RotateWallpaper();
        return testDesktop::pumpUntil([] { return frmDownloading.isLoaded(); }) && testDesktop::pumpUntil(isOver);
    }
    static std::wstring bitmap() { return tempFolder + L"Quillory.bmp"; }
    static std::string sizeOfScreen() {
        const auto size = platform::screenSize();
        return std::to_string(size.width) + "x" + std::to_string(size.height);
    }
};

TEST_F(Rotation, GoesFromTheTriggerToTheDesktop) {
    for (const bool forced : {false, true}) {
        site().requests.clear();
        ASSERT_TRUE(rotate(forced));
        ASSERT_EQ(site().requests.size(), 2u);
        EXPECT_EQ(site().lastRequest(),
                  "GET /dl/inline/4711/" + sizeOfScreen() +
                      "/Quiet-Bay.jpg HTTP/1.0\r\n"
                      "Accept: image/gif, image/x-xbitmap, image/jpeg, image/pjpeg, application/vnd.ms-powerpoint, "
                      "application/vnd.ms-excel, application/msword, application/x-shockwave-flash, */*\r\n"
                      "Referer: images.velvetharbor.example\r\n"
                      "User-Agent: Mozilla/4.0 (compatible; MSIE 5.5; Windows 98; Win 9x 4.90)\r\n"
                      "Host: images.velvetharbor.example\r\n\r\n");
        EXPECT_EQ(testDesktop::wallpaper(), bitmap());
        EXPECT_EQ(platform::readWholeFile(tempFolder + L"vh_wall_active"), samplePicture());
        EXPECT_EQ(platform::readWholeFile(bitmap()).substr(54), samplePicture().substr(54)) << "the same pixels";
        EXPECT_EQ(setting(L"ActiveWallpaper"), L"4711");
        EXPECT_EQ(setting(L"ActiveWallpaperLink"), L"http://velvetharbor.example/w/4711");
        EXPECT_EQ(gAPI->apiActiveWallpaper, 4711);
        EXPECT_FALSE(gAPI->apiForced);
    }
}

TEST_F(Rotation, OnlyAForcedOneIsSeen) {
    for (const bool forced : {false, true}) {
        site().replies = {{"GET /dl/inline", {{"HTTP/1.0 200 OK\r\nContent-Length: 8\r\n\r\n", "ab", "cd"}, false}}};
        gAPI->apiForced = forced;
        gAPI->RotateWallpaper();
        ASSERT_TRUE(testDesktop::pumpUntil([] { return frmDownloading.isLoaded(); }));
        EXPECT_FALSE(frmMain->Enabled);
        ASSERT_TRUE(testDesktop::pumpUntil([] { return gAPI->apiDownloadedBytes == 4; }));
        EXPECT_EQ(frmDownloading->Visible, forced);
        EXPECT_EQ(frmDownloading->lblHeaderTitle.Caption(), L"Quillory - Downloading...");
        EXPECT_EQ(frmDownloading->lblProgressPercent.Caption(), forced ? L"50%" : L"0%");
        EXPECT_EQ(frmDownloading->picProgressBar.Width, forced ? 208 : 1);
        frmDownloading->imgAbort_Click();
        EXPECT_TRUE(isOver());
        EXPECT_FALSE(fileExists(tempFolder + L"vh_wall_active")) << "no partial file stays";
        EXPECT_EQ(gAPI->apiForced, forced) << "the abort leaves it";
    }
    EXPECT_EQ(setting(L"ActiveWallpaper"), L"(none)");
}

TEST_F(Rotation, AnImageThatCannotBeUsedMakesItAskForAnother) {
    const std::pair<const char*, Service::Reply> bad[] = {
        {"no picture", {{Service::fileAnswer("this is no picture at all")}, true}},
        {"cut off", {{Service::fileAnswer(samplePicture().substr(0, 60))}, true}},
        {"no size", {{"HTTP/1.0 200 OK\r\n\r\n" + samplePicture()}, true}},
        {"an error page", {{"HTTP/1.0 404 Not Found\r\nContent-Length: 4\r\n\r\nNo!\n"}, true}},
    };
    for (const auto& [name, reply] : bad) {
        site().replies = {{"/dl/inline/666/", reply},
                          {"method=vh.wallpapers", {{Service::apiAnswer(Service::wallpapers(666))}, false, 1}}};
        ASSERT_TRUE(rotate(true)) << name;
        EXPECT_EQ(site().count("/dl/inline/666/"), 1u) << name;
        EXPECT_EQ(setting(L"ActiveWallpaper"), L"4711") << name;
        EXPECT_FALSE(frmSlideMessage.isLoaded()) << "without a word";
        site().requests.clear();
    }
}

/// The window must not wait for a rotation that never comes.
TEST_F(Rotation, AnImageGivenUpWithoutAnotherEndsTheRotation) {
    const Service::Reply nothing;
    const Service::Reply none{{Service::apiAnswer(Service::noWallpapers)}};
    const Service::Reply refusal{
        {Service::apiAnswer("<error>\n<number>901</number><description>no</description>\n</error>\n")}};
    for (const auto& [next, watchdogBarks] :
         {std::pair(nothing, true), std::pair(none, false), std::pair(refusal, false)}) {
        site().replies = {{"/dl/inline/", {{Service::fileAnswer("no picture")}, true}},
                          {"method=vh.wallpapers", {{Service::apiAnswer(Service::wallpapers(666))}, false, 1}},
                          {"method=vh.wallpapers", next}};
        site().requests.clear();
        gAPI->apiNetworkOutage = false;
        gAPI->RotateWallpaper();
        ASSERT_TRUE(testDesktop::pumpUntil([&] { return site().count("method=vh.wallpapers") == 2; }));
        if (watchdogBarks) gTimers->TimerFunc_SockTimeout();
        EXPECT_TRUE(testDesktop::pumpUntil(isOver));
        EXPECT_EQ(gAPI->apiNetworkOutage, watchdogBarks);
    }
}

TEST_F(Rotation, AFailedDownloadIsToldOnlyToWhoAsked) {
    struct Case {
        bool forced;
        std::int16_t number;
        bool outage;
        std::wstring notice;
    };
    const std::wstring outageText =
        L"Could not connect to VelvetHarbor\r\n\r\nQuillory will try again in a few minutes.  Wallpaper "
        L"rotation will resume automatically when you reconnect to the internet.";
    const Case cases[] = {{false, 10054, false, L""},
                          {true, 10054, false, L"Network Error 10054!\r\nConnection reset by peer."},
                          {false, 10053, true, outageText},
                          {true, 11004, true, outageText}};
    for (const Case& c : cases) {
        frmSlideMessage.discard();
        gAPI->apiNetworkOutage = false;
        site().replies = {{"GET /dl/inline", {{"HTTP/1.0 200 OK\r\nContent-Length: 8\r\n\r\nab"}, false}}};
        gAPI->apiForced = c.forced;
        gAPI->RotateWallpaper();
        ASSERT_TRUE(testDesktop::pumpUntil([] { return frmDownloading.isLoaded() && gAPI->apiDownloadedBytes == 2; }));
        std::wstring description = c.number == 10054 ? L"Connection reset by peer." : L"";
        gAPI->VHDownload.on.Error(c.number, description);
        EXPECT_TRUE(isOver());
        EXPECT_FALSE(gAPI->apiForced);
        EXPECT_EQ(gAPI->apiNetworkOutage, c.outage);
        EXPECT_EQ(frmSlideMessage.isLoaded() ? frmSlideMessage->lblStatusMsg.Caption() : L"", c.notice) << c.number;
        EXPECT_EQ(setting(L"ActiveWallpaper"), L"(none)");
    }
}

TEST_F(Rotation, TheSecondOfTwoEndsTheFirst) {
    site().replies = {{"GET /dl/inline", {{"HTTP/1.0 200 OK\r\nContent-Length: 8\r\n\r\nab"}, false}}};
    gAPI->RotateWallpaper();
    ASSERT_TRUE(testDesktop::pumpUntil([] { return gAPI->apiDownloadedBytes == 2; }));
    site().replies.clear();
    ASSERT_TRUE(rotate(true));
    EXPECT_EQ(platform::readWholeFile(tempFolder + L"vh_wall_active"), samplePicture());
}

} // namespace
