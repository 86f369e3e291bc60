#include <functional>
#include <optional>

#include <gtest/gtest.h>
#include <zlib.h>

#include "Archive.h"
#include "Inflate.h"

// What the updater takes for an archive, and what it does not touch.

namespace {

std::string deflated(const std::string& contents) {
    uLongf size = compressBound(static_cast<uLong>(contents.size()));
    std::string packed(size, '\0');
    compress2(reinterpret_cast<Bytef*>(packed.data()), &size, reinterpret_cast<const Bytef*>(contents.data()),
              static_cast<uLong>(contents.size()), Z_BEST_COMPRESSION);
    return packed.substr(2, size - 6); // without what goes around it elsewhere
}

std::string little(std::size_t value, int bytes) {
    std::string text;
    for (; bytes > 0; --bytes, value >>= 8) text += static_cast<char>(value & 0xff);
    return text;
}

/// A file that is deflated or stored, or a folder if the name ends with "/". As made, it is right.
struct Entry {
    Entry(const std::string& its, const std::string& contents, bool isDeflated = true)
        : name(its), packed(isDeflated ? deflated(contents) : contents), method(isDeflated ? 8 : 0),
          crc(updater::crcOf(contents)), packedSize(packed.size()), fullSize(contents.size()) {}

    std::string name, packed, localExtra, centralExtra;
    std::size_t version = 20, flags = 0, method, crc, packedSize, fullSize, attributes = 0;
    std::optional<std::size_t> position; ///< of the local header, if not where it is
};

/// An archive with room for bytes where there should be none.
struct Zip {
    std::vector<Entry> entries;
    std::string gap, tail;

