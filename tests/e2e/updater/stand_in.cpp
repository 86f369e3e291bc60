// Stands where the updater does and leaves its command line beside itself, for a test to read.

#include <windows.h>

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int)
{
    char path[MAX_PATH];
    GetModuleFileNameA(nullptr, path, MAX_PATH - 4);
    lstrcatA(path, ".txt");
    const HANDLE file = CreateFileA(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    const char* const line = GetCommandLineA();
    DWORD written = 0;
    const bool done = WriteFile(file, line, static_cast<DWORD>(lstrlenA(line)), &written, nullptr) != FALSE;
    CloseHandle(file);
    return done ? 0 : 1;
}
