#include "Release.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>

#include <gtest/gtest.h>

#include "Program.h"
#include "Signature.h"

// Whose releases the updater installs. The key and the signatures were made with scripts/signing.py; the private half
// has been thrown away.

namespace {

using Files = std::vector<updater::ArchiveFile>;

std::string bytes(std::string_view hex) {
    std::string all;
    for (std::size_t i = 0; i < hex.size(); i += 2)
        all += static_cast<char>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16));
    return all;
}

const std::string key = bytes("241da3f5edd43d3f336532cbf6c46537da7fad16a76eebd0a79393543fb0b1fe"
                              "031023e597a2be4e5317785a5ef35dea8a5eb11ff6dfc70446f425a18673a50c");
const std::string signatureOf113 = bytes("bea125db70b585f67c4493bdc6d19b34c165a5b9a7942bdec60442494e3b2ad8"
                                         "1b7764318fbd9a2a57e27ba6a7d18bb67a2be278b4384ef02d8b83067431831e");

/// A number in a file, in little-endian order.
struct Field {
    std::size_t place;
    std::uint32_t value;
    int size;
};

std::string with(std::string file, std::initializer_list<Field> fields) {
    for (auto [place, value, size] : fields)
        for (; size > 0; --size, value >>= 8) file[place++] = static_cast<char>(value & 0xff);
    return file;
}

constexpr std::size_t start = 0x40, optional = start + 24, section = optional + 224, contents = section + 40;

/// The smallest program: its headers and one section.
std::string program(const std::string& code) {
    const auto size = static_cast<std::uint32_t>(code.size());
    // clang-format off
    return with(std::string(contents, '\0') + code,
                {{0, 0x5a4d, 2}, {0x3c, start, 4}, {start, 0x4550, 4}, {start + 4, 0x14c, 2}, {start + 6, 1, 2},
                 {start + 20, 224, 2}, {start + 22, 2, 2}, {optional, 0x10b, 2}, {optional + 16, 0x1000, 4},
                 {optional + 68, 2, 2}, {section + 8, 0x1000, 4}, {section + 12, 0x1000, 4}, {section + 16, size, 4},
                 {section + 20, contents, 4}});
    // clang-format on
}

/// The files of a version, of which one may be another, or one more.
Files release(const std::string& version, const std::string& signature,
              const std::optional<updater::ArchiveFile>& more = {}) {
    Files files{{"Quillory.exe", program("program " + version)},
                {"Updater/update.exe", program("updater " + version)},
                {"LICENSE.txt", "licence"}};
    if (more) {
        const auto same = std::ranges::find(files, more->path, &updater::ArchiveFile::path);
        same == files.end() ? files.push_back(*more) : void(*same = *more);
    }
    std::string record = "Quillory " + version + '\n';
    for (const auto& file : files)
        record += updater::sha256(file.contents) + ' ' + std::to_string(file.contents.size()) + ' ' + file.path + '\n';
    files.push_back({"Updater/release.txt", record});
    files.push_back({"Updater/release.sig", signature});
    return files;
}

/// What a call refuses with; empty if it does not.
std::string refusal(const std::function<void()>& call) {
    try {
        call();
        return "";
    } catch (const updater::ArchiveError& error) {
        return error.what();
    }
}

TEST(Release, IsTakenWithItsMakersSignatureAndForgedIsNot) {
    const auto taken = updater::checkedRelease(release("1.0.113", signatureOf113), key);
    EXPECT_EQ(updater::versionText(taken.record), "1.0.113");
    EXPECT_EQ(taken.files.size(), 4u); // without the signature

    const std::string unsign = "it is not signed", other = "it is not signed by its maker",
                      changed = "it is not what its maker has signed";
    struct Forgery {
        std::string says;
        std::function<void(Files&)> make;
    };
    const std::vector<Forgery> forgeries{
        {unsign, [](Files& files) { files.pop_back(); }},
        {unsign, [](Files& files) { files[4].path = "release.sig"; }},
        {other, [](Files& files) { files[4].contents.pop_back(); }},
        {other, [](Files& files) { files[4].contents += '\0'; }},
        {other, [](Files& files) { files[4].contents[63] ^= 1; }},
        {other, [](Files& files) { files[4].contents.assign(64, '\0'); }},
        {other, [](Files& files) { files.erase(files.begin() + 3); }},
        {other, [](Files& files) { files[3].contents.replace(13, 3, "999"); }},
        {changed, [](Files& files) { files[0].contents = program("program 1.0.666"); }},
        {changed, [](Files& files) { files[2].contents += '.'; }},
        {changed,
         [](Files& files) {
             files.push_back({"evil.dll", "MZ"});
         }},
        {changed, [](Files& files) { files[2].path = "LICENCE.txt"; }},
    };
    for (std::size_t i = 0; i < forgeries.size(); ++i) {
        auto files = release("1.0.113", signatureOf113);
        forgeries[i].make(files);
        EXPECT_EQ(refusal([&] { updater::checkedRelease(files, key); }), forgeries[i].says) << "forgery " << i;
    }
    for (const auto& wrong : {std::string(64, '\0'), key.substr(1), std::string()})
        EXPECT_EQ(refusal([&] { updater::checkedRelease(release("1.0.113", signatureOf113), wrong); }), other);
}