    std::string bytes() const {
        std::string all, directory;
        for (const auto& e : entries) {
            const auto position = e.position.value_or(all.size());
            const auto words = little(e.version, 2) + little(e.flags, 2) + little(e.method, 2) + little(0x5b210000, 4) +
                               little(e.crc, 4) + little(e.packedSize, 4) + little(e.fullSize, 4) +
                               little(e.name.size(), 2);
            all += "PK\3\4" + words + little(e.localExtra.size(), 2) + e.name + e.localExtra + e.packed;
            directory += "PK\1\2" + little(20, 2) + words + little(e.centralExtra.size(), 2) + little(0, 6) +
                         little(e.attributes, 4) + little(position, 4) + e.name + e.centralExtra;
        }
        directory += tail;
        const auto count = little(entries.size(), 2);
        const auto place = little(directory.size(), 4) + little(all.size() + gap.size(), 4);
        return all + gap + directory + "PK\5\6" + little(0, 4) + count + count + place + little(0, 2);
    }
};

const std::string program = "MZ" + std::string(300, 'q') + "the program";
const Zip release{{{"Quillory.exe", program}, {"Updater/update.exe", "MZ the updater", false}}, "", ""};

/// The files of an archive as "name=contents;", or what it is refused for.
std::string outcome(const std::string& bytes) {
    std::string all;
    try {
        for (const auto& file : updater::readArchive(bytes)) all += file.path + '=' + file.contents + ';';
        return all;
    } catch (const updater::ArchiveError& error) {
        return error.what();
    }
}

TEST(Archive, IsReadAsUsualPackersWriteIt) {
    Zip zip = release;
    zip.entries.emplace_back("Updater/", "", false).attributes = 0x41ed0010; // a folder of its own, from Unix
    auto& empty = zip.entries.emplace_back("EMPTY.TXT", "", false);
    empty.attributes = 0x81a40000;
    empty.version = 0x0314; // Unix, with a finer time, which is longer in one place
    empty.localExtra = "UT\5\1\3abcde";
    empty.centralExtra = "UT\1\1\3";
    auto& text = zip.entries.emplace_back(std::string(99, 'd') + "/" + std::string(60, 'f'), "text");
    text.attributes = 0x21; // archived and read-only, from DOS
    text.flags = 0x806;
    EXPECT_EQ(outcome(zip.bytes()),
              "Quillory.exe=" + program + ";Updater/update.exe=MZ the updater;EMPTY.TXT=;" + text.name + "=text;");
}

TEST(Archive, WithANameThatCouldLandElsewhereOrOnAnotherIsRefused) {
    // clang-format off
    const std::vector<std::string> refused{
        "../evil.exe", "Updater/../../evil.exe", "..", "./a", "/evil.exe", "//server/share/evil.exe", "C:/evil.exe",
        "C:evil.exe", "..\\evil.exe", "Updater\\update.exe", "Quillory.exe:stream", "Quillory.exe::$DATA", "CON", "nul",
        "Aux.txt", "prn .txt", "Updater/COM1", "lpt9.dll", "com0.x.y", "nul/a", "a.", "a ", " a", "a./b", "a /b",
        "a//b", "", "/", "QUILLO~1.EXE", "a?", "a*", "a<b", "a|b", "a\"b", "CONIN$", "a\n", "\xc3\xa9", "a@b", "a[b",
        "a`b", "a{b", "a:b", std::string("a\0.txt", 6), std::string(101, 'a'),
        std::string(99, 'd') + "/" + std::string(61, 'f'),
    };
    const std::vector<std::string> taken{
        "console", "com", "com10", "lpt", "nulls.txt", "aux2", "COMA", "a.con", "READ-me_2.0.txt", "0azAZ9",
        std::string(100, 'a'),
    };
    // clang-format on
    for (const auto& name : refused)
        EXPECT_EQ(outcome(Zip{{{name, "evil"}}, "", ""}.bytes()), "it has a forbidden name in it") << name;
    for (const auto& name : taken) EXPECT_EQ(outcome(Zip{{{name, "good"}}, "", ""}.bytes()), name + "=good;");
    for (const std::string name : {"quillory.EXE", "Quillory.exe", "UPDATER", "Quillory.exe/a", "quillory.exe/",
                                   "A/B/C", "a/b", "A", "a/b/c/d/e"}) {
        Zip zip = release;
        zip.entries.emplace_back("a/b/c", "");
        zip.entries.emplace_back(name, "", false);
        EXPECT_EQ(outcome(zip.bytes()), "it has two files of one name") << name;
    }
}

TEST(Archive, ThatIsNotWhatItSaysIsRefused) {
    const std::string damaged = "a file in it is damaged", kind = "it has a link in it";
    const std::string directory = "its directory is damaged", packing = "it is packed in an unknown way";
    const std::string locked = "it is encrypted, or not as a release is packed";
    struct Lie {
        std::string says;
        std::function<void(Zip& zip, Entry& deflated, Entry& stored)> tell;
    };
    // clang-format off
    const std::vector<Lie> lies{
        {locked, [](Zip&, Entry& e, Entry&) { e.flags = 1; }},
        {locked, [](Zip&, Entry& e, Entry&) { e.flags = 8; }}, // sizes behind the data
        {packing, [](Zip&, Entry&, Entry& e) { e.method = 12; }},
        {packing, [](Zip&, Entry&, Entry& e) { --e.fullSize; }},
        {"it needs a newer updater", [](Zip&, Entry& e, Entry&) { e.version = 21; }},
        {"it is too large", [](Zip&, Entry& e, Entry&) { e.packedSize = e.fullSize = 0xffffffff; }}, // 64-bit sizes
        {damaged, [](Zip&, Entry& e, Entry&) { ++e.crc; }},
        {damaged, [](Zip&, Entry& e, Entry&) { e.crc = updater::crcOf(program.substr(0, --e.fullSize)); }},
        {damaged, [](Zip&, Entry& e, Entry&) { e.crc = updater::crcOf(program + std::string(1, '\0')), ++e.fullSize; }},
        {damaged, [](Zip&, Entry& e, Entry&) { --e.packedSize; }},
        {damaged, [](Zip&, Entry& e, Entry&) { e.packed += "hidden", e.packedSize += 6; }},
        {kind, [](Zip&, Entry&, Entry& e) { e.attributes = 0xa1ff0000; }},
        {kind, [](Zip&, Entry&, Entry& e) { e.attributes = 0x41ff0000; }}, // a folder
        {kind, [](Zip&, Entry&, Entry& e) { e.attributes = 0x400; }},      // a link of Windows
        {kind, [](Zip&, Entry&, Entry& e) { e.attributes = 8; }},          // a volume's label
        {kind, [](Zip&, Entry&, Entry& e) { e.attributes = 0x10; }},
        {kind, [](Zip& zip, Entry&, Entry&) { zip.entries.emplace_back("a/", "", false).attributes = 0x81a40000; }},
        {"it has a folder with contents", [](Zip& zip, Entry&, Entry&) { zip.entries.emplace_back("a/", "contents"); }},
        {"its files overlap", [](Zip&, Entry&, Entry& e) { e.position = 0; }},
        {directory, [](Zip& zip, Entry&, Entry&) { zip.gap = "hidden"; }},
        {directory, [](Zip& zip, Entry&, Entry&) { zip.tail = "hidden"; }},
    };
    // clang-format on
    for (std::size_t i = 0; i < lies.size(); ++i) {
        Zip zip = release;
        zip.entries.reserve(3);
        lies[i].tell(zip, zip.entries[0], zip.entries[1]);
        EXPECT_EQ(outcome(zip.bytes()), lies[i].says) << "lie " << i;
    }
    EXPECT_EQ(outcome(release.bytes() + "hidden"), directory);
}

TEST(Archive, ThatIsTooMuchInAllIsRefused) {
    Zip zip;
    zip.entries.assign(2, {"a", std::string(32u << 20, '\0')});
    zip.entries[1].name = "b";
    EXPECT_EQ(outcome(zip.bytes()).size(), (64u << 20) + std::string("a=;b=;").size());
    zip.entries.emplace_back("c", "1");
    EXPECT_EQ(outcome(zip.bytes()), "it is too large");

    zip.entries.clear();
    for (int i = 0; i < 1000; ++i) zip.entries.emplace_back("file " + std::to_string(i), "", false);
    EXPECT_TRUE(outcome(zip.bytes()).ends_with("file 999=;"));
    zip.entries.emplace_back("one more", "", false);
    EXPECT_EQ(outcome(zip.bytes()), "its directory is damaged");
}

TEST(Archive, ThatIsCutOffAnywhereOrHasAnyBitChangedIsRefused) {
    const std::string whole = release.bytes(), meant = outcome(whole);
    const auto isRefused = [](const std::string& said) { return said.find('=') == said.npos; };
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_TRUE(isRefused(outcome(whole.substr(0, size)))) << size;
    EXPECT_EQ(outcome(whole.substr(0, 21)), "it ends too early");

    // In each entry of the directory three things may be any: who has made it, what is in it, what it is to its maker.
    const auto first = whole.find("PK\1\2"), second = whole.find("PK\1\2", first + 4);
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        const auto place = bit / 8, within = place - (place < second ? first : second);
        if (place >= first && (within / 2 == 2 || (within >= 36 && within < 42))) continue;
        std::string changed = whole;
        changed[place] = static_cast<char>(changed[place] ^ (1 << bit % 8));
        const auto said = outcome(changed);
        const bool isPacked = place >= 42 && place < first; // where one run of letters can be told in two ways
        const bool isToldTwice = place >= 4 && place < 42 && place / 2 != 14,
                   isPart = place >= first && within / 2 == 17;
        EXPECT_TRUE(isRefused(said) || (isPacked && said == meant)) << "bit " << bit;
        EXPECT_TRUE(!isToldTwice || said == "its two directories differ") << "bit " << bit << ": " << said;
        EXPECT_TRUE(!isPart || said == "it has more than one part") << "bit " << bit << ": " << said;
    }
}

} // namespace
