#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <system_error>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Install.h"

// Whatever happens while an update is installed, Quillory starts afterwards.

namespace {

using testing::AnyOf;
using updater::ArchiveFile;
using Files = std::map<std::string, std::string>;
using Folders = std::set<std::string>;

struct PowerCut {};

enum class Fault { error, cutBefore, cutAmid, cutAfter };

/// A disk in memory on which the call number `faultAt`, counted from 1, goes wrong.
class FaultyDisk : public updater::Disk {
public:
    Files files;
    Folders folders;
    int calls = 0, faultAt = 0;
    Fault fault = Fault::error;
    std::string held;

    void removeFolder(std::string_view path) override {
        const std::string folder(path), inside = folder + "/";
        const auto isInside = [&](const std::string& entry) { return entry == folder || entry.starts_with(inside); };
        step(
            [&] {
                std::erase_if(files, [&](const auto& file) { return isInside(file.first); });
                std::erase_if(folders, isInside);
            },
            [&] {
                const auto first = files.lower_bound(inside);
                if (first != files.end() && isInside(first->first)) files.erase(first);
            });
    }
    void removeEmptyFolder(std::string_view path) override {
        const std::string inside = path.empty() ? "" : std::string(path) + "/";
        const auto isInside = [&](const std::string& entry) {
            return entry.size() > inside.size() && entry.starts_with(inside);
        };
        step([&] {
            if (std::ranges::none_of(files, [&](const auto& file) { return isInside(file.first); }) &&
                std::ranges::none_of(folders, isInside))
                folders.erase(std::string(path));
        });
    }
    std::optional<std::string> readFile(std::string_view path) override {
        std::optional<std::string> contents;
        step([&] {
            if (const auto found = files.find(std::string(path)); found != files.end()) contents = found->second;
        });
        return contents;
    }
    void removeFile(std::string_view path) override {
        step([&] { files.erase(std::string(path)); });
    }
    void requireFree(std::string_view path) override {
        step([&] {
            if (held == path) throw std::system_error(std::make_error_code(std::errc::device_or_resource_busy));
        });
    }
    void makeFolder(std::string_view path) override {
        step([&] {
            for (std::size_t slash = 0; slash != path.npos;) {
                slash = path.find('/', slash + 1);
                folders.emplace(path.substr(0, slash));
            }
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
        const auto slash = path.rfind('/');
        ASSERT_TRUE(folders.contains(std::string(slash == path.npos ? "" : path.substr(0, slash)))) << path;
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

std::string recordOf(const std::string& version, const std::vector<std::string>& paths) {
    std::string text = "Quillory " + version + "\n";
    for (const auto& path : paths) text += std::string(64, 'a') + " 1 " + path + "\n";
    return text;
}

const Files oldProgram{{"Quillory.exe", "MZ old program"},
                       {"Updater/update.exe", "MZ old updater"},
                       {"LICENSE.txt", "old licence"},
                       {"Notes/Old/old.txt", "what the new version no longer has"},
                       {"Updater/release.txt", recordOf("1.0.112", {"Quillory.exe", "Updater/update.exe", "LICENSE.txt",
                                                                    "Notes/Old/old.txt"})},
                       {"Uninstall.exe", "MZ uninstaller"},
                       {"mine.txt", "the person's own"}};

const Folders oldFolders{"", "Updater", "Notes", "Notes/Old"};

// The program comes first, as in a release, so that the order of the archive cannot be what puts it last.
const std::vector<ArchiveFile> release{
    {"Quillory.exe", "MZ new program"},
    {"Updater/update.exe", "MZ new updater"},
    {"LICENSE.txt", "new licence"},
    {"Help/Pages/index.txt", "new help"},
    {"Updater/release.txt",
     recordOf("1.0.113", {"Quillory.exe", "Updater/update.exe", "LICENSE.txt", "Help/Pages/index.txt"})}};

Files newProgram() {
    auto all = oldProgram;
    for (const auto& file : release) all[file.path] = file.contents;
    all.erase("Notes/Old/old.txt");
    return all;
}

/// The old program's folder.
struct OldDisk : FaultyDisk {
    explicit OldDisk(int at = 0, Fault kind = Fault::error) {
        files = oldProgram;
        folders = oldFolders;
        faultAt = at;
        fault = kind;
    }
};

void update(updater::Disk& disk) {
    updater::Installation installation(disk, release);
    installation.putInPlace();
    installation.finish();
}

void expectStartable(const Files& files) {
    const auto fresh = newProgram();
    bool isAllNew = true;
    for (const auto& [path, contents] : oldProgram) {
        if (path == "Notes/Old/old.txt") continue;
        ASSERT_TRUE(files.contains(path)) << path;
        EXPECT_THAT(files.at(path), AnyOf(contents, fresh.at(path))) << path;
    }
    for (const auto& [path, contents] : fresh) isAllNew &= files.contains(path) && files.at(path) == contents;
    EXPECT_EQ(files.at("Quillory.exe") == fresh.at("Quillory.exe"), isAllNew);
}

/// Without what lies aside and could not be removed.
Files inPlace(Files files) {
    std::erase_if(files, [](const auto& file) {
        return file.first.starts_with("Updater/new/") || file.first.starts_with("Updater/old/");
    });
    return files;
}

TEST(Installation, LeavesWhatStartsWhereverItIsStopped) {
    for (const auto fault : {Fault::error, Fault::cutBefore, Fault::cutAmid, Fault::cutAfter}) {
        bool isStopped = true;
        for (int faultAt = 1; isStopped && !HasFailure(); ++faultAt) {
            SCOPED_TRACE(testing::Message() << "fault " << int(fault) << " at call " << faultAt);
            OldDisk disk(faultAt, fault);
            try {
                update(disk);
            } catch (const std::system_error&) {
                EXPECT_EQ(inPlace(disk.files), oldProgram);
            } catch (const PowerCut&) {
            }
            expectStartable(disk.files);
            isStopped = disk.calls >= faultAt;
            disk.faultAt = 0;
            update(disk); // the next try
            EXPECT_EQ(disk.files, newProgram());
            EXPECT_EQ(disk.folders, (Folders{"", "Updater", "Help", "Help/Pages"}));
        }
    }
}

TEST(Installation, GoesBackIfTheNewProgramDoesNotComeUp) {
    bool isStopped = true;
    for (int faultAt = 1; isStopped && !HasFailure(); ++faultAt) {
        SCOPED_TRACE(testing::Message() << "cut at call " << faultAt);
        OldDisk disk;
        updater::Installation installation(disk, release);
        installation.putInPlace();
        EXPECT_EQ(disk.files["Quillory.exe"], "MZ new program");
        disk.fault = Fault::cutBefore;
        disk.calls = 0;
        disk.faultAt = faultAt;
        try {
            installation.putBack();
            EXPECT_EQ(disk.files, oldProgram);
            EXPECT_EQ(disk.folders, oldFolders);
            isStopped = false;
        } catch (const PowerCut&) {
        }
        expectStartable(disk.files);
    }
}

TEST(Installation, TouchesNothingWhileAFileIsHeld) {
    OldDisk disk;
    disk.held = "LICENSE.txt";
    EXPECT_THROW(update(disk), std::system_error);
    EXPECT_THROW(updater::removeInstalled(disk, {}), std::system_error);
    EXPECT_EQ(disk.files, oldProgram);
    EXPECT_EQ(disk.folders, oldFolders);
}

TEST(Installation, TakesAFileThatIsNoRecordForNone) {
    OldDisk disk;
    EXPECT_EQ(updater::versionText(updater::installedRecord(disk).value()), "1.0.112");
    disk.files["Updater/release.txt"] = "not a record";
    EXPECT_FALSE(updater::installedRecord(disk));
    update(disk);
    EXPECT_TRUE(disk.files.contains("Notes/Old/old.txt")); // nobody knows any more whose it is
    disk.files.erase("Updater/release.txt");
    EXPECT_FALSE(updater::installedRecord(disk));
}

TEST(Removal, TakesAllThatIsOnRecordOrNothing) {
    bool isStopped = true;
    for (int faultAt = 1; isStopped && !HasFailure(); ++faultAt) {
        SCOPED_TRACE(testing::Message() << "fault at call " << faultAt);
        OldDisk disk(faultAt);
        auto left = oldProgram;
        try {
            updater::removeInstalled(disk, {"Uninstall.exe"});
            left = {{"mine.txt", "the person's own"}};
        } catch (const std::system_error&) {
        }
        EXPECT_EQ(inPlace(disk.files), left);
        isStopped = disk.calls >= faultAt;
    }
    OldDisk disk;
    updater::removeInstalled(disk, {"Uninstall.exe"});
    EXPECT_EQ(disk.folders, Folders{""});
}

} // namespace
