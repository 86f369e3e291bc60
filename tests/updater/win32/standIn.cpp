#include <cstdio>
#include <string>

#include <windows.h>

#include <shlobj.h>

// Stands in for Quillory where it is updated: one instance alone, which tells in the data folder which version it is
// (the last three bytes of its file) and runs until it is ended.

int main() {
    CreateMutexW(nullptr, FALSE, L"Local\\Quillory.Running");
    if (GetLastError() == ERROR_ALREADY_EXISTS) return 1;
    wchar_t self[MAX_PATH], data[MAX_PATH];
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, data);
    FILE* const file = _wfopen(self, L"rb");
    char version[4] = "";
    fseek(file, -3, SEEK_END);
    fread(version, 1, 3, file);
    fclose(file);
    FILE* const told = _wfopen((std::wstring(data) + L"\\Quillory\\started").c_str(), L"ab");
    fprintf(told, "%s\n", version);
    fclose(told);
    Sleep(INFINITE);
}
