#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace updater {

/// The program's folder, as far as an update touches it. Paths are relative to it, with "/" between folders. A call
/// that cannot do its work throws std::system_error, and what it was to change may then be half done, but for
/// replaceFile().
class Disk {
public:
    virtual ~Disk() = default;

    /// Removes a folder and all that is in it; fine if there is none.
    virtual void removeFolder(std::string_view path) = 0;

    /// Removes a folder if nothing is in it; fine if there is none.
    virtual void removeEmptyFolder(std::string_view path) = 0;

    /// Makes a folder and those above it; fine if it is there.
    virtual void makeFolder(std::string_view path) = 0;

    /// What a file contains; none if there is no such file.
    virtual std::optional<std::string> readFile(std::string_view path) = 0;

    /// Writes a new file in a folder that is there. When it returns, the contents would survive a power cut.
    virtual void writeFile(std::string_view path, std::string_view contents) = 0;

    /// Gives the file `from` the place of `to`, whether there is one or not, in one step: at any moment, and after a
    /// power cut, `to` is the old file or the new one, whole. When it returns, it would survive a power cut.
    virtual void replaceFile(std::string_view from, std::string_view to) = 0;

    /// Removes a file; fine if there is none.
    virtual void removeFile(std::string_view path) = 0;

    /// Throws if somebody holds a file, as the system does with a program that runs; fine if there is no such file.
    virtual void requireFree(std::string_view path) = 0;
};

} // namespace updater
