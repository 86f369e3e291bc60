#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// Files by full path, with backslashes as separators. Failures are raised as RunTimeError: fileNotFound (53),
/// pathNotFound (76), permissionDenied (70) for a file in use or a refused access, pathFileAccess (75) for a path that
/// is no file or cannot be made, diskFull (61), deviceIOError (57) for anything else.
namespace platform {

namespace attributes { // the platform's FILE_ATTRIBUTE_ bits
inline constexpr std::uint32_t readOnly = 1;
inline constexpr std::uint32_t hidden = 2;
inline constexpr std::uint32_t system = 4;
inline constexpr std::uint32_t directory = 16;
inline constexpr std::uint32_t archive = 32;
} // namespace attributes

/// Attribute bits of a file or folder; nothing if they cannot be read for whatever reason. Raises nothing.
std::optional<std::uint32_t> fileAttributes(const std::wstring& path);

/// Sets the attribute bits (0 for none).
void setFileAttributes(const std::wstring& path, std::uint32_t bits);

/// The name, without folder and in the letter case of the file system, of the file that `path` names; empty if there is
/// none, or if it has an attribute out of hidden, system and directory that `allowed` does not include. Raises nothing.
std::wstring findFile(const std::wstring& path, std::uint32_t allowed);

void deleteFile(const std::wstring& path);

/// Makes one level of a folder.
void makeDirectory(const std::wstring& path);

/// Opens a file for reading and writing, creating it if it is missing, and keeps its content. Others may read it
/// meanwhile. Returns its file number, 1 to 511; raises tooManyFiles (67) when all are taken.
std::int16_t openBinary(const std::wstring& path);

/// Length in bytes. Raises badFileNumber (52) for a number that is not open, as the next operations do.
std::int64_t fileLength(std::int16_t number);

/// Writes all the bytes at a position counted from 1. A gap before them reads as zeros.
void writeFile(std::int16_t number, std::int64_t position, const std::string& bytes);

/// Closes the file; a number that is not open is let pass.
void closeFile(std::int16_t number);

/// Returns when what was written is on the disk itself, where no power cut takes it back.
void flushFile(std::int16_t number);

/// Gives the file `by` the name `path` in the same folder, in one step; a file that bore it is gone.
void replaceFile(const std::wstring& path, const std::wstring& by);

/// The whole content of a file.
std::string readWholeFile(const std::wstring& path);

/// New content for a file. It is written beside it, to `path` with ".new" behind it, and takes its place only when it
/// is whole, so that whatever happens `path` names the old content or the new.
class Replacement {
public:
    /// Raises permissionDenied (70) at once for a file that is read-only.
    explicit Replacement(const std::wstring& path);
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    /// Without a commit all stays as it was.
    ~Replacement();

    /// As writeFile.
    void write(std::int64_t position, const std::string& bytes);
    void commit();

private:
    std::wstring target, fresh;
    std::int16_t number = 0;
    bool committed = false;
};

} // namespace platform
