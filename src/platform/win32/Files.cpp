#include "platform/Files.h"

#include <algorithm>
#include <map>

#include <windows.h>

#include "platform/RunTimeError.h"
#include "platform/win32/FileReader.h"

namespace {

constexpr DWORD settable =
    FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE;

struct Opened {
    HANDLE handle = INVALID_HANDLE_VALUE;
    std::wstring path;
};
std::map<std::int16_t, Opened> openFiles;

bool isFolder(const std::wstring& path) {
    const DWORD bits = GetFileAttributesW(path.c_str());
    return bits != INVALID_FILE_ATTRIBUTES && (bits & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

std::int32_t numberOf(DWORD reason, const std::wstring& path) {
    switch (reason) {
    case ERROR_FILE_NOT_FOUND: return errors::fileNotFound;
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME: return errors::pathNotFound;
    case ERROR_ACCESS_DENIED: // a folder is refused in the same words
        return isFolder(path) ? errors::pathFileAccess : errors::permissionDenied;
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_USER_MAPPED_FILE:
    case ERROR_WRITE_PROTECT: return errors::permissionDenied;
    case ERROR_ALREADY_EXISTS:
    case ERROR_FILE_EXISTS:
    case ERROR_DIRECTORY:
    case ERROR_INVALID_NAME:
    case ERROR_FILENAME_EXCED_RANGE: return errors::pathFileAccess;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
    case 1295: // ERROR_DISK_QUOTA_EXCEEDED, which not every header has
        return errors::diskFull;
    default: return errors::deviceIOError;
    }
}

[[noreturn]] void fail(const std::wstring& path) { throw RunTimeError(numberOf(GetLastError(), path)); }

const Opened& openedFile(std::int16_t number) {
    const auto found = openFiles.find(number);
    if (found == openFiles.end()) throw RunTimeError(errors::badFileNumber);
    return found->second;
}

std::int16_t freeNumber() {
    for (std::int16_t number = 1; number <= 511; ++number) {
        if (!openFiles.contains(number)) return number;
    }
    throw RunTimeError(errors::tooManyFiles);
}

} // namespace

namespace platform {

namespace win32 {

FileReader::FileReader(const std::wstring& filePath)
    : path(filePath),
      handle(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                         OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)) {
    if (handle == INVALID_HANDLE_VALUE) fail(path);
}

FileReader::~FileReader() { CloseHandle(handle); }

std::size_t FileReader::size() {
    LARGE_INTEGER length;
    if (!GetFileSizeEx(handle, &length)) fail(path);
    return static_cast<std::size_t>(std::min<std::int64_t>(length.QuadPart, INT32_MAX));
}

std::size_t FileReader::read(char* into, std::size_t size) {
    DWORD taken = 0;
    if (!ReadFile(handle, into, static_cast<DWORD>(size), &taken, nullptr)) fail(path);
    return taken;
}

} // namespace win32

std::optional<std::uint32_t> fileAttributes(const std::wstring& path) {
    const DWORD bits = GetFileAttributesW(path.c_str());
    if (bits == INVALID_FILE_ATTRIBUTES) return std::nullopt;
    return bits & (settable | FILE_ATTRIBUTE_DIRECTORY);
}

void setFileAttributes(const std::wstring& path, std::uint32_t bits) {
    const DWORD wanted = bits & settable;
    if (!SetFileAttributesW(path.c_str(), wanted != 0 ? wanted : FILE_ATTRIBUTE_NORMAL)) fail(path);
}

std::wstring findFile(const std::wstring& path, std::uint32_t allowed) {
    if (path.find_first_of(L"*?") != std::wstring::npos) return {}; // the call would search
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW(path.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return {};
    FindClose(search);
    constexpr DWORD special = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_DIRECTORY;
    if ((found.dwFileAttributes & special & ~allowed) != 0) return {};
    return found.cFileName;
}

void deleteFile(const std::wstring& path) {
    if (!DeleteFileW(path.c_str())) fail(path);
}

void makeDirectory(const std::wstring& path) {
    if (CreateDirectoryW(path.c_str(), nullptr)) return;
    const std::int32_t number = numberOf(GetLastError(), path);
    throw RunTimeError(number == errors::permissionDenied ? errors::pathFileAccess : number);
}

std::int16_t openBinary(const std::wstring& path) {
    const std::int16_t number = freeNumber();
    const HANDLE handle = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) fail(path);
    openFiles[number] = {handle, path};
    return number;
}

std::int64_t fileLength(std::int16_t number) {
    const Opened& file = openedFile(number);
    LARGE_INTEGER length;
    if (!GetFileSizeEx(file.handle, &length)) fail(file.path);
    return length.QuadPart;
}

void writeFile(std::int16_t number, std::int64_t position, const std::string& bytes) {
    const Opened& file = openedFile(number);
    LARGE_INTEGER offset;
    offset.QuadPart = position - 1;
    DWORD written = 0;
    if (!SetFilePointerEx(file.handle, offset, nullptr, FILE_BEGIN) ||
        !WriteFile(file.handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr))
        fail(file.path);
    if (written != bytes.size()) throw RunTimeError(errors::diskFull);
}

void flushFile(std::int16_t number) {
    const Opened& file = openedFile(number);
    if (!FlushFileBuffers(file.handle)) fail(file.path);
}

void replaceFile(const std::wstring& path, const std::wstring& by) {
    if (!MoveFileExW(by.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING)) fail(path);
}

void closeFile(std::int16_t number) {
    const auto found = openFiles.find(number);
    if (found == openFiles.end()) return;
    CloseHandle(found->second.handle);
    openFiles.erase(found);
}

std::string readWholeFile(const std::wstring& path) {
    win32::FileReader file(path);
    std::string bytes;
    bytes.reserve(file.size());
    char piece[65536];
    while (const std::size_t taken = file.read(piece, sizeof piece)) bytes.append(piece, taken);
    return bytes;
}

} // namespace platform
