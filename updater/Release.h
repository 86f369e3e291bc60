#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Archive.h"

namespace updater {

/// The version and the files of a release, as `Updater/release.txt` tells them: a line "Quillory 1.0.113", and a line
/// for each other file with its SHA-256, its size in bytes and its path. It is signed in the archive, and once it is
/// installed, it is the record of what belongs to Quillory in the program's folder.
struct Record {
    struct File {
        std::string path, hash;
        std::size_t size = 0;
    };
    std::array<std::uint32_t, 3> version{};
    std::vector<File> files;
};

inline constexpr std::string_view programPath = "Quillory.exe";
inline constexpr std::string_view updaterPath = "Updater/update.exe";
inline constexpr std::string_view recordPath = "Updater/release.txt";
inline constexpr std::string_view signaturePath = "Updater/release.sig"; ///< in the archive alone

/// ArchiveError for a text that is none.
Record readRecord(std::string_view text);

std::string versionText(const Record& record);

struct Release {
    Record record;
    std::vector<ArchiveFile> files; ///< the record among them, the signature not
};

/// The release that an archive's files make, or ArchiveError: its record carries the maker's signature, it has just the
/// files that the record tells, with the same bytes, and its programs are programs. `key` as isSignedBy() takes it.
Release checkedRelease(std::vector<ArchiveFile> files, std::string_view key);

/// ArchiveError for a release that is older than the version that is installed.
void refuseOlder(const Record& offered, const std::array<std::uint32_t, 3>& installed);

} // namespace updater
