#include "Person.h"

#include <system_error>
#include <vector>

#include "SystemLibrary.h"

#include <sddl.h>
#include <shlobj.h>
#include <wtsapi32.h>

namespace updater {

namespace {

/// The processes of another account may be opened only with this privilege, which an administrator has, switched off.
void enableDebugPrivilege() {
    HANDLE own = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, &own)) return;
    const Handle token(own);
    TOKEN_PRIVILEGES wanted{1, {{{}, SE_PRIVILEGE_ENABLED}}};
    if (LookupPrivilegeValueW(nullptr, L"SeDebugPrivilege", &wanted.Privileges[0].Luid))
        AdjustTokenPrivileges(own, FALSE, &wanted, 0, nullptr, nullptr);
}

Handle shellToken() {
    DWORD id = 0;
    if (!GetWindowThreadProcessId(GetShellWindow(), &id)) return {};
    enableDebugPrivilege();
    const Handle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id));
    HANDLE token = nullptr;
    if (!process || !OpenProcessToken(process.get(), TOKEN_QUERY | TOKEN_DUPLICATE | TOKEN_IMPERSONATE, &token))
        return {};
    return Handle(token);
}

Handle ownToken() {
    HANDLE token = nullptr;
    OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token);
    return Handle(token);
}

bool isElevated(HANDLE token) {
    TOKEN_ELEVATION elevation{};
    DWORD size = 0;
    return GetTokenInformation(token, TokenElevation, &elevation, sizeof elevation, &size) && elevation.TokenIsElevated;
}

std::wstring textOf(PSID sid) {
    wchar_t* text = nullptr;
    if (!ConvertSidToStringSidW(sid, &text)) return {};
    std::wstring copy = text;
    LocalFree(text);
    return copy;
}

/// The account of a token, as a security identifier in letters.
std::wstring accountOf(HANDLE token) {
    alignas(TOKEN_USER) BYTE user[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    DWORD size = 0;
    if (!GetTokenInformation(token, TokenUser, user, sizeof user, &size)) return {};
    return textOf(reinterpret_cast<TOKEN_USER*>(user)->User.Sid);
}

/// The account that has logged in to this session, asked of the session itself.
std::wstring sessionAccount() {
    const SystemLibrary library(L"wtsapi32.dll");
    auto* const query = library.find<decltype(WTSQuerySessionInformationW)>("WTSQuerySessionInformationW");
    auto* const free = library.find<decltype(WTSFreeMemory)>("WTSFreeMemory");
    const auto ask = [&](WTS_INFO_CLASS what) {
        wchar_t* text = nullptr;
        DWORD size = 0;
        if (!query || !free || !query(nullptr, WTS_CURRENT_SESSION, what, &text, &size)) return std::wstring();
        std::wstring copy = text;
        free(text);
        return copy;
    };
    const std::wstring name = ask(WTSDomainName) + L'\\' + ask(WTSUserName);
    BYTE sid[SECURITY_MAX_SID_SIZE];
    wchar_t domain[256];
    DWORD sidSize = sizeof sid, domainSize = 256;
    SID_NAME_USE use;
    if (name.ends_with(L'\\') || !LookupAccountNameW(nullptr, name.c_str(), sid, &sidSize, domain, &domainSize, &use))
        return {};
    return textOf(sid);
}

std::wstring withoutBackslash(std::wstring folder) {
    if (folder.ends_with(L'\\')) folder.pop_back();
    return folder;
}

std::wstring shellDataFolder(HANDLE token) {
    wchar_t path[MAX_PATH] = L"";
    if (FAILED(SHGetFolderPathW(nullptr, CSIDL_APPDATA, token, SHGFP_TYPE_CURRENT, path))) return {};
    return withoutBackslash(path);
}

/// As the shell has left it in the account's part of the registry.
std::wstring registryDataFolder(const std::wstring& account) {
    const std::wstring key = account + L"\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";
    wchar_t path[MAX_PATH] = L"";
    DWORD size = sizeof path;
    if (RegGetValueW(HKEY_USERS, key.c_str(), L"AppData", RRF_RT_REG_SZ, nullptr, path, &size) != ERROR_SUCCESS)
        return {};
    return withoutBackslash(path);
}

std::wstring quoted(const std::wstring& text) { return L'"' + text + L'"'; }

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

bool startWithToken(HANDLE token, const std::wstring& program, std::wstring command) {
    HANDLE copy = nullptr;
    constexpr DWORD access =
        TOKEN_QUERY | TOKEN_DUPLICATE | TOKEN_ASSIGN_PRIMARY | TOKEN_ADJUST_DEFAULT | TOKEN_ADJUST_SESSIONID;
    if (!token || !DuplicateTokenEx(token, access, nullptr, SecurityImpersonation, TokenPrimary, &copy)) return false;
    const Handle primary(copy);
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
    if (CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, FALSE, 0, nullptr, folderOf(program).c_str(),
                       &how, &started))
        return;
    const auto error = static_cast<int>(GetLastError());
    const auto name = program.substr(folderOf(program).size() + 1);
    throw std::system_error(error, std::system_category(), std::string(name.begin(), name.end()));
}

