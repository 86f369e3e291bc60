#include "Release.h"

#include <cstdint>
#include <functional>

#include <gtest/gtest.h>

#include "Program.h"
#include "Signature.h"
#include "Zip.h"

// Whose releases the updater installs. The key and the signatures were made with scripts/signing.py; the private half
// has been thrown away.

namespace {

using updater::ArchiveError;
using updater::ArchiveFile;

std::string bytes(std::string_view hex) {
    std::string all;
    for (std::size_t i = 0; i < hex.size(); i += 2)
        all += static_cast<char>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16));
    return all;
}

const std::string key = bytes("64ea3dc7ca51686b59d0e6e70bdf039a0a6e612fb1b2a2bf11393e65ea4f83dd"
                              "0bad43ae9fa8d98cdcdf0d8a7f58fb3ceb4956422e8a8a72d5e17b9ef71b364f");
const std::string anotherKey = bytes("b94e22e71b48fec7aca95e492162d1af7f9f3ed45811400f7f2ffe960127f20c"
                                     "1f4a0ada7eeb152956e773cad11f6e7736448fe6bec5c6f8089da08bebd3f1c9");
const std::string signatureOf113 = bytes("0cf85fc1922565e970f9d2cc938e723ede05cf64f0495bd14dc6b846b7a62a91"
                                         "d8737fe402eff6721ca7582f7d568de311660fff494f48e02b211cd43d19f55a");
const std::string signatureOf114 = bytes("6761bdbdc917c125ac5242481b7022bede98fcac5c44d9ce1e2de204f963cb55"
                                         "6bed6c1865c231651f965faad11a667db2f3f4e581cafeb3eebe6dedde0fd990");

/// A field of a file in little-endian order.
void set(std::string& file, std::size_t place, std::uint32_t value, int size) {
    for (int i = 0; i < size; ++i) file[place + static_cast<std::size_t>(i)] = static_cast<char>(value >> (8 * i));
}

constexpr std::size_t start = 0x40, optional = start + 24, section = optional + 224, contents = section + 40;

/// The smallest program: its headers and one section.
std::string program(const std::string& code) {
    std::string file(contents, '\0');
    file.replace(0, 2, "MZ");
    set(file, 0x3c, start, 4);
    file.replace(start, 2, "PE");
    set(file, start + 4, 0x14c, 2);
    set(file, start + 6, 1, 2);
    set(file, start + 20, 224, 2);
    set(file, start + 22, 2, 2);
    set(file, optional, 0x10b, 2);
    set(file, optional + 16, 0x1000, 4);
    set(file, optional + 68, 2, 2);
    set(file, section + 8, 0x1000, 4);
    set(file, section + 12, 0x1000, 4);
    set(file, section + 16, static_cast<std::uint32_t>(code.size()), 4);
    set(file, section + 20, contents, 4);
    return file + code;
}

std::string line(const ArchiveFile& file) {
    return updater::sha256(file.contents) + ' ' + std::to_string(file.contents.size()) + ' ' + file.path + '\n';
}

std::vector<ArchiveFile> release(const std::string& version, const std::string& signature) {
    std::vector<ArchiveFile> files{{"Quillory.exe", program("program " + version)},
                                   {"Updater/update.exe", program("updater " + version)},
                                   {"LICENSE.txt", "licence"}};
    std::string record = "Quillory " + version + '\n';
    for (const auto& file : files) record += line(file);
    files.push_back({"Updater/release.txt", record});
    files.push_back({"Updater/release.sig", signature});
    return files;
}

std::vector<ArchiveFile> good() { return release("1.0.113", signatureOf113); }

std::string packed(const std::vector<ArchiveFile>& files) {
    Zip zip;
    for (const auto& file : files) zip.add(file.path, file.contents);
    return zip.bytes();
}

TEST(Release, IsTakenWithItsMakersSignature) {
    const auto taken = updater::checkedRelease(updater::readArchive(packed(good())), key);
    EXPECT_EQ(updater::versionText(taken.record), "1.0.113");
    EXPECT_EQ(taken.files.size(), 4u); // without the signature
    EXPECT_NO_THROW(updater::checkedRelease(release("1.0.114", signatureOf114), key));
}

