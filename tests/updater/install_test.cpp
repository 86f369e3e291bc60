#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <system_error>
#include <utility>

#include <gtest/gtest.h>

#include "Install.h"

// Whatever happens while an update is installed, Quillory starts afterwards.

namespace {

using Files = std::map<std::string, std::string>;

/// The files of a version, the record among them.
Files program(const std::string& name, const std::string& version, const std::string& more) {
    Files files;
    std::string record = "Quillory " + version + '\n';
    for (const auto& path : {std::string("Quillory.exe"), std::string("Updater/update.exe"), more}) {
        files[path] = name + ' ' + path;
        record += std::string(64, 'a') + " 1 " + path + '\n';
    }
    files["Updater/release.txt"] = record;
    return files;
}

/// Beside the others' files; folders end with "/", but for "", which is the one around all.
Files onDisk(Files files, const Files& folders) {
    files.insert({{"", ""}, {"Updater/", ""}, {"Uninstall.exe", "uninstaller"}, {"mine.txt", "the person's own"}});
    files.insert(folders.begin(), folders.end());
    return files;
}

const Files newFiles = program("new", "1.0.113", "Help/Pages/index.txt"); // Quillory.exe is not the last among them
const Files newProgram = onDisk(newFiles, {{"Help/", ""}, {"Help/Pages/", ""}});
const Files oldProgram = onDisk(program("old", "1.0.112", "Notes/Old/old.txt"), {{"Notes/", ""}, {"Notes/Old/", ""}});

struct PowerCut {};

void nothing() {}

enum class Fault { error, cutBefore, cutAmid, cutAfter };

/// A disk in memory on which the call number `faultAt`, counted from 1, goes wrong.
class FaultyDisk : public updater::Disk {
public:
    explicit FaultyDisk(Fault kind = Fault::error, int at = 0) : fault(kind), faultAt(at) {}

    Files files = oldProgram;
    Fault fault;
    int calls = 0, faultAt;
    std::string held;

    void removeFolder(std::string_view path) override {
        const auto inside = std::string(path) + "/";
        const auto firstFile = files.upper_bound(inside), end = files.lower_bound(std::string(path) + "0"); // "/" + 1
        step([&] { files.erase(files.lower_bound(inside), end); },
             [&] { files.erase(firstFile, firstFile == end ? end : std::next(firstFile)); });
    }
    void removeEmptyFolder(std::string_view path) override {
        const auto folder = path.empty() ? "" : std::string(path) + "/";
        const auto isInside = [&](const auto& entry) { return entry.first.starts_with(folder); };
        step([&] {
            if (std::ranges::count_if(files, isInside) == 1) files.erase(folder);
        });
    }
    std::optional<std::string> readFile(std::string_view path) override {
        step(nothing);
        const auto found = files.find(std::string(path));
        return found == files.end() ? std::nullopt : std::optional(found->second);
    }
    void removeFile(std::string_view path) override {
        step([&] { files.erase(std::string(path)); });
    }
    void requireFree(std::string_view path) override {
        step(nothing);
        if (held == path) throw std::system_error(std::make_error_code(std::errc::device_or_resource_busy));
    }
    void makeFolder(std::string_view path) override {
        const auto folder = std::string(path) + "/";
        EXPECT_FALSE(files.contains(std::string(path))) << path << " is a file";
        step([&] {
            for (auto i = folder.find('/'); i != folder.npos; i = folder.find('/', i + 1))
                files.emplace(folder.substr(0, i + 1), "");
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
            files[std::string(to)] = files.at(std::string(from));
            files.erase(std::string(from));
        });
    }

private:
    void requireFolder(std::string_view path) const {
        ASSERT_TRUE(files.contains(std::string(path.substr(0, path.rfind('/') + 1)))) << path;
    }
    /// A call does its work, `half` of it where that can be, or none.
    void step(const std::function<void()>& work, const std::function<void()>& half = nothing) {
        if (++calls != faultAt) return work();
        if (fault == Fault::error || fault == Fault::cutAmid) half();
        if (fault == Fault::error) throw std::system_error(std::make_error_code(std::errc::permission_denied));
        if (fault == Fault::cutAfter) work();
        throw PowerCut();
    }
};

updater::Installation installation(updater::Disk& disk) {
    std::vector<updater::ArchiveFile> release;
    for (const auto& [path, contents] : newFiles) release.push_back({path, contents});
    return {disk, release};
}

void update(updater::Disk& disk) {
    auto update = installation(disk);
    update.putInPlace();
    update.finish();
}

void expectStartable(const Files& files) {
    const auto isThere = [&](const auto& file) {
        return files.contains(file.first) && files.at(file.first) == file.second;
    };
    for (const auto* path : {"Quillory.exe", "Updater/update.exe", "Updater/release.txt"})
        EXPECT_TRUE(isThere(*newFiles.find(path)) || isThere(*oldProgram.find(path))) << path;
    EXPECT_EQ(isThere(*newFiles.find("Quillory.exe")), std::ranges::all_of(newFiles, isThere));
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
        bool isDone = true;
        try {
            work(disk);
        } catch (const std::system_error&) {
            isDone = false;
            EXPECT_EQ(inPlace(disk.files), inPlace(oldProgram)); // all or nothing
        } catch (const PowerCut&) {
            isDone = false;
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
        auto update = installation(disk);
        update.putInPlace();
        EXPECT_EQ(disk.files["Quillory.exe"], "new Quillory.exe");
        disk.calls = 0;
        disk.faultAt = faultAt;
        update.putBack();
    };
    withFaultAtEachCall(Fault::cutBefore, goBack, [](const FaultyDisk& disk, bool isDone, bool) {
        expectStartable(disk.files);
        EXPECT_TRUE(!isDone || disk.files == oldProgram);
    });
}

TEST(Installation, HasARecordAndRespectsWhoHoldsAFile) {
    FaultyDisk disk;
    disk.held = "Updater/update.exe";
    EXPECT_THROW(update(disk), std::system_error);
    EXPECT_THROW(updater::removeInstalled(disk, {}), std::system_error);
    EXPECT_EQ(disk.files, oldProgram);

    disk.held = "";
    disk.files["Updater/new/Updater"] = disk.files["Updater/old/Updater"] = "left behind in another order of folders";
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
