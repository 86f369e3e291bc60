#include "DesktopUser.h"

#include <system_error>

#include "Handle.h"

#include <shlobj.h>

namespace updater {

namespace {

Handle shellToken(DWORD access) {
    DWORD id = 0;
    if (!GetWindowThreadProcessId(GetShellWindow(), &id)) return {};
    const Handle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id));
    HANDLE token = nullptr;
    if (!process || !OpenProcessToken(process.get(), access, &token)) return {};
    return Handle(token);
}

std::wstring dataFolderOf(HANDLE token) {
    wchar_t path[MAX_PATH] = L"";
    if (FAILED(SHGetFolderPathW(nullptr, CSIDL_APPDATA, token, SHGFP_TYPE_CURRENT, path))) return {};
    std::wstring folder = path;
    if (folder.ends_with(L'\\')) folder.pop_back();
    return folder;
}

std::wstring quoted(const std::wstring& path) { return L'"' + path + L'"'; }

std::wstring folderOf(const std::wstring& path) { return path.substr(0, path.find_last_of(L'\\')); }

/// The handles of what a Create call has started are of no use here.
struct Started : PROCESS_INFORMATION {
    Started() : PROCESS_INFORMATION{} {}
    ~Started() {
        if (hProcess) CloseHandle(hProcess);
        if (hThread) CloseHandle(hThread);
    }
    Started(const Started&) = delete;
};

bool startWithShellToken(const std::wstring& program) {
    const Handle token = shellToken(TOKEN_DUPLICATE);
    if (!token) return false;
    HANDLE copy = nullptr;
    constexpr DWORD access =
        TOKEN_QUERY | TOKEN_DUPLICATE | TOKEN_ASSIGN_PRIMARY | TOKEN_ADJUST_DEFAULT | TOKEN_ADJUST_SESSIONID;
    if (!DuplicateTokenEx(token.get(), access, nullptr, SecurityImpersonation, TokenPrimary, &copy)) return false;
    const Handle primary(copy);
    std::wstring command = quoted(program);
    STARTUPINFOW how{};
    how.cb = sizeof how;
    Started started;
    return CreateProcessWithTokenW(copy, 0, program.c_str(), command.data(), 0, nullptr, folderOf(program).c_str(),
                                   &how, &started) != FALSE;
}

void start(const std::wstring& program, std::wstring command) {
    STARTUPINFOW how{};
    how.cb = sizeof how;
    Started started;
    if (!CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, FALSE, 0, nullptr, folderOf(program).c_str(),
                        &how, &started))
        throw std::system_error(
            static_cast<int>(GetLastError()), std::system_category(),
            std::string(program.begin() + static_cast<std::ptrdiff_t>(folderOf(program).size()) + 1, program.end()));
}

} // namespace

std::wstring applicationDataFolder() {
    if (const Handle token = shellToken(TOKEN_QUERY | TOKEN_IMPERSONATE | TOKEN_DUPLICATE)) {
        const auto folder = dataFolderOf(token.get());
        if (!folder.empty()) return folder;
    }
    return dataFolderOf(nullptr);
}

void startAsPerson(const std::wstring& program) {
    if (!startWithShellToken(program)) start(program, quoted(program));
}

void startAsUpdater(const std::wstring& program, const std::wstring& argument) {
    start(program, quoted(program) + L' ' + quoted(argument));
}

} // namespace updater
