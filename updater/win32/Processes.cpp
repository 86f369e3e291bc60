#include "Processes.h"

#include <functional>
#include <vector>

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

/// The processes that run from a program's file.
std::vector<DWORD> running(const std::wstring& program) {
    std::vector<DWORD> found;
    const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (all == INVALID_HANDLE_VALUE) return found;
    const Handle snapshot(all);
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32FirstW(all, &entry); more; more = Process32NextW(all, &entry))
        if (runsFrom(entry.th32ProcessID, program)) found.push_back(entry.th32ProcessID);
    return found;
}

constexpr wchar_t mutexName[] = L"Local\\Quillory.Running";

bool isUp(const std::wstring& program) {
    const Handle mutex(OpenMutexW(SYNCHRONIZE, FALSE, mutexName));
    return (mutex || GetLastError() == ERROR_ACCESS_DENIED) && !running(program).empty();
}

} // namespace

Handle keepQuilloryOut(DWORD patience) {
    // Quillory takes this mutex for itself at its start, and ends at once if somebody has it already.
    Handle mutex;
    waitUntil(
        [&] {
            mutex.reset(CreateMutexW(nullptr, FALSE, mutexName));
            if (GetLastError() == ERROR_ALREADY_EXISTS) mutex.reset();
            return mutex != nullptr;
        },
        patience);
    return mutex;
}

bool waitUntilEnded(const std::wstring& program, DWORD patience) {
    return waitUntil([&] { return running(program).empty(); }, patience);
}

bool waitUntilUp(const std::wstring& program, DWORD patience) {
    if (!waitUntil([&] { return isUp(program); }, patience)) return false;
    Sleep(1000);
    return isUp(program);
}

void endAll(const std::wstring& program) {
    for (const DWORD process : running(program))
        if (const Handle handle{OpenProcess(PROCESS_TERMINATE, FALSE, process)}) TerminateProcess(handle.get(), 1);
}

void closeLeftBoxes() {
    for (HWND box = nullptr; (box = FindWindowExW(nullptr, box, L"#32770", boxTitle));)
        PostMessageW(box, WM_CLOSE, 0, 0);
}

} // namespace updater
