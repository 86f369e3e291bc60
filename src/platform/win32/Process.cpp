#include "platform/Process.h"

#include <cstdlib>
#include <exception>

#include <windows.h>

namespace platform {

bool previousInstance() {
    // The mutex is held until the process ends, for the next instance to see. One that may not be opened is there too.
    static const bool running = [] {
        const HANDLE mutex = CreateMutexW(nullptr, FALSE, L"Local\\Quillory.Running");
        return GetLastError() == ERROR_ALREADY_EXISTS || !mutex;
    }();
    return running;
}

std::wstring programFolder() {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
        if (length < path.size()) {
            path.resize(length);
            return path.substr(0, path.find_last_of(L'\\'));
        }
        path.resize(path.size() * 2);
    }
}

void endProcess() {
    // ExitProcess would still call into the libraries, and the C library among them may run destructors.
    TerminateProcess(GetCurrentProcess(), 0);
    for (;;) Sleep(INFINITE);
}

void leaveCurrentFolderOut() { SetDllDirectoryW(L""); }

} // namespace platform

/// The compiler's own would print what ends the process to a console that is not there, and brings 40 KB for that.
void __gnu_cxx::__verbose_terminate_handler() { std::abort(); }
