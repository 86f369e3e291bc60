#include "Install.h"

#include <algorithm>
#include <system_error>

#include "Names.h"

namespace updater {

namespace {

constexpr std::string_view program = "Quillory.exe";

/// Beside the files that it is for: a file can be given another's place in one step only on one volume. Being made in
/// the program's folder, the new files also get its permissions.
const std::string staging = "Updater/new";

std::string stagedPath(const ArchiveFile& file) { return staging + "/" + file.path; }

void makeFolderOf(Disk& disk, const std::string& path) {
    if (const auto slash = path.rfind('/'); slash != path.npos) disk.makeFolder(path.substr(0, slash));
}

/// What is left behind harms nobody, and the next update begins with removing it.
void cleanUp(Disk& disk) {
    try {
        disk.removeFolder(staging);
    } catch (const std::system_error&) {
    }
}

void stage(Disk& disk, const std::vector<ArchiveFile>& files) {
    disk.removeFolder(staging);
    for (const auto& file : files) {
        makeFolderOf(disk, stagedPath(file));
        disk.writeFile(stagedPath(file), file.contents);
    }
}

void putInPlace(Disk& disk, const ArchiveFile& file) {
    makeFolderOf(disk, file.path);
    disk.replaceFile(stagedPath(file), file.path);
}

/// In the updater's own folder an update may change the updater, and nothing that it is working with.
bool isInTheWay(const ArchiveFile& file) {
    const auto place = foldedName(file.path);
    return place.starts_with("updater/") && place != "updater/update.exe";
}

} // namespace

void checkRelease(const std::vector<ArchiveFile>& files) {
    const auto found = std::ranges::find(files, program, &ArchiveFile::path);
    // Every Windows program begins with these two letters.
    if (found == files.end() || !found->contents.starts_with("MZ")) throw ArchiveError("Quillory is not in it");
    if (std::ranges::any_of(files, isInTheWay)) throw ArchiveError("it has a forbidden name in it");
}

void install(Disk& disk, const std::vector<ArchiveFile>& files) {
    try {
        stage(disk, files);
        for (const auto& file : files)
            if (file.path != program) putInPlace(disk, file);
        for (const auto& file : files)
            if (file.path == program) putInPlace(disk, file);
    } catch (const std::system_error&) {
        cleanUp(disk);
        throw;
    }
    cleanUp(disk);
}

} // namespace updater
