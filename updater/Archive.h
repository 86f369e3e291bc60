#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace updater {

/// What an archive is refused for, in a few words for a person.
class ArchiveError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct ArchiveFile {
    std::string path; ///< below the program's folder, with "/" between folders
    std::string contents;
};

/// No larger archive is opened, and none unpacked that gets larger, in bytes. A release takes a few megabytes.
inline constexpr std::size_t largestArchive = 64u << 20;

/// The files of a release, all of them checked to the last byte, or ArchiveError.
///
/// Of the zip format (APPNOTE.TXT 6.3, PKWARE) it accepts what a release is made of, and nothing that two readers could
/// read differently: stored and deflated files and folders, one behind the other in the order of the directory, without
/// gaps, comments, encryption, links or 64-bit sizes, each header written twice with the same words.
std::vector<ArchiveFile> readArchive(std::string_view bytes);

} // namespace updater
