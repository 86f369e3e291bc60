#pragma once

#include <string>

#include "../Archive.h"
#include "../Disk.h"
#include "Handle.h"

namespace updater {

/// The real folder of the program.
///
/// Whoever looks into new files (a virus scanner, the search) holds them for moments: what replaces, removes and asks
/// after files waits some seconds for them.
class ProgramDisk : public Disk {
public:
    /// `folder` without a backslash at its end.
    explicit ProgramDisk(std::wstring folder);

    void removeFolder(std::string_view path) override;
    void removeEmptyFolder(std::string_view path) override;
    void makeFolder(std::string_view path) override;
    std::optional<std::string> readFile(std::string_view path) override;
    void writeFile(std::string_view path, std::string_view contents) override;
    void replaceFile(std::string_view from, std::string_view to) override;
    void removeFile(std::string_view path) override;
    void requireFree(std::string_view path) override;

private:
    std::wstring full(std::string_view path) const;

    std::wstring root;
};

/// A file's bytes, of largestArchive at most. Throws std::system_error with that name.
std::string readAll(HANDLE file, std::string_view name);

} // namespace updater
