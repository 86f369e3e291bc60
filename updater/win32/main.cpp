#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "../Install.h"
#include "../Names.h"
#include "DesktopUser.h"
#include "Handle.h"
#include "Processes.h"
#include "ProgramDisk.h"
#include "core/Endpoints.h"

#include <shellapi.h>

// Quillory ends and starts this program with the name of an archive that it has left in its data folder.
//
// A program that runs cannot be replaced in one step, so the updater does its work from a copy of itself: update.exe
// makes the copy, starts it and ends, and the copy finds out by its own name which of the two it is.

namespace updater {

namespace {

constexpr DWORD patience = 20'000; // milliseconds; Quillory ends as soon as it has started the updater

const std::wstring copyName = L"updating.exe";

class UpdateError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Where this program runs: Quillory's folder is the one above its own.
struct Place {
    std::wstring self, ownName, updaterFolder, programFolder;

    Place() : self(1024, L'\0') {
        self.resize(GetModuleFileNameW(nullptr, self.data(), static_cast<DWORD>(self.size())));
        const auto slash = self.find_last_of(L'\\');
        ownName = self.substr(slash + 1);
        updaterFolder = self.substr(0, slash);
        programFolder = updaterFolder.substr(0, updaterFolder.find_last_of(L'\\'));
    }
    bool isCopy() const { return CompareStringOrdinal(ownName.c_str(), -1, copyName.c_str(), -1, TRUE) == CSTR_EQUAL; }
};

std::string readFile(const std::wstring& path) {
    const HANDLE opened = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (opened == INVALID_HANDLE_VALUE) throw UpdateError("The update file cannot be read.");
    const Handle file(opened);
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(opened, &size)) throw UpdateError("The update file cannot be read.");
    if (size.QuadPart > static_cast<LONGLONG>(largestArchive)) throw ArchiveError("it is too large");
    std::string bytes(static_cast<std::size_t>(size.QuadPart), '\0');
    DWORD read = 0;
    if (!ReadFile(opened, bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr) || read != bytes.size())
        throw UpdateError("The update file cannot be read.");
    return bytes;
}

/// The one argument. It comes from the network and names a file that an administrator will read: it must be a plain
/// name.
std::wstring archiveName() {
    int count = 0;
    wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
    const std::wstring name = words && count == 2 ? words[1] : L"";
    LocalFree(words);
    std::string narrow;
    for (const wchar_t c : name) narrow += c < 0x80 ? static_cast<char>(c) : '?';
    if (!isPlainName(narrow) || !foldedName(narrow).ends_with(".zip"))
        throw UpdateError("This program is for Quillory to start, when it has fetched an update.");
    return name;
}

void handOver(const Place& place, const std::wstring& archive) {
    ProgramDisk(place.programFolder).writeFile("Updater/updating.exe", readFile(place.self));
    startAsUpdater(place.updaterFolder + L'\\' + copyName, archive);
}

void update(const Place& place, const std::vector<ArchiveFile>& files) {
    // A program cannot delete itself while it runs. Without the rights for this, the next update takes the copy's
    // place.
    MoveFileExW(place.self.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
    const Handle door = keepQuilloryOut(patience);
    if (!door || !waitUntilEnded(place.programFolder + L"\\Quillory.exe", patience))
        throw UpdateError("Quillory is still running. Please end it, and start it again.");
    waitUntilEnded(place.updaterFolder + L"\\update.exe", patience);
    install(*openDisk(place.programFolder), files);
}

void run() {
    const Place place;
    const auto name = archiveName();
    const auto archive = applicationDataFolder() + L"\\Quillory\\" + name;
    // Read into memory before it is looked at, so that what has been checked is what gets installed.
    const auto files = readArchive(readFile(archive));
    checkRelease(files);
    if (!place.isCopy()) {
        handOver(place, name);
        return;
    }
    update(place, files);
    DeleteFileW(archive.c_str());
    startAsPerson(place.programFolder + L"\\Quillory.exe");
}

void tell(const std::string& reason) {
    std::wstring wide(reason.size(), L'\0'); // texts of the system are in the ANSI code page
    wide.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, reason.data(), static_cast<int>(reason.size()),
                                                             wide.data(), static_cast<int>(wide.size()))));
    const std::wstring text = L"Quillory could not be updated.\r\n\r\n" + wide +
                              L"\r\n\r\nTo get the new version, please visit:\r\n" + std::wstring(ProductPageUrl);
    MessageBoxW(nullptr, text.c_str(), L"Quillory Update", MB_OK | MB_ICONERROR | MB_SETFOREGROUND);
}

} // namespace

} // namespace updater

int main() {
    try {
        updater::run();
        return 0;
    } catch (const updater::ArchiveError& error) {
        updater::tell("The update file cannot be used: " + std::string(error.what()) + ".");
    } catch (const updater::UpdateError& error) {
        updater::tell(error.what());
    } catch (const std::system_error& error) {
        updater::tell("A file could not be replaced. (" + std::string(error.what()) + ")");
    } catch (const std::exception& error) {
        updater::tell(error.what());
    }
    return 1;
}
