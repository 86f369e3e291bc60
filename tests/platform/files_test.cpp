#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "platform/Files.h"
#include "platform/RunTimeError.h"
#include "support/RaisedNumber.h"
#include "support/TestDesktop.h"

using namespace platform;

namespace {

class FilesTest : public testing::Test {
protected:
    const std::wstring folder = testDesktop::scratchFolder();
    const std::wstring file = folder + L"\\File.Bin";
};

TEST_F(FilesTest, AFileGrowsWhereItIsWrittenAndKeepsItsContentWhenOpenedAgain) {
    const std::string bytes("\0\xff\r\n\x1a", 5); // none has a meaning
    const std::int16_t first = openBinary(file);
    EXPECT_EQ(fileLength(first), 0);
    writeFile(first, 1, "hello ");
    writeFile(first, fileLength(first) + 1, bytes);
    EXPECT_EQ(fileLength(first), 11);
    EXPECT_EQ(readWholeFile(file), "hello " + bytes) << "others may read an open file";
    EXPECT_EQ(numberRaisedBy([&] { deleteFile(file); }), errors::permissionDenied) << "but not delete it";
    EXPECT_EQ(numberRaisedBy([&] { openBinary(file); }), errors::permissionDenied) << "nor write to it";
    closeFile(first);
    closeFile(first);
    EXPECT_EQ(numberRaisedBy([&] { fileLength(first); }), errors::badFileNumber);
    EXPECT_EQ(numberRaisedBy([&] { writeFile(first, 1, "x"); }), errors::badFileNumber);
    EXPECT_EQ(numberRaisedBy([&] { fileLength(-1); }), errors::badFileNumber);

    const std::int16_t again = openBinary(file);
    writeFile(again, 1, "J");
    writeFile(again, 14, "x"); // behind a gap
    closeFile(again);
    EXPECT_EQ(readWholeFile(file), "Jello " + bytes + std::string("\0\0x", 3));
}

TEST_F(FilesTest, FileNumbersAreTheLowestFreeOnesAndComeToAnEnd) {
    for (std::int16_t number = 1; number <= 511; ++number)
        ASSERT_EQ(openBinary(folder + L"\\f" + std::to_wstring(number)), number);
    EXPECT_EQ(numberRaisedBy([&] { openBinary(file); }), errors::tooManyFiles);
    EXPECT_FALSE(fileAttributes(file)) << "a file without a number is not made";
    closeFile(200);
    EXPECT_EQ(openBinary(file), 200);
    for (std::int16_t number = 1; number <= 511; ++number) closeFile(number);
}

TEST_F(FilesTest, EveryFailureHasItsNumber) {
    const std::wstring missing = folder + L"\\missing";
    const std::wstring nowhere = missing + L"\\file";
    const std::tuple<const char*, std::function<void()>, std::int32_t> cases[] = {
        {"delete a missing file", [&] { deleteFile(missing); }, errors::fileNotFound},
        {"delete in a missing folder", [&] { deleteFile(nowhere); }, errors::pathNotFound},
        {"delete a folder as a file", [&] { deleteFile(folder); }, errors::pathFileAccess},
        {"read a missing file", [&] { readWholeFile(missing); }, errors::fileNotFound},
        {"read in a missing folder", [&] { readWholeFile(nowhere); }, errors::pathNotFound},
        {"read a folder", [&] { readWholeFile(folder); }, errors::pathFileAccess},
        {"open in a missing folder", [&] { openBinary(nowhere); }, errors::pathNotFound},
        {"open a folder", [&] { openBinary(folder); }, errors::pathFileAccess},
        {"open a name that none can have", [&] { openBinary(folder + L"\\a*b"); }, errors::pathFileAccess},
        {"make a folder that is there", [&] { makeDirectory(folder); }, errors::pathFileAccess},
        {"make two levels at once", [&] { makeDirectory(nowhere); }, errors::pathNotFound},
        {"attributes of a missing file", [&] { setFileAttributes(missing, 0); }, errors::fileNotFound},
    };
    for (const auto& [call, action, number] : cases) EXPECT_EQ(numberRaisedBy(action), number) << call;
}

TEST_F(FilesTest, AttributesAndNamesAreThoseThatAreStored) {
    EXPECT_EQ(fileAttributes(folder), attributes::directory);
    for (const std::wstring& none : {file, file + L"\\below", std::wstring()}) {
        EXPECT_EQ(fileAttributes(none), std::nullopt);
        EXPECT_EQ(findFile(none, attributes::directory), L"");
    }
    testDesktop::putFile(file, "x");
    makeDirectory(folder + L"\\Sub");
    EXPECT_EQ(findFile(folder + L"\\fILE.bIN", 0), L"File.Bin");
    EXPECT_EQ(findFile(folder + L"\\sub", 0), L"") << "a folder is no plain file";
    EXPECT_EQ(findFile(folder + L"\\sub", attributes::directory), L"Sub");
    EXPECT_EQ(findFile(folder + L"\\*", attributes::directory), L"") << "a pattern names nothing";

    setFileAttributes(file, attributes::readOnly | attributes::archive);
    EXPECT_EQ(fileAttributes(file), attributes::readOnly | attributes::archive);
    EXPECT_EQ(numberRaisedBy([&] { deleteFile(file); }), errors::permissionDenied);
    EXPECT_EQ(readWholeFile(file), "x");
    setFileAttributes(file, 0);
    deleteFile(file);
}

} // namespace
