#include "platform/Files.h"
#include "platform/headless/State.h"
#include "program/ProgramTest.h"

namespace {

/// Each call of the file system in turn fails once: the rotation ends, and the next one works.
TEST_F(ProgramTest, NoFailureOfAFileCallStrandsARotation) {
    constexpr std::int32_t diskFull = 61;
    logIn();
    const auto rotates = [] {
        saveAccountSetting(L"ActiveWallpaper", L"0");
        gAPI->RotateWallpaper();
        const bool started =
            testDesktop::pumpUntil([] { return frmDownloading.isLoaded() || frmSlideMessage.isLoaded(); });
        return started && testDesktop::pumpUntil([] { return frmMain->Enabled() && !frmDownloading.isLoaded(); });
    };
    for (std::size_t n = 1;; ++n) {
        SCOPED_TRACE(n);
        ASSERT_LT(n, 60u);
        frmSlideMessage.discard();
        headless::failNthFileCall(n, diskFull);
        EXPECT_TRUE(rotates());
        const bool failed = headless::nthFileCallFailed();
        headless::failNthFileCall(0, 0);
        frmSlideMessage.discard();
        EXPECT_TRUE(rotates());
        EXPECT_EQ(setting(L"ActiveWallpaper"), L"4711");
        EXPECT_EQ(platform::openBinary(tempFolder + L"probe"), 1) << "no file stays open";
        platform::closeFile(1);
        if (failed) continue;
        EXPECT_GT(n, 5u) << "a rotation hardly uses files";
        break;
    }
    std::filesystem::remove_all(headless::mapFolder(tempFolder));
    EXPECT_TRUE(rotates());
    EXPECT_EQ(setting(L"ActiveWallpaper"), L"4711") << "in a folder made anew";
}

} // namespace
