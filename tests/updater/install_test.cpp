#include <algorithm>
#include <map>
#include <optional>
#include <system_error>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Install.h"

// Whatever happens while an update is installed, Quillory starts afterwards.

namespace {

using testing::AnyOf;
using Files = std::map<std::string, std::string>;

std::string recordOf(const std::string& version, const std::vector<std::string>& paths) {
    std::string text = "Quillory " + version + "\n";
    for (const auto& path : paths) text += std::string(64, 'a') + " 1 " + path + "\n";
    return text;
}

const Files oldProgram{{"", ""},
                       {"Updater/", ""},
                       {"Notes/", ""},
                       {"Notes/Old/", ""}, // folders
                       {"Quillory.exe", "MZ old program"},
                       {"Updater/update.exe", "MZ old updater"},
                       {"LICENSE.txt", "old licence"},
                       {"Notes/Old/old.txt", "what the new version no longer has"},
                       {"Updater/release.txt", recordOf("1.0.112", {"Quillory.exe", "Updater/update.exe", "LICENSE.txt",
                                                                    "Notes/Old/old.txt"})},
                       {"Uninstall.exe", "MZ uninstaller"},
                       {"mine.txt", "the person's own"}};

// The program comes first, as in a release, so that the order of the archive cannot be what puts it last.
const std::vector<updater::ArchiveFile> release{
    {"Quillory.exe", "MZ new program"},
    {"Updater/update.exe", "MZ new updater"},
    {"LICENSE.txt", "new licence"},
    {"Help/Pages/index.txt", "new help"},
    {"Updater/release.txt",
     recordOf("1.0.113", {"Quillory.exe", "Updater/update.exe", "LICENSE.txt", "Help/Pages/index.txt"})}};

const Files newProgram = [] {
    auto all = oldProgram;
    std::erase_if(all, [](const auto& entry) { return entry.first.starts_with("Notes/"); });
    for (const auto& file : release) all[file.path] = file.contents;
    all.insert({{"Help/", ""}, {"Help/Pages/", ""}});
    return all;
}();

struct PowerCut {};

enum class Fault { error, cutBefore, cutAmid, cutAfter };

/// A disk in memory on which the call number `faultAt`, counted from 1, goes wrong. Folders end with "/", but for "",
/// which is the one around all.
class FaultyDisk : public updater::Disk {
public:
    explicit FaultyDisk(Fault kind = Fault::error, int at = 0) : fault(kind), faultAt(at) {}

    Files files = oldProgram;
    Fault fault;
    int calls = 0, faultAt;
    std::string held;

