#include "platform/headless/Kill.h"
#include "platform/headless/Loop.h"
#include "platform/headless/State.h"
#include "program/ProgramTest.h"

// The disk may fail, and the process may end, at any moment: by a crash, a power cut, the person's own hand.

namespace {

using testing::AnyOf;

class Kill : public ProgramTest {
protected:
    static std::string bitmap() { return platform::readWholeFile(tempFolder + L"Quillory.bmp"); }
    static std::string newPicture() { return samplePicture().substr(54); }

    /// Has the wallpaper changed; false if that does not come to its end.
    static bool rotates() {
        frmSlideMessage.discard();
        gAPI->RotateWallpaper();
        return testDesktop::pumpUntil([] { return frmDownloading.isLoaded() || frmSlideMessage.isLoaded(); }) &&
               testDesktop::pumpUntil([] { return frmMain->Enabled && !frmDownloading.isLoaded(); });
    }

    void nextProcess() {
        ProgramTest::TearDown();
        headless::nextProcess();
        bringUp();
    }
    void bringUp() {
        ProgramTest::SetUp();
        site().offerUpdate();
        logIn();
    }

    /// Kills the action at its first, second, third... call, until it comes to its end alive. After each the state is
    /// checked, and the next process has to start, to log in, and to change the wallpaper.
    void killEverywhere(const std::function<void()>& action, const std::function<void()>& check) {
        bool killed = true;
        for (std::size_t n = 1; killed; ++n) {
            SCOPED_TRACE("call " + std::to_string(n));
            ASSERT_LT(n, 100u);
            ProgramTest::TearDown();
            testDesktop::reset();
            platform::makeDirectory(headless::state.programFolder + L"\\Updater");
            bringUp();
            ASSERT_TRUE(rotates());
            testDesktop::putFile(tempFolder + L"Quillory.bmp", "the old picture");
            testDesktop::putFile(headless::state.programFolder + L"\\Updater\\update.exe", "MZ");
            saveAccountSetting(L"ActiveWallpaper", L"1");
            saveAccountSetting(L"ActiveWallpaperLink", L"");

            headless::killAtCall(n);
            try {
                action();
            } catch (const headless::ProcessEnded&) {
            }
            killed = headless::wasKilled();
            EXPECT_TRUE(killed || n > 1);
            headless::killAtCall(0);
            check();
            nextProcess();
            EXPECT_TRUE(rotates());
            EXPECT_EQ(bitmap().substr(54), newPicture());
            EXPECT_EQ(setting(L"ActiveWallpaper"), L"4711");
        }
    }
};

TEST_F(Kill, InARotationLeavesTheOldPictureOrTheNew) {
    const std::wstring page = L"http://velvetharbor.example/w/4711";
    killEverywhere([] { EXPECT_TRUE(rotates()); },
                   [&] {
                       if (bitmap() != "the old picture") {
                           EXPECT_EQ(bitmap().substr(54), newPicture());
                       }
                       EXPECT_THAT(setting(L"ActiveWallpaper") + setting(L"ActiveWallpaperLink"),
                                   AnyOf(L"1", L"1" + page, L"4711" + page))
                           << "a sequence moves on last";
                   });
}

TEST_F(Kill, InASaveOrALoginLeavesEverySettingAsBeforeOrAfter) {
    killEverywhere(
        [] {
            frmOptions->txtFrequency.Text = L"7";
            frmOptions->cboFrequencyType.Text = L"Days";
            frmOptions->picSave_Click();
            gAPI->APICloseSock();
            forgetLogin();
            frmLogin->txtUserName.Text = L"alice";
            frmLogin->txtPassword.Text = L"x";
            frmLogin->cmdLogin_Click();
            testDesktop::pumpUntil([] { return getLoginSetting(L"SavedPassword").starts_with(L"9dd4"); });
        },
        [] {
            EXPECT_THAT(setting(L"FrequencyType") + setting(L"Frequency"),
                        AnyOf(L"(none)(none)", L"Days(none)", L"Days7"));
            const std::wstring hash = getLoginSetting(L"SavedPassword").substr(0, 4);
            EXPECT_THAT(getLoginSetting(L"SavedUsername") + hash,
                        AnyOf(L"Alice3ab8", L"3ab8", L"", L"Alice", L"Alice9dd4"));
        });
}

TEST_F(Kill, InAnUpdateLeavesOneThatCanBeMade) {
    const auto update = [] {
        upgradeQuillory(Service::updateLink);
        testDesktop::pumpUntil([] { return false; }); // it ends the process
    };
    killEverywhere(update, [&] {
        EXPECT_EQ(bitmap(), "the old picture");
        nextProcess();
        headless::state.started.clear();
        EXPECT_THROW(update(), headless::ProcessEnded);
        EXPECT_EQ(headless::state.started.size(), 1u);
        EXPECT_EQ(platform::readWholeFile(tempFolder + L"Quillory-1.0.113.zip"), Service::updateArchive);
    });
}

/// Each call of the file system in turn fails once: the rotation ends, and the next one works.
TEST_F(Kill, NoFailureOfAFileCallStrandsARotation) {
    constexpr std::int32_t diskFull = 61;
    logIn();
    bool failed = true;
    for (std::size_t n = 1; failed; ++n) {
        SCOPED_TRACE(n);
        ASSERT_LT(n, 60u);
        headless::failNthFileCall(n, diskFull);
        EXPECT_TRUE(rotates());
        failed = headless::nthFileCallFailed();
        EXPECT_TRUE(failed || n > 5) << "a rotation hardly uses files";
        headless::failNthFileCall(0, 0);
        saveAccountSetting(L"ActiveWallpaper", L"0");
        EXPECT_TRUE(rotates());
        EXPECT_EQ(setting(L"ActiveWallpaper"), L"4711");
        EXPECT_EQ(platform::openBinary(tempFolder + L"probe"), 1) << "no file stays open";
        platform::closeFile(1);
    }
    std::filesystem::remove_all(headless::mapFolder(tempFolder));
    saveAccountSetting(L"ActiveWallpaper", L"0");
    EXPECT_TRUE(rotates());
    EXPECT_EQ(setting(L"ActiveWallpaper"), L"4711") << "in a folder made anew";
}

} // namespace
