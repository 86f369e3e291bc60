#pragma once

#include <cstddef>
#include <string>

/// A file read from its start. Failures are raised as Files.h tells.
namespace platform::win32 {

class FileReader {
public:
    explicit FileReader(const std::wstring& path);
    FileReader(const FileReader&) = delete;
    FileReader& operator=(const FileReader&) = delete;
    ~FileReader();

    /// Bytes in the file as it is now; at most 2^31 - 1.
    std::size_t size();

    /// Reads up to `size` bytes; 0 at the end of the file.
    std::size_t read(char* into, std::size_t size);

private:
    std::wstring path;
    void* handle;
};

} // namespace platform::win32
