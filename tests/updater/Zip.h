#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// A zip archive that can lie in each of its fields. As built, it is right.
struct Zip {
    struct Header {
        std::uint32_t version = 20, flags = 0, method = 8, date = 0x5b21, crc = 0, packedSize = 0, fullSize = 0;
        std::string name, extra;
    };
    struct Entry {
        Header local, central;
        std::string packed;
        std::uint32_t attributes = 0, disk = 0;
        std::optional<std::uint32_t> position; ///< of the local header, if not where it is
    };

    /// Adds a file, deflated or stored, or a folder if the name ends with "/".
    Entry& add(const std::string& name, const std::string& contents, bool isDeflated = true);

    /// What both headers of an entry are to say.
    template <typename Change> void inBoth(std::size_t entry, Change change) {
        change(entries[entry].local);
        change(entries[entry].central);
    }

    std::string bytes() const;

    std::vector<Entry> entries;

    /// Bytes where there should be none: before everything, before the directory, at its end, and behind everything.
    std::string before, gap, tail, comment, after;

    /// What is added to the numbers at the end of the archive.
    struct {
        std::uint32_t disk = 0, countHere = 0, count = 0, size = 0, commentSize = 0;
    } lie;
};
