#include <gtest/gtest.h>

#include "platform/Desktop.h"
#include "platform/Files.h"
#include "platform/Process.h"
#include "platform/Shell.h"
#include "support/TestDesktop.h"

using namespace platform;

TEST(Desktop, AWallpaperIsSet) {
    const std::wstring path = testDesktop::scratchFolder() + L"\\\x6D77\x306E\x58C1.bmp"; // in no ANSI code page
    using namespace std::string_literals;
    testDesktop::putFile(path, "BM\x3A\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0\1\0\0\0\1\0\0\0\1\0\x18\0"s +
                                   std::string(24, '\0') + "\x0A\x14\x1E\0"s); // one pixel
    EXPECT_TRUE(setWallpaper(path, 3));
    EXPECT_EQ(testDesktop::wallpaper(), path);
}

TEST(Shell, TheDataFolderAndTheProgramFolderAreThere) {
    for (const std::wstring& folder : {applicationDataFolder(0), programFolder()}) {
        EXPECT_FALSE(folder.ends_with(L'\\'));
        EXPECT_EQ(fileAttributes(folder).value_or(0) & attributes::directory, attributes::directory);
    }
}
