#include "api/modXML.h"
#include "core/modMD5.h"
#include "platform/Files.h"
#include "platform/headless/Kill.h"
#include "platform/headless/Loop.h"
#include "platform/headless/State.h"
#include "program/ProgramTest.h"

// The process may end at any moment: by a crash, a power cut, the person's own hand.

namespace {

using testing::AnyOf;

class Kill : public ProgramTest {
protected:
    static inline const std::wstring link = L"http://dl.velvetharbor.example/quillory/Quillory-1.0.113.zip";
    static inline const std::string archive = "PK archive of the new release";

    static std::wstring bitmap() { return tempFolder + L"Quillory.bmp"; }

    /// Forces a rotation; false if it does not come to its end.
    static bool rotate() {
        gAPI->apiForced = true;
        gAPI->RotateWallpaper();
        return testDesktop::pumpUntil([] { return frmDownloading.isLoaded(); }) &&
               testDesktop::pumpUntil([] { return frmMain->Enabled && !frmDownloading.isLoaded(); });
    }

    void bringUp() {
        ProgramTest::SetUp();
        const std::wstring checksum = md5String(std::wstring(archive.begin(), archive.end()));
        site().onFile("Quillory-1.0.113.zip.md5 ", std::string(checksum.begin(), checksum.end()) + "\n");
        site().onFile("Quillory-1.0.113.zip ", archive);
        logIn();
    }

    /// Kills the action at its first, second, third... call, until it comes to its end alive. After each the state is
    /// checked, and the next process has to start, to log in, and to change the wallpaper.
    void killEverywhere(const std::function<void()>& action, const std::function<void()>& check) {
        for (std::size_t n = 1;; ++n) {
            SCOPED_TRACE("call " + std::to_string(n));
            ASSERT_LT(n, 100u);
            ProgramTest::TearDown();
            testDesktop::reset();
            platform::makeDirectory(headless::state.programFolder + L"\\Updater");
            bringUp();
            ASSERT_TRUE(rotate());
            testDesktop::putFile(bitmap(), "the old picture");
            testDesktop::putFile(headless::state.programFolder + L"\\Updater\\update.exe", "MZ");
            saveAccountSetting(L"ActiveWallpaper", L"1");

            headless::killAtCall(n);
            try {
                action();
            } catch (const headless::ProcessEnded&) {
            }
            const bool killed = headless::wasKilled();
            headless::killAtCall(0);
            check();
            ProgramTest::TearDown();
            headless::nextProcess();
            bringUp();
            EXPECT_TRUE(rotate());
            EXPECT_EQ(platform::readWholeFile(bitmap()).substr(54), samplePicture().substr(54));
            EXPECT_EQ(setting(L"ActiveWallpaper"), L"4711");
            if (!killed) {
                EXPECT_GT(n, 1u);
                return;
            }
        }
    }
};

TEST_F(Kill, InARotationLeavesTheOldPictureOrTheNew) {
    killEverywhere([] { EXPECT_TRUE(rotate()); },
                   [] {
                       const std::string shown = platform::readWholeFile(bitmap());
                       if (shown != "the old picture") {
                           EXPECT_EQ(shown.substr(54), samplePicture().substr(54));
                       }
                       EXPECT_THAT(setting(L"ActiveWallpaper"), AnyOf(L"1", L"4711"));
                   });
}

TEST_F(Kill, InASaveOrALoginLeavesEverySettingAsBeforeOrAfter) {
    killEverywhere(
        [] {
            frmOptions->txtFrequency.Text = L"7";
            frmOptions->cboFrequencyType.Text = L"Days";
            frmOptions->optRandomize.Value = false;
            frmOptions->optSequential.Value = true;
            frmOptions->picSave_Click();
        },
        [] {
            EXPECT_THAT(setting(L"Frequency"), AnyOf(L"(none)", L"7"));
            EXPECT_THAT(setting(L"FrequencyType"), AnyOf(L"(none)", L"Days"));
            EXPECT_THAT(setting(L"Method"), AnyOf(L"(none)", L"Sequential"));
        });
    killEverywhere(
        [] {
            saveLogin(L"", L"");
            frmLogin->txtUserName.Text = L"alice";
            frmLogin->txtPassword.Text = L"velvet";
            gAPI->APICloseSock();
            frmLogin->cmdLogin_Click();
            testDesktop::pumpUntil([] { return getLoginSetting(L"SavedPassword") != L""; });
        },
        [] {
            EXPECT_THAT(getLoginSetting(L"SavedUsername"), AnyOf(L"", L"Alice"));
            EXPECT_THAT(getLoginSetting(L"SavedPassword"), AnyOf(L"", L"3ab8d589b5e2c77ade96614f29ef4cc6"));
        });
}

TEST_F(Kill, InAnUpdateLeavesOneThatCanBeMade) {
    const auto update = [] {
        upgradeQuillory(link);
        testDesktop::pumpUntil([] { return false; }); // it ends the process
    };
    killEverywhere(update, [&] {
        EXPECT_EQ(platform::readWholeFile(bitmap()), "the old picture");
        ProgramTest::TearDown();
        headless::nextProcess();
        headless::state.started.clear();
        bringUp();
        EXPECT_THROW(update(), headless::ProcessEnded);
        EXPECT_EQ(headless::state.started.size(), 1u);
        EXPECT_EQ(platform::readWholeFile(tempFolder + L"Quillory-1.0.113.zip"), archive);
    });
}

} // namespace
