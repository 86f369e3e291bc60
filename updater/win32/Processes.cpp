#include "Processes.h"

#include <functional>

#include <tlhelp32.h>

namespace updater {

namespace {

constexpr DWORD betweenLooks = 100; // milliseconds

bool waitUntil(const std::function<bool()>& isSo, DWORD patience) {
    const auto start = GetTickCount64();
    while (!isSo()) {
        if (GetTickCount64() - start > patience) return false;
        Sleep(betweenLooks);
    }
    return true;
}

bool runsFrom(DWORD process, const std::wstring& program) {
    const Handle handle(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process));
    wchar_t path[1024];
    DWORD length = static_cast<DWORD>(std::size(path));
    if (!handle || !QueryFullProcessImageNameW(handle.get(), 0, path, &length)) return false;
    return CompareStringOrdinal(path, static_cast<int>(length), program.c_str(), -1, TRUE) == CSTR_EQUAL;
}

bool isRunning(const std::wstring& program) {
    const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (all == INVALID_HANDLE_VALUE) return false;
    const Handle snapshot(all);
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32FirstW(all, &entry); more; more = Process32NextW(all, &entry))
        if (runsFrom(entry.th32ProcessID, program)) return true;
    return false;
}

} // namespace

Handle keepQuilloryOut(DWORD patience) {
    // Quillory takes this mutex for itself at its start, and ends at once if somebody has it already.
    Handle mutex;
    waitUntil(
        [&] {
            mutex.reset(CreateMutexW(nullptr, FALSE, L"Local\\Quillory.Running"));
            if (GetLastError() == ERROR_ALREADY_EXISTS) mutex.reset();
            return mutex != nullptr;
        },
        patience);
    return mutex;
}

bool waitUntilEnded(const std::wstring& program, DWORD patience) {
    return waitUntil([&] { return !isRunning(program); }, patience);
}

} // namespace updater
