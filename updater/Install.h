#pragma once

#include <vector>

#include "Archive.h"
#include "Disk.h"

namespace updater {

/// Throws ArchiveError unless the files make a release: Quillory's program has to be among them.
void checkRelease(const std::vector<ArchiveFile>& files);

/// Puts the files of a release into the program's folder. Throws std::system_error if that cannot be done.
///
/// However it ends, by an error, a crash or a power cut, each file is the old one or the new one, and Quillory.exe,
/// which comes last, is new only if all others are. So there is nothing to be undone and no journal to be kept: what is
/// there starts, and the next update begins anew. The price is a rule for releases: every other file has to do for the
/// program before it as well.
void install(Disk& disk, const std::vector<ArchiveFile>& files);

} // namespace updater