TEST(Release, ThatIsForgedIsRefused) {
    using Files = std::vector<ArchiveFile>;
    struct Forgery {
        const char* what;
        std::function<void(Files&)> make;
    };
    const std::vector<Forgery> forgeries{
        {"no signature", [](Files& files) { files.pop_back(); }},
        {"an empty signature", [](Files& files) { files[4].contents.clear(); }},
        {"a cut signature", [](Files& files) { files[4].contents.pop_back(); }},
        {"a longer signature", [](Files& files) { files[4].contents += '\0'; }},
        {"a changed signature", [](Files& files) { files[4].contents[63] ^= 1; }},
        {"zeros for a signature", [](Files& files) { files[4].contents.assign(64, '\0'); }},
        {"the signature of another version", [](Files& files) { files[4].contents = signatureOf114; }},
        {"a signature in another place", [](Files& files) { files[4].path = "release.sig"; }},
        {"no record", [](Files& files) { files.erase(files.begin() + 3); }},
        {"another version's record and signature",
         [](Files& files) { files[3] = release("1.0.114", "")[3], files[4].contents = signatureOf114; }},
        {"another version in the record", [](Files& files) { files[3].contents.replace(13, 3, "999"); }},
        {"a swapped program", [](Files& files) { files[0].contents = program("program 1.0.666"); }},
        {"two swapped entries", [](Files& files) { std::swap(files[0].contents, files[1].contents); }},
        {"a swapped entry and its line", [](Files& files) { files[2].contents = "my own", files[3].contents = "x"; }},
        {"an added entry",
         [](Files& files) {
             files.push_back({"evil.dll", "MZ"});
         }},
        {"an added entry with its line",
         [](Files& files) {
             files.push_back({"evil.dll", "MZ"}), files[3].contents += line(files.back());
         }},
        {"an entry left out", [](Files& files) { files.erase(files.begin() + 2); }},
        {"an entry by another name", [](Files& files) { files[2].path = "LICENCE.txt"; }},
        {"the same entry twice", [](Files& files) { files.push_back(files[0]); }},
        {"a second record", [](Files& files) { files.push_back(release("1.0.114", "")[3]); }},
        {"a second signature", [](Files& files) { files.push_back(files[4]); }},
    };
    for (const auto& forgery : forgeries) {
        auto files = good();
        forgery.make(files);
        EXPECT_THROW(updater::checkedRelease(updater::readArchive(packed(files)), key), ArchiveError) << forgery.what;
    }
    for (const auto& wrong : {anotherKey, std::string(64, '\0'), key.substr(1), std::string()})
        EXPECT_THROW(updater::checkedRelease(good(), wrong), ArchiveError);
}

TEST(Release, DoesNotGoBackToAnOlderVersion) {
    const auto offered = updater::readRecord("Quillory 1.0.113\n");
    for (const auto* installed : {"0.9.999", "1.0.99", "1.0.113"})
        EXPECT_NO_THROW(
            updater::refuseOlder(offered, updater::readRecord("Quillory " + std::string(installed) + "\n").version));
    for (const auto* installed : {"1.0.114", "1.1.0", "1.0.1000", "2.0.0"})
        EXPECT_THROW(
            updater::refuseOlder(offered, updater::readRecord("Quillory " + std::string(installed) + "\n").version),
            ArchiveError);
}

TEST(Record, ThatIsNotAsItIsWrittenIsRefused) {
    const std::string head = "Quillory 1.0.113\n", file = std::string(64, 'a') + " 12 ";
    EXPECT_EQ(updater::readRecord(head + file + "Help/read me.txt\n").files.size(), 1u);
    const std::vector<std::string> refused{
        "",
        "Quillory",
        "Quillory 1.0\n",
        "Quillory 1.0.113",
        "Quillory 1.0.070\n",
        "Quillory 1.0.99999999999\n",
        "Quillory 1.0.-1\n",
        head + file + "../evil.exe\n",
        head + file + "\n",
        head + file + "a/\n",
        head + file + "a",
        head + file,
        head + "abc 12 a\n",
        head + file + "a\n" + file + "a\n",
    };
    for (const auto& text : refused) EXPECT_THROW(updater::readRecord(text), ArchiveError) << text;
}

TEST(Program, IsToldFromWhatOnlyBeginsLikeOne) {
    const std::string whole = program("code and more");
    EXPECT_TRUE(updater::isProgram(whole));
    EXPECT_TRUE(updater::isProgram(whole + "what is behind the last section"));
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_FALSE(updater::isProgram(whole.substr(0, size))) << size;
    struct Change {
        std::size_t place;
        std::uint32_t value;
        int size;
    };
    for (const auto& change : std::vector<Change>{{0x3c, 0xffffffff, 4},      // headers beyond the end
                                                  {0x3c, 0, 4},               // headers over the first words
                                                  {start, 0x1234, 2},         // no mark
                                                  {start + 4, 0x8664, 2},     // 64-bit
                                                  {start + 6, 0, 2},          // no section
                                                  {start + 6, 0xffff, 2},     // more sections than there are
                                                  {start + 22, 0x2002, 2},    // a library
                                                  {start + 22, 0, 2},         // an object file
                                                  {optional, 0x20b, 2},       // 64-bit
                                                  {optional + 16, 0x9000, 4}, // starts where nothing is
                                                  {optional + 68, 1, 2},      // a driver
                                                  {section + 16, 0xffff, 4},  // a section longer than the file
                                                  {section + 20, 0xfffffff0, 4}}) {
        std::string changed = whole;
        set(changed, change.place, change.value, change.size);
        EXPECT_FALSE(updater::isProgram(changed)) << change.place;
    }
    EXPECT_FALSE(updater::isProgram("MZ" + std::string(3000, 'q')));
}

} // namespace
