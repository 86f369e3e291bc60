#pragma once

#include <memory>
#include <string>

#include "../Disk.h"

namespace updater {

/// The real folder of the program.
class ProgramDisk : public Disk {
public:
    /// `folder` without a backslash at its end.
    explicit ProgramDisk(std::wstring folder);

    void removeFolder(std::string_view path) override;
    void makeFolder(std::string_view path) override;
    void writeFile(std::string_view path, std::string_view contents) override;

    /// Whoever looks into new files (a virus scanner, the search) holds them for moments: this waits some seconds for
    /// them.
    void replaceFile(std::string_view from, std::string_view to) override;

private:
    std::wstring full(std::string_view path) const;

    std::wstring root;
};

/// The disk that an update is installed on. Each program that is made of these sources brings its own.
std::unique_ptr<Disk> openDisk(const std::wstring& folder);

} // namespace updater
