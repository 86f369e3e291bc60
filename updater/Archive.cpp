#include "Archive.h"

#include <cstdint>
#include <set>

#include "Inflate.h"
#include "core/FileNames.h"

namespace updater {

namespace {

constexpr std::size_t mostEntries = 1000;
constexpr std::size_t longestPath = 160; // what MAX_PATH, 260, leaves below the program's folder

constexpr std::string_view localMark{"PK\3\4", 4};
constexpr std::string_view centralMark{"PK\1\2", 4};
constexpr std::string_view endMark{"PK\5\6", 4};

/// Reads fields one behind the other; what lies beyond the end is a damaged archive.
class Reader {
public:
    explicit Reader(std::string_view bytes) : rest(bytes) {}

    std::string_view take(std::size_t count) {
        if (count > rest.size()) throw ArchiveError("it ends too early");
        const auto taken = rest.substr(0, count);
        rest.remove_prefix(count);
        return taken;
    }
    std::uint32_t number(std::size_t bytes) {
        std::uint32_t value = 0;
        unsigned shift = 0;
        for (const char byte : take(bytes)) {
            value |= std::uint32_t{static_cast<unsigned char>(byte)} << shift;
            shift += 8;
        }
        return value;
    }
    std::uint32_t word() { return number(2); }
    std::uint32_t dword() { return number(4); }
    void expect(std::string_view mark) {
        if (take(mark.size()) != mark) throw ArchiveError("its directory is damaged");
    }
    std::size_t left() const { return rest.size(); }

private:
    std::string_view rest;
};

/// The words that stand in both headers of an entry.
struct Common {
    static constexpr std::size_t size = 24;
    std::string_view raw;
    std::uint32_t flags, method, crc, packedSize, fullSize, nameSize;

    explicit Common(std::string_view words) : raw(words) {
        Reader reader(words);
        const auto version = reader.word() & 0xff; // the upper byte tells the system that made it
        flags = reader.word();
        method = reader.word();
        reader.take(4); // time and date
        crc = reader.dword();
        packedSize = reader.dword();
        fullSize = reader.dword();
        nameSize = reader.word();
        if (version > 20) throw ArchiveError("it needs a newer updater");
    }
};

struct Entry {
    Common common;
    std::string_view name;
    std::uint32_t attributes, position;

    bool isFolder() const { return name.ends_with('/'); }
};

Entry readEntry(Reader& directory) {
    directory.expect(centralMark);
    directory.word(); // made by
    const Common common(directory.take(Common::size));
    const auto extraSize = directory.word();
    const auto commentSize = directory.word();
    if (directory.word() != 0) throw ArchiveError("it has more than one part");
    directory.word(); // whether it is a text
    const auto attributes = directory.dword();
    const auto position = directory.dword();
    const auto name = directory.take(common.nameSize);
    directory.take(extraSize);
    directory.take(commentSize);
    return {common, name, attributes, position};
}

/// The names of an archive so far: no two files may land in one place, and no file where a folder has to be.
class Names {
public:
    void add(std::string_view path, bool isFolder) {
        if (path.size() > longestPath) throw ArchiveError("it has a forbidden name in it");
        if (isFolder) path.remove_suffix(1);
        for (std::size_t begin = 0, slash = 0; slash != path.npos; begin = slash + 1) {
            slash = path.find('/', begin);
            if (!isPlainName(path.substr(begin, slash - begin))) throw ArchiveError("it has a forbidden name in it");
            if (slash != path.npos) addFolder(path.substr(0, slash));
        }
        isFolder ? addFolder(path) : addFile(path);
    }

private:
    void addFolder(std::string_view path) {
        const auto place = foldedName(path);
        if (files.contains(place)) refuse();
        folders.insert(place);
    }
    void addFile(std::string_view path) {
        const auto place = foldedName(path);
        if (folders.contains(place) || !files.insert(place).second) refuse();
    }
    [[noreturn]] static void refuse() { throw ArchiveError("it has two files of one name"); }

    std::set<std::string> files, folders;
};

/// Bit 0x10 of the lower half means a folder to DOS; the type of a Unix file stands in the four highest bits.
void checkKind(const Entry& entry) {
    constexpr std::uint32_t none = 0, regular = 8, folder = 4;
    const auto type = entry.attributes >> 28;
    const bool fits = entry.isFolder() ? type == none || type == folder : type == none || type == regular;
    const bool isLabelOrLink = (entry.attributes & 0x408) != 0;
    const bool isFolderToDos = (entry.attributes & 0x10) != 0;
    if (!fits || isLabelOrLink || (isFolderToDos && !entry.isFolder())) throw ArchiveError("it has a link in it");
}

std::string unpack(const Entry& entry, std::string_view packed) {
    // Bits 1 and 2 tell how hard the packer tried, bit 11 that names are UTF-8, which plain names always are.
    if (entry.common.flags & ~0x806u) throw ArchiveError("it is encrypted, or not as a release is packed");
    std::string contents;
    if (entry.common.method == 8)
        contents = inflated(packed, entry.common.fullSize);
    else if (entry.common.method == 0 && packed.size() == entry.common.fullSize)
        contents = packed;
    else
        throw ArchiveError("it is packed in an unknown way");
    if (crcOf(contents) != entry.common.crc) throw ArchiveError("a file in it is damaged");
    return contents;
}

} // namespace

std::vector<ArchiveFile> readArchive(std::string_view bytes) {
    constexpr std::size_t endSize = 22;
    if (bytes.size() < endSize) throw ArchiveError("it ends too early");
    const auto endPosition = bytes.size() - endSize;
    Reader end(bytes.substr(endPosition));
    end.expect(endMark);
    const auto disks = end.dword();
    const auto countHere = end.word();
    const auto count = end.word();
    const auto directorySize = end.dword();
    const auto directoryPosition = end.dword();
    const auto commentSize = end.word();
    if (disks != 0 || countHere != count || commentSize != 0 || count > mostEntries ||
        std::uint64_t{directoryPosition} + directorySize != endPosition)
        throw ArchiveError("its directory is damaged");

    Reader directory(bytes.substr(directoryPosition, directorySize));
    Reader body(bytes.substr(0, directoryPosition));
    Names names;
    std::vector<ArchiveFile> files;
    std::size_t room = largestArchive;
    for (std::uint32_t i = 0; i < count; ++i) {
        const Entry entry = readEntry(directory);
        names.add(entry.name, entry.isFolder());
        checkKind(entry);
        if (entry.common.fullSize > room) throw ArchiveError("it is too large");
        room -= entry.common.fullSize;

        if (entry.position != directoryPosition - body.left()) throw ArchiveError("its files overlap");
        body.expect(localMark);
        const bool isSame = body.take(Common::size) == entry.common.raw;
        const auto extraSize = body.word();
        if (!isSame || body.take(entry.common.nameSize) != entry.name) throw ArchiveError("its two directories differ");
        body.take(extraSize);
        std::string contents = unpack(entry, body.take(entry.common.packedSize));
        if (entry.isFolder() && !contents.empty()) throw ArchiveError("it has a folder with contents");
        if (!entry.isFolder()) files.push_back({std::string(entry.name), std::move(contents)});
    }
    if (directory.left() != 0 || body.left() != 0) throw ArchiveError("its directory is damaged");
    return files;
}

} // namespace updater
