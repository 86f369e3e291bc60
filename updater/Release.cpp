#include "Release.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "Program.h"
#include "Signature.h"
#include "core/FileNames.h"

namespace updater {

namespace {

[[noreturn]] void refuseRecord() { throw ArchiveError("its list of files is damaged"); }

/// Takes the text up to a mark, and the mark.
std::string_view take(std::string_view& text, char mark) {
    const auto end = text.find(mark);
    if (end == text.npos) refuseRecord();
    const auto taken = text.substr(0, end);
    text.remove_prefix(end + 1);
    return taken;
}

/// A decimal number in its one spelling.
template <typename Number> Number toNumber(std::string_view text) {
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || (text.size() > 1 && text[0] == '0')) refuseRecord();
    return value;
}

/// In the updater's own folder an update may change the updater, and nothing that it is working with.
bool isInTheWay(const ArchiveFile& file) {
    const auto place = foldedName(file.path);
    if (place == "uninstall.exe") return true; // the setup program's own
    return place.starts_with("updater/") && file.path != updaterPath && file.path != recordPath;
}

/// Takes the file of that name out of a release.
std::string taken(std::vector<ArchiveFile>& files, std::string_view path) {
    const auto found = std::ranges::find(files, path, &ArchiveFile::path);
    if (found == files.end()) throw ArchiveError("it is not signed");
    std::string contents = std::move(found->contents);
    files.erase(found);
    return contents;
}

const ArchiveFile* find(const std::vector<ArchiveFile>& files, std::string_view path) {
    const auto found = std::ranges::find(files, path, &ArchiveFile::path);
    return found == files.end() ? nullptr : &*found;
}

} // namespace

Record readRecord(std::string_view text) {
    Record record;
    if (take(text, ' ') != "Quillory") refuseRecord();
    record.version[0] = toNumber<std::uint32_t>(take(text, '.'));
    record.version[1] = toNumber<std::uint32_t>(take(text, '.'));
    record.version[2] = toNumber<std::uint32_t>(take(text, '\n'));
    while (!text.empty()) {
        Record::File file;
        file.hash = take(text, ' ');
        file.size = toNumber<std::size_t>(take(text, ' '));
        file.path = take(text, '\n');
        for (std::string_view rest = file.path; !rest.empty();) {
            const auto name = rest.substr(0, rest.find('/'));
            rest.remove_prefix(std::min(rest.size(), name.size() + 1));
            if (!isPlainName(name)) refuseRecord();
        }
        const bool isTwice = std::ranges::count(record.files, file.path, &Record::File::path) != 0;
        if (file.path.empty() || file.path.ends_with('/') || file.hash.size() != 64 || isTwice) refuseRecord();
        record.files.push_back(std::move(file));
    }
    return record;
}

std::string versionText(const Record& record) {
    const auto& version = record.version;
    return std::to_string(version[0]) + '.' + std::to_string(version[1]) + '.' + std::to_string(version[2]);
}

Release checkedRelease(std::vector<ArchiveFile> files, std::string_view key) {
    const std::string signature = taken(files, signaturePath);
    const ArchiveFile* const list = find(files, recordPath);
    if (!list || !isSignedBy(key, list->contents, signature)) throw ArchiveError("it is not signed by its maker");

    Record record = readRecord(list->contents);
    for (const auto& told : record.files) {
        const ArchiveFile* const file = find(files, told.path);
        if (!file || file == list || file->contents.size() != told.size || sha256(file->contents) != told.hash)
            throw ArchiveError("it is not what its maker has signed");
    }
    // No two of the archive's names are the same, so equal counts leave no file that has not been told.
    if (files.size() != record.files.size() + 1) throw ArchiveError("it is not what its maker has signed");
    for (const auto path : {programPath, updaterPath})
        if (const auto* program = find(files, path); !program || !isProgram(program->contents))
            throw ArchiveError("Quillory is not in it");
    if (std::ranges::any_of(files, isInTheWay)) throw ArchiveError("it has a forbidden name in it");
    return {std::move(record), std::move(files)};
}

void refuseOlder(const Record& offered, const std::array<std::uint32_t, 3>& installed) {
    if (offered.version < installed) throw ArchiveError("it is older than what is installed");
}

} // namespace updater
