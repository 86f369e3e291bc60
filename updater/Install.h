#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Disk.h"
#include "Release.h"

namespace updater {

/// The record of what is installed; none if there is none, or what is there is no record.
std::optional<Record> installedRecord(Disk& disk);

/// One release on its way into the program's folder. Errors of the disk are std::system_error.
///
/// However it ends, by a crash or a power cut, each file is the old one or the new one, and Quillory.exe, which comes
/// last, is new only if all others are. So no journal has to be kept: what is there starts, and the next update begins
/// anew. The price is a rule for releases: every other file has to do for the program before it as well.
class Installation {
public:
    Installation(Disk& disk, std::vector<ArchiveFile> files);

    /// Gives each file its place, and keeps the old ones aside. All or nothing: an error leaves everything as it was.
    void putInPlace();

    /// Brings the old files back, and removes what was not there.
    void putBack();

    /// When the new program has come up: removes what belonged to the old one alone, and what was kept aside.
    void finish();

private:
    void stage();

    Disk& disk;
    std::vector<ArchiveFile> files;    ///< in the order in which they get their places
    std::vector<std::string> obsolete; ///< files of the old version that the new one no longer has
    std::vector<std::string> placed;   ///< what putBack() has to undo
};

/// Takes all that is on record, and `more`, out of the program's folder. All or nothing, as far as an error goes: once
/// everything has left its place, what cannot be deleted stays behind in Updater/old. Folders go if nothing of somebody
/// else is in them.
void removeInstalled(Disk& disk, std::vector<std::string> more);

} // namespace updater
