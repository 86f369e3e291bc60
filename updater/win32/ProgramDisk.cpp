#include "ProgramDisk.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "Handle.h"

namespace updater {

namespace {

constexpr DWORD holdersPatience = 5000; // milliseconds
constexpr DWORD betweenTries = 100;

[[noreturn]] void fail(std::string_view path, DWORD error) {
    throw std::system_error(static_cast<int>(error), std::system_category(), std::string(path));
}

/// A folder is not empty for as long as somebody has a file in it open that has been deleted.
bool isHeldByAnother(DWORD error) {
    return error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION ||
           error == ERROR_DIR_NOT_EMPTY;
}

bool isMissing(DWORD error) { return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND; }

/// Tries again for some seconds while somebody holds the file.
template <typename Call> void patiently(std::string_view path, Call call) {
    const auto start = GetTickCount64();
    while (!call()) {
        const DWORD error = GetLastError();
        if (!isHeldByAnother(error) || GetTickCount64() - start > holdersPatience) fail(path, error);
        Sleep(betweenTries);
    }
}

} // namespace

ProgramDisk::ProgramDisk(std::wstring folder) : root(std::move(folder)) {}

std::wstring ProgramDisk::full(std::string_view path) const {
    std::wstring all = root;
    if (!path.empty()) all += L'\\' + std::wstring(path.begin(), path.end()); // plain names are ASCII
    std::ranges::replace(all, L'/', L'\\');
    return all;
}

void ProgramDisk::removeFolder(std::string_view path) {
    patiently(path, [&] {
        std::error_code error;
        std::filesystem::remove_all(full(path), error);
        const bool isOfSystem = error.category() == std::system_category();
        SetLastError(isOfSystem ? static_cast<DWORD>(error.value()) : ERROR_ACCESS_DENIED);
        return !error;
    });
}

void ProgramDisk::removeEmptyFolder(std::string_view path) {
    if (RemoveDirectoryW(full(path).c_str())) return;
    const DWORD error = GetLastError();
    if (!isMissing(error) && !isHeldByAnother(error)) fail(path, error);
}

void ProgramDisk::makeFolder(std::string_view path) { std::filesystem::create_directories(full(path)); }

std::optional<std::string> ProgramDisk::readFile(std::string_view path) {
    const HANDLE opened = CreateFileW(full(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                      OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (opened == INVALID_HANDLE_VALUE) {
        if (isMissing(GetLastError())) return {};
        fail(path, GetLastError());
    }
    const Handle file(opened);
    return readAll(opened, path);
}

void ProgramDisk::writeFile(std::string_view path, std::string_view contents) {
    const auto name = full(path);
    const HANDLE opened =
        CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (opened == INVALID_HANDLE_VALUE) fail(path, GetLastError());
    Handle file(opened);
    DWORD written = 0, error = ERROR_SUCCESS;
    if (!WriteFile(opened, contents.data(), static_cast<DWORD>(contents.size()), &written, nullptr) ||
        !FlushFileBuffers(opened))
        error = GetLastError();
    else if (written != contents.size())
        error = ERROR_DISK_FULL;
    if (error == ERROR_SUCCESS) return;
    file.reset();
    DeleteFileW(name.c_str()); // half a file is of no use to anybody
    fail(path, error);
}

void ProgramDisk::replaceFile(std::string_view from, std::string_view to) {
    const auto oldPath = full(from), newPath = full(to);
    patiently(to, [&] {
        return MoveFileExW(oldPath.c_str(), newPath.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
    });
}

void ProgramDisk::removeFile(std::string_view path) {
    patiently(path, [&] { return DeleteFileW(full(path).c_str()) || isMissing(GetLastError()); });
}

void ProgramDisk::requireFree(std::string_view path) {
    patiently(path, [&] {
        const HANDLE opened = CreateFileW(full(path).c_str(), GENERIC_WRITE | DELETE, 0, nullptr, OPEN_EXISTING,
                                          FILE_ATTRIBUTE_NORMAL, nullptr);
        if (opened == INVALID_HANDLE_VALUE) return isMissing(GetLastError());
        CloseHandle(opened);
        return true;
    });
}

std::string readAll(HANDLE file, std::string_view name) {
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(file, &size)) fail(name, GetLastError());
    if (size.QuadPart > static_cast<LONGLONG>(largestArchive)) fail(name, ERROR_FILE_TOO_LARGE);
    std::string bytes(static_cast<std::size_t>(size.QuadPart), '\0');
    DWORD read = 0;
    if (!ReadFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr)) fail(name, GetLastError());
    if (read != bytes.size()) fail(name, ERROR_HANDLE_EOF);
    return bytes;
}

} // namespace updater