TEST(Release, ThatIsSignedAndCouldNotBeInstalledIsRefused) {
    struct Mistake {
        std::string says, path, contents, signature;
    };
    const std::string halfProgram = "Quillory is not in it", name = "it has a forbidden name in it";
    for (const auto& mistake :
         std::vector<Mistake>{{halfProgram, "Quillory.exe", "MZ",
                               "356e7606b4ceb53f7080f188e7da21b0e47a37d47007d3e55159d5b1d93250ae"
                               "a1fb3f865feadd89f1ed2afe6bc501ee00db74b0f6e4d0cdc5580e763c4715cb"},
                              {name, "uninstall.EXE", "x",
                               "6598bfe29200218ec28c5f9a3181e9a6f133aa1192040d69a68df6de65ad0271"
                               "a368e9c226b43824713681fd611b4d2b5b4565a3381e5b4e9ae984c99732a1a4"},
                              {name, "UPDATER/evil.dll", "x",
                               "c80fc583df307124240be2f927a85c216490dfa1acf6a838dd0fb0e21a8bd56e"
                               "4dfcc6859314b231fba1df6e37aafd9573e30e03b22de2e5c2c92fd2437ba4e4"}}) {
        const auto files =
            release("1.0.115", bytes(mistake.signature), updater::ArchiveFile{mistake.path, mistake.contents});
        EXPECT_EQ(refusal([&] { updater::checkedRelease(files, key); }), mistake.says) << mistake.path;
    }
}

TEST(Record, IsReadInItsOneSpelling) {
    const std::string hash(64, 'a'), head = "Quillory 1.0.113\n", file = hash + " 12 ";
    const auto record = updater::readRecord("Quillory 0.10.65536\n" + file + "Help/read me.txt\n" + hash + " 0 b\n");
    EXPECT_EQ(updater::versionText(record), "0.10.65536");
    ASSERT_EQ(record.files.size(), 2u);
    EXPECT_EQ(record.files[0].path + record.files[0].hash, "Help/read me.txt" + hash);
    EXPECT_EQ(record.files[0].size, 12u);
    EXPECT_EQ(record.files[1].size, 0u);
    for (const auto& text : std::vector<std::string>{
             "", "Quillory", "Quillery 1.0.113\n", "Quillory 1.0\n", "Quillory 1.0.113", "Quillory 1.0.070\n",
             "Quillory 1.0.99999999999\n", "Quillory 1.0.-1\n", "Quillory 1.0.1a\n", head + file + "../evil.exe\n",
             head + file + "a//b\n", head + file + "/a\n", head + file + "\n", head + file + "a/\n",
             head + file + "a", head + file, head + hash.substr(1) + " 12 a\n", head + file + "a\n" + file + "a\n"})
        EXPECT_EQ(refusal([&] { updater::readRecord(text); }), "its list of files is damaged") << text;

    const auto offered = updater::readRecord(head);
    const auto over = [&](const std::string& installed) {
        return refusal(
            [&] { updater::refuseOlder(offered, updater::readRecord("Quillory " + installed + "\n").version); });
    };
    for (const auto* installed : {"0.9.999", "1.0.99", "1.0.113"}) EXPECT_EQ(over(installed), "") << installed;
    for (const auto* installed : {"1.0.114", "1.1.0", "1.0.1000", "2.0.0"})
        EXPECT_EQ(over(installed), "it is older than what is installed") << installed;
}

TEST(Program, IsToldFromWhatOnlyBeginsLikeOne) {
    const std::string whole = program("code and more");
    EXPECT_TRUE(updater::isProgram(whole));
    EXPECT_TRUE(updater::isProgram(whole + "what is behind the last section"));
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_FALSE(updater::isProgram(whole.substr(0, size))) << size;
    // clang-format off
    for (const auto& fault : std::vector<Field>{
             {0, 'm', 1}, {start, 0x1234, 2}, {start + 2, 1, 1},                   // marks
             {0x3c, 0xffffffff, 4}, {0x3c, 0, 4},                                  // headers beyond the end or too soon
             {start + 4, 0x8664, 2}, {optional, 0x20b, 2},                         // 64-bit
             {start + 6, 0, 2}, {start + 6, 2, 2}, {start + 6, 0xffff, 2},         // other than one section
             {start + 22, 0x2002, 2}, {start + 22, 0x1000, 2}, {optional + 68, 1, 2}, // a library, an object, a driver
             {optional + 16, 0x0fff, 4}, {optional + 16, 0x2000, 4}, {section + 16, 0, 4}, // starts where nothing is
             {section + 16, 14, 4}, {section + 20, contents + 1, 4}, {section + 20, 0xfffffff0, 4}}) // beyond the end
        EXPECT_FALSE(updater::isProgram(with(whole, {fault}))) << fault.place << ": " << fault.value;
    // clang-format on
    EXPECT_TRUE(updater::isProgram(with(whole, {{optional + 16, 0x1fff, 4}})));
}

} // namespace