bool canOpen(const std::wstring& path, DWORD access) {
    const HANDLE opened = CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (opened == INVALID_HANDLE_VALUE) return GetLastError() == ERROR_SHARING_VIOLATION; // the rights have sufficed
    CloseHandle(opened);
    return true;
}

} // namespace

Person::Person() : token(shellToken()) {}

bool Person::hasFewerRights() const {
    const Handle own = ownToken();
    if (!own || !isElevated(own.get())) return false;
    const std::wstring account = token ? accountOf(token.get()) : sessionAccount();
    if (!account.empty() && account != accountOf(own.get())) return true;
    return GetShellWindow() && (!token || !isElevated(token.get()));
}

bool Person::canChange(const std::wstring& path) const {
    if (!token) return true; // nobody to ask: the worst is taken for granted
    const Rights rights(*this);
    // In a folder the same bits mean new files and new folders.
    for (const DWORD access : {DWORD{FILE_WRITE_DATA}, DWORD{FILE_APPEND_DATA}, DWORD{DELETE}, DWORD{WRITE_DAC},
                               DWORD{WRITE_OWNER}, DWORD{FILE_DELETE_CHILD}})
        if (canOpen(path, access)) return true;
    // Whoever may rename a folder on the way can put another way there.
    for (auto folder = folderOf(path); folder.size() > 2; folder = folderOf(folder)) {
        for (const DWORD access : {DWORD{DELETE}, DWORD{WRITE_DAC}, DWORD{WRITE_OWNER}, DWORD{FILE_DELETE_CHILD}})
            if (canOpen(folder, access)) return true;
    }
    return false;
}

std::wstring Person::dataFolder() const {
    std::wstring folder;
    if (token) folder = shellDataFolder(token.get());
    const Handle own = ownToken();
    if (folder.empty()) {
        const std::wstring account = token ? accountOf(token.get()) : sessionAccount();
        if (account == accountOf(own.get()) || (account.empty() && !isElevated(own.get())))
            folder = shellDataFolder(nullptr);
        else if (!account.empty())
            folder = registryDataFolder(account);
    }
    if (folder.empty() && !GetShellWindow()) folder = shellDataFolder(nullptr);
    if (folder.empty())
        throw UpdateError("The folder of the person at the desktop cannot be found, where the update file is.");
    return folder;
}

void Person::start(const std::wstring& program) const {
    if (hasFewerRights()) {
        if (startWithToken(token.get(), program, quoted(program))) return;
        wchar_t windows[MAX_PATH] = L"";
        GetSystemWindowsDirectoryW(windows, MAX_PATH);
        const std::wstring shell = std::wstring(windows) + L"\\explorer.exe";
        if (GetShellWindow()) return updater::start(shell, quoted(shell) + L' ' + quoted(program));
    }
    updater::start(program, quoted(program));
}

void Person::startWithRights(const std::wstring& program, const std::wstring& argument) const {
    if (!startWithToken(token.get(), program, quoted(program) + L' ' + quoted(argument)))
        throw UpdateError("Quillory lies in a folder that others than administrators can change, and the "
                          "administrator's rights could not be given up.");
}

Person::Rights::Rights(const Person& person) {
    if (person.token) ImpersonateLoggedOnUser(person.token.get());
}

Person::Rights::~Rights() { RevertToSelf(); }

void startAsUpdater(const std::wstring& program, const std::wstring& argument) {
    start(program, quoted(program) + L' ' + quoted(argument));
}

} // namespace updater
