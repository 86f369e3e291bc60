#include <map>
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

const std::map<std::string, std::string> oldProgram{{"Quillory.exe", "MZ old program"},
                                                    {"Updater/update.exe", "MZ old updater"},
                                                    {"LICENSE.txt", "old licence"},
                                                    {"Uninstall.exe", "MZ uninstaller"}};

// The program comes first, as in a release, so that the order of the archive cannot be what puts it last.
const std::vector<ArchiveFile> release{{"Quillory.exe", "MZ new program"},
                                       {"Updater/update.exe", "MZ new updater"},
                                       {"LICENSE.txt", "new licence"},
                                       {"Help/Pages/index.txt", "new help"}};

std::map<std::string, std::string> newProgram() {
    auto all = oldProgram;
    for (const auto& file : release) all[file.path] = file.contents;
    return all;
}

void expectStartable(const FaultyDisk& disk) {
    const auto fresh = newProgram();
    bool isAllNew = true;
    for (const auto& [path, contents] : oldProgram) {
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
        FaultyDisk disk;
        disk.files = oldProgram;
        disk.fault = GetParam();
        disk.faultAt = faultAt;
        try {
            updater::install(disk, release);
        } catch (const std::system_error&) {
            ++stops;
        } catch (const PowerCut&) {
            ++stops;
        }
        expectStartable(disk);
        if (disk.calls < faultAt) {
            EXPECT_EQ(disk.files, newProgram());
            break;
        }

        disk.faultAt = 0;
        updater::install(disk, release);
        EXPECT_EQ(disk.files, newProgram());
        EXPECT_FALSE(disk.folders.contains("Updater/new"));
        if (testing::Test::HasFailure()) return;
    }
    // A folder and a write for each file, a replacement for each, the folders of two of them, and a cleaning before.
    EXPECT_GE(stops, 15);
}

INSTANTIATE_TEST_SUITE_P(Faults, Install,
                         testing::Values(Fault::error, Fault::cutBefore, Fault::cutAmid, Fault::cutAfter));

TEST(InstallError, IsToldAndItsLeftoversAreRemoved) {
    FaultyDisk disk;
    disk.files = oldProgram;
    disk.faultAt = 5; // the second file is being written
    EXPECT_THROW(updater::install(disk, release), std::system_error);
    EXPECT_EQ(disk.files, oldProgram);
}

} // namespace
