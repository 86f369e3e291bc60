#pragma once

#include <bit>
#include <string>

#include <windows.h>

namespace updater {

/// A library of the system that is looked up when it is needed, always from the system's own folder: one that lies
/// beside this program is no part of it. It stays loaded until the process ends.
class SystemLibrary {
public:
    explicit SystemLibrary(const wchar_t* name) {
        wchar_t folder[MAX_PATH] = L"";
        GetSystemDirectoryW(folder, MAX_PATH);
        library = LoadLibraryW((std::wstring(folder) + L'\\' + name).c_str());
    }

    /// Null where the system has no such function.
    template <typename Function> Function* find(const char* name) const {
        return library ? std::bit_cast<Function*>(GetProcAddress(library, name)) : nullptr;
    }

private:
    HMODULE library = nullptr;
};

} // namespace updater
