#include <gtest/gtest.h>

#include "platform/Files.h"
#include "platform/Hash.h"
#include "platform/RunTimeError.h"
#include "platform/headless/State.h"
#include "support/TestDesktop.h"

using namespace platform;

namespace {

std::int32_t raisedByWriting(const std::wstring& path) {
    std::int16_t number = 0;
    try {
        number = openBinary(path);
        writeFile(number, fileLength(number) + 1, "x");
        closeFile(number);
    } catch (const RunTimeError& error) {
        closeFile(number);
        return error.Number;
    }
    return 0;
}

TEST(HeadlessFiles, OnePathCanBeToldToFailInOneCallUntilTheReset) {
    const std::wstring path = testDesktop::scratchFolder() + L"\\file";
    headless::failFile(headless::FileCall::write, path, errors::deviceIOError);
    EXPECT_EQ(raisedByWriting(testDesktop::scratchFolder() + L"\\FILE"), errors::deviceIOError);
    EXPECT_EQ(raisedByWriting(path + L"2"), 0);
    deleteFile(path);
    headless::failFile(headless::FileCall::any, L"", errors::permissionDenied);
    EXPECT_THROW(md5OfFile(path + L"2"), RunTimeError);
    testDesktop::reset();
    EXPECT_EQ(raisedByWriting(path), 0);
}

TEST(HeadlessFiles, HiddenFilesAreFoundOnlyByThoseWhoAllowForThem) {
    const std::wstring path = testDesktop::scratchFolder() + L"\\file";
    testDesktop::putFile(path, "");
    setFileAttributes(path, attributes::hidden | attributes::system);
    EXPECT_EQ(findFile(path, attributes::hidden), L"");
    EXPECT_EQ(findFile(path, attributes::hidden | attributes::system | attributes::directory), L"file");
}

TEST(HeadlessFiles, AReadOnlyFileIsNotOpenedForWriting) { // nor on Windows, but Wine lets the superuser do it
    const std::wstring path = testDesktop::scratchFolder() + L"\\file";
    testDesktop::putFile(path, "");
    setFileAttributes(path, attributes::readOnly);
    EXPECT_EQ(raisedByWriting(path), errors::permissionDenied);
}

TEST(HeadlessFiles, ResetEmptiesTheDiskAndClosesTheFiles) {
    const std::wstring path = testDesktop::scratchFolder() + L"\\file";
    EXPECT_EQ(openBinary(path), 1);
    testDesktop::reset();
    EXPECT_EQ(fileAttributes(path), std::nullopt);
    EXPECT_EQ(openBinary(path), 1);
    EXPECT_EQ(fileAttributes(headless::state.applicationData), attributes::directory);
}

} // namespace
