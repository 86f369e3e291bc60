#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Archive.h"
#include "Inflate.h"
#include "Zip.h"
#include "core/FileNames.h"

// What the updater takes for an archive, and what it does not touch.

namespace updater {

bool operator==(const ArchiveFile& a, const ArchiveFile& b) { return a.path == b.path && a.contents == b.contents; }
void PrintTo(const ArchiveFile& file, std::ostream* out) {
    *out << file.path << ": " << file.contents.size() << " bytes";
}

} // namespace updater

namespace {

using testing::ElementsAre;
using updater::ArchiveError;
using updater::ArchiveFile;
using updater::crcOf;
using updater::readArchive;

const std::string program = "MZ" + std::string(300, 'q') + "the program";

Zip release() {
    Zip zip;
    zip.add("Quillory.exe", program);
    zip.add("Updater/update.exe", "MZ the updater", false);
    return zip;
}

TEST(Archive, IsReadAsUsualPackersWriteIt) {
    Zip zip = release();
    zip.add("Updater/", "", false).attributes = 0x41ed0010; // a folder of its own, from Unix
    zip.add("EMPTY.TXT", "", false).attributes = 0x81a40000;
    zip.add("Lies mich.txt", "text").attributes = 0x21; // archived and read-only, from DOS
    zip.entries[4].local.extra = "UT\5\0\3abcd";        // a finer time stands in the local header alone
    zip.inBoth(4, [](Zip::Header& header) { header.flags = 0x802; });
    EXPECT_THAT(readArchive(zip.bytes()),
                ElementsAre(ArchiveFile{"Quillory.exe", program}, ArchiveFile{"Updater/update.exe", "MZ the updater"},
                            ArchiveFile{"EMPTY.TXT", ""}, ArchiveFile{"Lies mich.txt", "text"}));
}

TEST(Archive, WithANameThatCouldLandElsewhereIsRefused) {
    // clang-format off
    std::vector<std::string> names{
        "../evil.exe", "Updater/../../evil.exe", "..", "./a", "/evil.exe", "//server/share/evil.exe", "C:/evil.exe",
        "C:evil.exe", "..\\evil.exe", "Updater\\update.exe", "Quillory.exe:stream", "Quillory.exe::$DATA", "CON", "nul",
        "Aux.txt", "prn .txt", "Updater/COM1", "lpt9.dll", "com0.x.y", "nul/a", "a.", "a ", " a", "a./b", "a /b",
        "a//b", "", "/", "QUILLO~1.EXE", "a?", "a*", "a<b", "a|b", "a\"b", "CONIN$", "a\n", "\xc3\xa9",
    };
    // clang-format on
    names.push_back(std::string("a\0.txt", 6));
    names.push_back(std::string(101, 'a'));
    std::string deep = "a";
    while (deep.size() < 65'000) deep += "/a"; // each folder of which would be remembered with its whole path
    names.push_back(deep);
    for (const auto& name : names) {
        Zip zip = release();
        zip.add(name, "evil");
        EXPECT_THROW(readArchive(zip.bytes()), ArchiveError) << name;
    }
}

TEST(Archive, NamesThatOnlyLookLikeDevicesAreNone) {
    for (const auto* name : {"console", "com", "com10", "lpt", "nulls.txt", "aux2", "COMA", "a.con", "READ-me_2.0.txt"})
        EXPECT_TRUE(isPlainName(name)) << name;
}

TEST(Archive, WithTwoFilesForOnePlaceIsRefused) {
    const std::vector<std::vector<std::string>> cases{{"quillory.EXE"},   {"Quillory.exe"}, {"UPDATER"},
                                                      {"Quillory.exe/a"}, {"a/b", "A/B"},   {"a/b/c", "a/b"},
                                                      {"a", "A/b/c"},     {"a/b", "a"},     {"x/", "quillory.exe/"}};
    for (const auto& names : cases) {
        Zip zip = release();
        for (const auto& name : names) zip.add(name, "", false);
        EXPECT_THROW(readArchive(zip.bytes()), ArchiveError) << testing::PrintToString(names);
    }
}

struct Lie {
    const char* what;
    std::function<void(Zip&)> tell;
};

/// A change of both headers of the first entry, which is deflated, or of the second, which is stored.
std::function<void(Zip&)> both(void (*change)(Zip::Header&), std::size_t entry = 0) {
    return [=](Zip& zip) { zip.inBoth(entry, change); };
}

TEST(Archive, ThatIsNotWhatItSaysIsRefused) {
    const std::vector<Lie> lies{
        {"encrypted", both([](Zip::Header& h) { h.flags = 1; })},
        {"sizes behind the data", both([](Zip::Header& h) { h.flags = 8; })},
        {"strong encryption", both([](Zip::Header& h) { h.flags = 0x41; })},
        {"unknown method", both([](Zip::Header& h) { h.method = 12; }, 1)},
        {"64-bit format", both([](Zip::Header& h) { h.version = 45; })},
        {"64-bit sizes", both([](Zip::Header& h) { h.packedSize = h.fullSize = 0xffffffff; })},
        {"beyond the limit", both([](Zip::Header& h) { h.fullSize = 65u << 20; })},
        {"wrong checksum", both([](Zip::Header& h) { ++h.crc; })},
        {"more than it says", both([](Zip::Header& h) { h.crc = crcOf(program.substr(0, --h.fullSize)); })},
        {"less than it says",
         both([](Zip::Header& h) { h.crc = crcOf(program + std::string(1, '\0')), ++h.fullSize; })},
        {"stored, and more than it says", both([](Zip::Header& h) { --h.fullSize; }, 1)},
        {"data cut off", both([](Zip::Header& h) { --h.packedSize; })},
        {"data of the next file", both([](Zip::Header& h) { h.packedSize += 4; })},
        {"other name inside", [](Zip& zip) { zip.entries[0].local.name = "Quillory.eXe"; }},
        {"longer name inside", [](Zip& zip) { zip.entries[0].local.name += "x"; }},
        {"other method inside", [](Zip& zip) { zip.entries[0].local.method = 0; }},
        {"other size inside", [](Zip& zip) { ++zip.entries[0].local.fullSize; }},
        {"other checksum inside", [](Zip& zip) { ++zip.entries[0].local.crc; }},
        {"link", [](Zip& zip) { zip.entries[1].attributes = 0xa1ff0000; }},
        {"device", [](Zip& zip) { zip.entries[1].attributes = 0x61ff0000; }},
        {"Windows link", [](Zip& zip) { zip.entries[1].attributes = 0x400; }},
        {"volume label", [](Zip& zip) { zip.entries[1].attributes = 8; }},
        {"file that is a folder", [](Zip& zip) { zip.entries[1].attributes = 0x10; }},
        {"folder that is a file", [](Zip& zip) { zip.add("a/", "", false).attributes = 0x81a40000; }},
        {"folder with contents", [](Zip& zip) { zip.add("a/", "contents"); }},
        {"one file twice", [](Zip& zip) { zip.entries[1].position = 0; }},
        {"file beyond the end", [](Zip& zip) { zip.entries[1].position = 0x7fffffff; }},
        {"file within a file", [](Zip& zip) { zip.entries[1].position = 60; }},
        {"bytes before", [](Zip& zip) { zip.before = "MZ"; }},
        {"bytes before the directory", [](Zip& zip) { zip.gap = "hidden"; }},
        {"bytes behind", [](Zip& zip) { zip.after = "hidden"; }},
        {"bytes behind the directory", [](Zip& zip) { zip.tail = "hidden"; }},
        {"comment", [](Zip& zip) { zip.comment = "an end of its own could hide here"; }},
        {"comment that is not there", [](Zip& zip) { zip.lie.commentSize = 1; }},
        {"several parts", [](Zip& zip) { zip.lie.disk = 1; }},
        {"file in another part", [](Zip& zip) { zip.entries[0].disk = 1; }},
        {"more entries in all", [](Zip& zip) { zip.lie.count = 1; }},
        {"more entries here", [](Zip& zip) { zip.lie.countHere = 1; }},
        {"more entries", [](Zip& zip) { zip.lie.count = zip.lie.countHere = 1; }},
        {"fewer entries", [](Zip& zip) { zip.lie.count = zip.lie.countHere = 0xffff; }},
        {"directory too short", [](Zip& zip) { zip.lie.size = 0xffffffff; }},
        {"directory too long", [](Zip& zip) { zip.lie.size = 1; }},
        {"bytes behind a file",
         [](Zip& zip) {
             zip.entries[0].packed += "hidden";
             zip.inBoth(0, [](Zip::Header& h) { h.packedSize += 6; });
         }},
        {"entry that the directory does not name",
         [](Zip& zip) {
             Zip other;
             other.add("hidden.exe", "MZ");
             zip.gap = other.bytes().substr(0, other.bytes().find("PK\1\2"));
         }},
    };
    for (const auto& lie : lies) {
        Zip zip = release();
        ASSERT_EQ(readArchive(zip.bytes()).size(), 2u);
        lie.tell(zip);
        EXPECT_THROW(readArchive(zip.bytes()), ArchiveError) << lie.what;
    }
}

TEST(Archive, ThatUnpacksToTooMuchInAllIsRefused) {
    const std::string half((updater::largestArchive / 2) + 1, '\0');
    Zip zip;
    zip.add("a", half);
    EXPECT_EQ(readArchive(zip.bytes()).size(), 1u);
    zip.entries.push_back(zip.entries[0]);
    zip.inBoth(1, [](Zip::Header& header) { header.name = "b"; });
    EXPECT_THROW(readArchive(zip.bytes()), ArchiveError);
}

TEST(Archive, ThatIsCutOffAnywhereIsRefused) {
    const std::string whole = release().bytes();
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_THROW(readArchive(std::string_view(whole).substr(0, size)), ArchiveError) << size;
}

TEST(Archive, WithAnyBitChangedIsRefusedOrMeansTheSame) {
    const std::string whole = release().bytes();
    const auto meant = readArchive(whole);
    int refused = 0;
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        std::string changed = whole;
        changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1 << bit % 8));
        try {
            EXPECT_EQ(readArchive(changed), meant) << "bit " << bit;
        } catch (const ArchiveError&) {
            ++refused;
        }
    }
    EXPECT_GT(refused, static_cast<int>(whole.size()) * 8 * 8 / 10);
}

} // namespace