    void removeFolder(std::string_view path) override {
        const auto isInside = [&](const auto& entry) { return entry.first.starts_with(std::string(path) + "/"); };
        step([&] { std::erase_if(files, isInside); },
             [&] {
                 if (const auto first = std::ranges::find_if(files, isInside); first != files.end()) files.erase(first);
             });
    }
    void removeEmptyFolder(std::string_view path) override {
        const auto folder = path.empty() ? "" : std::string(path) + "/";
        const auto isInside = [&](const auto& entry) { return entry.first.starts_with(folder); };
        step([&] {
            if (std::ranges::count_if(files, isInside) == 1) files.erase(folder);
        });
    }
    std::optional<std::string> readFile(std::string_view path) override {
        step([] {});
        const auto found = files.find(std::string(path));
        return found == files.end() ? std::nullopt : std::optional(found->second);
    }
    void removeFile(std::string_view path) override {
        step([&] { files.erase(std::string(path)); });
    }
    void requireFree(std::string_view path) override {
        step([] {});
        if (held == path) throw std::system_error(std::make_error_code(std::errc::device_or_resource_busy));
    }
    void makeFolder(std::string_view path) override {
        step([&] {
            for (auto slash = path.find('/'); slash != path.npos; slash = path.find('/', slash + 1))
                files.emplace(path.substr(0, slash + 1), "");
            files.emplace(std::string(path) + "/", "");
        });
    }
    void writeFile(std::string_view path, std::string_view contents) override {
        requireFolder(path);
        step([&] { files[std::string(path)] = contents; },
             [&] { files[std::string(path)] = contents.substr(0, contents.size() / 2); });
    }
    void replaceFile(std::string_view from, std::string_view to) override {
        requireFolder(to);
        step([&] {
            auto moved = files.extract(std::string(from));
            ASSERT_FALSE(moved.empty()) << from;
            files[std::string(to)] = moved.mapped();
        });
    }

private:
    void requireFolder(std::string_view path) const {
        ASSERT_TRUE(files.contains(std::string(path.substr(0, path.rfind('/') + 1)))) << path;
    }
    /// A call does its work, `half` of it where that can be, or none.
    template <typename Work, typename Half = void (*)()>
    void step(
        Work work, Half half = [] {}) {
        if (++calls != faultAt) return work();
        if (fault == Fault::error || fault == Fault::cutAmid) half();
        if (fault == Fault::error) throw std::system_error(std::make_error_code(std::errc::permission_denied));
        if (fault == Fault::cutAfter) work();
        throw PowerCut();
    }
};

void update(updater::Disk& disk) {
    updater::Installation installation(disk, release);
    installation.putInPlace();
    installation.finish();
}

void expectStartable(const Files& files) {
    for (const auto& [path, contents] : oldProgram) {
        if (path.starts_with("Notes/")) continue;
        ASSERT_TRUE(files.contains(path)) << path;
        EXPECT_THAT(files.at(path), AnyOf(contents, newProgram.at(path))) << path;
    }
    const auto isThere = [&](const auto& entry) {
        return files.contains(entry.first) && files.at(entry.first) == entry.second;
    };
    EXPECT_EQ(files.at("Quillory.exe") == "MZ new program", std::ranges::all_of(newProgram, isThere));
}

/// Without folders, and without what lies aside and could not be removed.
Files inPlace(Files files) {
    std::erase_if(files, [](const auto& entry) {
        const std::string& path = entry.first;
        return path.empty() || path.ends_with("/") || path.starts_with("Updater/new/") ||
               path.starts_with("Updater/old/");
    });
    return files;
}

/// Runs `work` on the old program's disk again and again, with the fault at each of its calls in turn, and at last
/// without one. `look` gets what then lies there, and whether the work has come to its end.
template <typename Work, typename Look> void withFaultAtEachCall(Fault fault, Work work, Look look) {
    bool isFaulty = true;
    for (int faultAt = 1; isFaulty && !testing::Test::HasFailure(); ++faultAt) {
        SCOPED_TRACE(testing::Message() << "fault " << int(fault) << " at call " << faultAt);
        FaultyDisk disk(fault, faultAt);
        bool isDone = false;
        try {
            work(disk);
            isDone = true;
        } catch (const std::system_error&) {
            EXPECT_EQ(inPlace(disk.files), inPlace(oldProgram)); // all or nothing
        } catch (const PowerCut&) {
        }
        isFaulty = disk.calls >= faultAt;
        look(disk, isDone, isFaulty);
    }
}

TEST(Installation, LeavesWhatStartsWhereverItIsStopped) {
    for (const auto fault : {Fault::error, Fault::cutBefore, Fault::cutAmid, Fault::cutAfter})
        withFaultAtEachCall(fault, update, [](FaultyDisk& disk, bool, bool isFaulty) {
            expectStartable(disk.files);
            EXPECT_TRUE(isFaulty || disk.files == newProgram);
            disk.faultAt = 0;
            update(disk); // the next try
            EXPECT_EQ(disk.files, newProgram);
        });
}

TEST(Installation, GoesBackIfTheNewProgramDoesNotComeUp) {
    const auto goBack = [](FaultyDisk& disk) {
        const int faultAt = std::exchange(disk.faultAt, 0);
        updater::Installation installation(disk, release);
        installation.putInPlace();
        EXPECT_EQ(disk.files["Quillory.exe"], "MZ new program");
        disk.calls = 0;
        disk.faultAt = faultAt;
        installation.putBack();
    };
    withFaultAtEachCall(Fault::cutBefore, goBack, [](const FaultyDisk& disk, bool isDone, bool) {
        expectStartable(disk.files);
        EXPECT_TRUE(!isDone || disk.files == oldProgram);
    });
}

TEST(Installation, HasARecordAndRespectsWhoHoldsAFile) {
    FaultyDisk disk;
    disk.held = "LICENSE.txt";
    EXPECT_THROW(update(disk), std::system_error);
    EXPECT_THROW(updater::removeInstalled(disk, {}), std::system_error);
    EXPECT_EQ(disk.files, oldProgram);

    disk.held = "";
    EXPECT_EQ(updater::versionText(updater::installedRecord(disk).value()), "1.0.112");
    disk.files["Updater/release.txt"] = "not a record";
    EXPECT_FALSE(updater::installedRecord(disk));
    update(disk);
    EXPECT_TRUE(disk.files.contains("Notes/Old/old.txt")); // nobody knows any more whose it is
    disk.files.erase("Updater/release.txt");
    EXPECT_FALSE(updater::installedRecord(disk));
}

TEST(Removal, TakesAllThatIsOnRecordOrNothing) {
    const Files left{{"", ""}, {"mine.txt", "the person's own"}};
    const auto remove = [](FaultyDisk& disk) { updater::removeInstalled(disk, {"Uninstall.exe"}); };
    withFaultAtEachCall(Fault::error, remove, [&](const FaultyDisk& disk, bool isDone, bool isFaulty) {
        EXPECT_TRUE(!isDone || inPlace(disk.files) == inPlace(left));
        EXPECT_TRUE(isFaulty || disk.files == left);
    });
}

} // namespace
