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

bool isHeldByAnother(DWORD error) {
    return error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION;
}

} // namespace

ProgramDisk::ProgramDisk(std::wstring folder) : root(std::move(folder)) {}

std::wstring ProgramDisk::full(std::string_view path) const {
    std::wstring all = root + L'\\' + std::wstring(path.begin(), path.end()); // plain names are ASCII
    std::ranges::replace(all, L'/', L'\\');
    return all;
}

void ProgramDisk::removeFolder(std::string_view path) { std::filesystem::remove_all(full(path)); }

void ProgramDisk::makeFolder(std::string_view path) { std::filesystem::create_directories(full(path)); }

void ProgramDisk::writeFile(std::string_view path, std::string_view contents) {
    const HANDLE opened =
        CreateFileW(full(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (opened == INVALID_HANDLE_VALUE) fail(path, GetLastError());
    const Handle file(opened);
    DWORD written = 0;
    if (!WriteFile(opened, contents.data(), static_cast<DWORD>(contents.size()), &written, nullptr) ||
        !FlushFileBuffers(opened))
        fail(path, GetLastError());
    if (written != contents.size()) fail(path, ERROR_DISK_FULL);
}

void ProgramDisk::replaceFile(std::string_view from, std::string_view to) {
    const auto oldPath = full(from), newPath = full(to);
    const auto start = GetTickCount64();
    while (!MoveFileExW(oldPath.c_str(), newPath.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        const DWORD error = GetLastError();
        if (!isHeldByAnother(error) || GetTickCount64() - start > holdersPatience) fail(to, error);
        Sleep(betweenTries);
    }
}

} // namespace updater
