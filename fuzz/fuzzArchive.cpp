#include <set>

#include "Archive.h"
#include "Fuzz.h"
#include "core/FileNames.h"

/// Reads any bytes as the archive of an update: it is refused, or each of its files lands below the program's folder in
/// a place of its own, whatever Windows makes of the name.
inline void fuzzArchive(const std::uint8_t* data, std::size_t size) {
    try {
        std::set<std::string> names;
        std::size_t total = 0;
        for (const auto& file : updater::readArchive({reinterpret_cast<const char*>(data), size})) {
            for (std::size_t start = 0, end = 0; end < file.path.size(); start = end + 1) {
                end = std::min(file.path.find('/', start), file.path.size());
                require(isPlainName(file.path.substr(start, end - start)));
            }
            require(!file.path.empty() && names.insert(foldedName(file.path)).second);
            total += file.contents.size();
        }
        require(total <= updater::largestArchive);
    } catch (const updater::ArchiveError&) {
    }
}

FUZZ_TARGET(fuzzArchive)
