#include "Install.h"

#include <algorithm>
#include <set>
#include <system_error>

namespace updater {

namespace {

/// Beside the files that they are for: a file can be given another's place in one step only on one volume. Being made
/// in the program's folder, the new files also get its permissions.
const std::string staging = "Updater/new/";
const std::string aside = "Updater/old/";

std::string folderOf(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == path.npos ? "" : path.substr(0, slash);
}

void makeFolderOf(Disk& disk, const std::string& path) {
    if (const auto folder = folderOf(path); !folder.empty()) disk.makeFolder(folder);
}

/// Removes the folders that a file has left empty, but for the updater's own.
void removeFoldersOf(Disk& disk, const std::string& path) {
    for (auto folder = folderOf(path); !folder.empty() && folder != "Updater"; folder = folderOf(folder))
        disk.removeEmptyFolder(folder);
}

/// None for a file that is no record: it tells of nothing.
std::optional<Record> recordIn(Disk& disk, const std::string& path) {
    try {
        if (const auto text = disk.readFile(path)) return readRecord(*text);
    } catch (const ArchiveError&) {
        return {};
    }
    return {};
}

/// What belongs to the version that is installed, and to the one before it where an update has been broken off.
std::set<std::string> installedFiles(Disk& disk) {
    std::set<std::string> paths;
    const std::string path(recordPath);
    for (const auto& place : {path, aside + path})
        if (const auto record = recordIn(disk, place))
            for (const auto& file : record->files) paths.insert(file.path);
    return paths;
}

/// What is left behind harms nobody, and the next update begins with removing it.
void cleanUp(Disk& disk) {
    for (const auto* folder : {"Updater/new", "Updater/old"}) {
        try {
            disk.removeFolder(folder);
        } catch (const std::system_error&) {
            continue;
        }
    }
}

} // namespace

std::optional<Record> installedRecord(Disk& disk) { return recordIn(disk, std::string(recordPath)); }

Installation::Installation(Disk& theDisk, std::vector<ArchiveFile> theFiles)
    : disk(theDisk), files(std::move(theFiles)) {
    const auto isNotLast = [](const ArchiveFile& file) { return file.path != programPath; };
    std::ranges::stable_partition(files, isNotLast);
}

void Installation::stage() {
    for (const auto& path : installedFiles(disk))
        if (std::ranges::find(files, path, &ArchiveFile::path) == files.end()) obsolete.push_back(path);
    disk.removeFolder("Updater/new");
    disk.removeFolder("Updater/old");
    for (const auto& file : files) {
        makeFolderOf(disk, staging + file.path);
        disk.writeFile(staging + file.path, file.contents);
        if (const auto old = disk.readFile(file.path)) {
            disk.requireFree(file.path);
            makeFolderOf(disk, aside + file.path);
            disk.writeFile(aside + file.path, *old);
        }
    }
}

void Installation::putInPlace() {
    try {
        stage();
        for (const auto& file : files) {
            makeFolderOf(disk, file.path);
            disk.replaceFile(staging + file.path, file.path);
            placed.push_back(file.path);
        }
    } catch (const std::system_error&) {
        putBack();
        throw;
    }
}

void Installation::putBack() {
    while (!placed.empty()) { // the last first: the new program must not be met without its files
        const std::string path = placed.back();
        if (disk.readFile(aside + path))
            disk.replaceFile(aside + path, path);
        else
            disk.removeFile(path);
        removeFoldersOf(disk, path);
        placed.pop_back();
    }
    cleanUp(disk);
}

void Installation::finish() {
    try {
        for (const auto& path : obsolete) {
            disk.removeFile(path);
            removeFoldersOf(disk, path);
        }
    } catch (const std::system_error&) {
        return; // the old record stays aside, and tells the next update and the uninstaller what there is to remove
    }
    cleanUp(disk);
}

void removeInstalled(Disk& disk, std::vector<std::string> more) {
    auto paths = installedFiles(disk);
    paths.insert({std::string(programPath), std::string(updaterPath), std::string(recordPath)});
    paths.insert(more.begin(), more.end());
    std::vector<std::string> moved;
    try {
        for (const auto& path : paths) disk.requireFree(path);
        disk.removeFolder("Updater/new");
        disk.removeFolder("Updater/old");
        for (const auto& path : paths) {
            if (!disk.readFile(path)) continue;
            makeFolderOf(disk, aside + path);
            disk.replaceFile(path, aside + path);
            moved.push_back(path);
        }
    } catch (const std::system_error&) {
        for (const auto& path : moved) disk.replaceFile(aside + path, path);
        cleanUp(disk);
        throw;
    }
    // From here on Quillory is gone. Whoever still holds what lies aside cannot bring it back.
    cleanUp(disk);
    try {
        for (const auto& path : paths) removeFoldersOf(disk, path);
        disk.removeEmptyFolder("Updater");
        disk.removeEmptyFolder("");
    } catch (const std::system_error&) {
        return;
    }
}

} // namespace updater
