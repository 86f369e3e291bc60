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

struct PowerCut {};

enum class Fault { error, cutBefore, cutAmid, cutAfter };

/// A disk in memory on which the call number `faultAt`, counted from 1, goes wrong.
class FaultyDisk : public updater::Disk {
public:
    std::map<std::string, std::string> files;
    std::set<std::string> folders{"", "Updater"};
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

const std::map<std::string, std::string> oldProgram{
    {"Quillory.exe", "MZ old program"},
    {"Updater/update.exe", "MZ old updater"},
    {"LICENSE.txt", "old licence"},
    {"Notes/old.txt", "what the new version no longer has"},
    {"Updater/release.txt",
     recordOf("1.0.112", {"Quillory.exe", "Updater/update.exe", "LICENSE.txt", "Notes/old.txt"})},
    {"Uninstall.exe", "MZ uninstaller"},
    {"mine.txt", "the person's own"}};

// The program comes first, as in a release, so that the order of the archive cannot be what puts it last.
const std::vector<ArchiveFile> release{
    {"Quillory.exe", "MZ new program"},
    {"Updater/update.exe", "MZ new updater"},
    {"LICENSE.txt", "new licence"},
    {"Help/Pages/index.txt", "new help"},
    {"Updater/release.txt",
     recordOf("1.0.113", {"Quillory.exe", "Updater/update.exe", "LICENSE.txt", "Help/Pages/index.txt"})}};

std::map<std::string, std::string> newProgram() {
    auto all = oldProgram;
    for (const auto& file : release) all[file.path] = file.contents;
    all.erase("Notes/old.txt");
    return all;
}

/// The old program's folder.
struct OldDisk : FaultyDisk {
    OldDisk() {
        files = oldProgram;
        folders.insert("Notes");
    }
};

void update(updater::Disk& disk) {
    updater::Installation installation(disk, release);
    installation.putInPlace();
    installation.finish();
}

void expectStartable(const FaultyDisk& disk) {
    auto fresh = newProgram();
    bool isAllNew = true;
    for (const auto& [path, contents] : oldProgram) {
        if (path == "Notes/old.txt") continue;
        ASSERT_TRUE(disk.files.contains(path)) << path;
        EXPECT_THAT(disk.files.at(path), AnyOf(contents, fresh.at(path))) << path;
    }
    for (const auto& [path, contents] : fresh) isAllNew &= disk.files.contains(path) && disk.files.at(path) == contents;
    EXPECT_EQ(disk.files.at("Quillory.exe") == fresh.at("Quillory.exe"), isAllNew);
}

class Install : public testing::TestWithParam<Fault> {};

TEST_P(Install, LeavesWhatStartsWhereverItIsStopped) {
    int stops = 0;
    for (int faultAt = 1;; ++faultAt) {
        SCOPED_TRACE("fault at call " + std::to_string(faultAt));
        OldDisk disk;
        disk.fault = GetParam();
        disk.faultAt = faultAt;
        try {
            update(disk);
        } catch (const std::system_error&) {
            ++stops;
            auto left = disk.files; // all or nothing, but for what lies aside and could not be removed
            std::erase_if(left, [](const auto& file) {
                return file.first.starts_with("Updater/new/") || file.first.starts_with("Updater/old/");
            });
            EXPECT_EQ(left, oldProgram);
        } catch (const PowerCut&) {
            ++stops;
        }
        expectStartable(disk);
        if (disk.calls < faultAt) {
            EXPECT_EQ(disk.files, newProgram());
            EXPECT_FALSE(disk.folders.contains("Notes"));
            break;
        }

        disk.faultAt = 0;
        update(disk);
        EXPECT_EQ(disk.files, newProgram());
        EXPECT_FALSE(disk.folders.contains("Updater/new") || disk.folders.contains("Updater/old"));
        if (testing::Test::HasFailure()) return;
    }
    // Of each file: two folders, two writes, two looks and a replacement.
    EXPECT_GE(stops, 30);
}

INSTANTIATE_TEST_SUITE_P(Faults, Install,
                         testing::Values(Fault::error, Fault::cutBefore, Fault::cutAmid, Fault::cutAfter));

TEST(Installation, GoesBackIfTheNewProgramDoesNotComeUp) {
    OldDisk disk;
    updater::Installation installation(disk, release);
    installation.putInPlace();
    EXPECT_EQ(disk.files.at("Quillory.exe"), "MZ new program");
    installation.putBack();
    EXPECT_EQ(disk.files, oldProgram);
    EXPECT_EQ(disk.folders, OldDisk().folders);
}

TEST(Installation, TouchesNothingWhileAFileIsHeld) {
    OldDisk disk;
    disk.held = "LICENSE.txt";
    EXPECT_THROW(update(disk), std::system_error);
    EXPECT_EQ(disk.files, oldProgram);
    EXPECT_THROW(updater::removeInstalled(disk, {}), std::system_error);
    EXPECT_EQ(disk.files, oldProgram);
}

TEST(Removal, TakesAllThatIsOnRecordOrNothing) {
    for (int faultAt = 1;; ++faultAt) {
        SCOPED_TRACE("fault at call " + std::to_string(faultAt));
        OldDisk disk;
        disk.faultAt = faultAt;
        bool isRemoved = true;
        try {
            updater::removeInstalled(disk, {"Uninstall.exe"});
        } catch (const std::system_error&) {
            isRemoved = false;
        }
        std::erase_if(disk.files, [](const auto& file) { return file.first.starts_with("Updater/old/"); });
        const std::map<std::string, std::string> persons{{"mine.txt", "the person's own"}};
        if (isRemoved || !disk.files.contains("Quillory.exe"))
            EXPECT_EQ(disk.files, persons);
        else
            EXPECT_EQ(disk.files, oldProgram);
        if (disk.calls < faultAt) {
            EXPECT_EQ(disk.folders, std::set<std::string>{""});
            break;
        }
    }
}

} // namespace
