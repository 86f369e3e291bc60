#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "../Install.h"
#include "Handle.h"
#include "Person.h"
#include "Processes.h"
#include "ProgramDisk.h"
#include "Registration.h"
#include "UpdateKey.h"
#include "core/Endpoints.h"
#include "core/FileNames.h"

#include <shellapi.h>

// Quillory ends and starts this program with the name of an archive that it has left in its data folder. Besides:
//
//   /install FOLDER   puts the release and the uninstaller that lie beside it into a folder: the setup's work
//   /remove FOLDER    takes out what is on record there: the uninstaller's work
//   /close FOLDER     ends the Quillory that runs from there, before either of them
//   /tidy             removes what the update before has left behind
//
// The setup's three show nothing and end with one of the codes below.
//
// A program that runs cannot be replaced in one step, so the updater does its work from a copy of itself: update.exe
// makes the copy, starts it and ends, and the copy finds out by its own name which of the two it is.

namespace updater {

namespace {

enum Code : std::uint8_t { done = 0, failed = 1, refused = 2, held = 4 };

constexpr DWORD patience = 20'000; // milliseconds; Quillory ends as soon as it has started the updater

const std::wstring copyName = L"updating.exe";

/// The update is complete, and still there is something to be told.
class UpdatedBut : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Where this program runs: Quillory's folder is the one above its own.
struct Place {
    std::wstring self, ownName, updaterFolder, programFolder;

    Place() : self(32768, L'\0') {
        self.resize(GetModuleFileNameW(nullptr, self.data(), static_cast<DWORD>(self.size())));
        const auto slash = self.find_last_of(L'\\');
        ownName = self.substr(slash + 1);
        updaterFolder = self.substr(0, slash);
        programFolder = updaterFolder.substr(0, updaterFolder.find_last_of(L'\\'));
    }
    bool isCopy() const { return CompareStringOrdinal(ownName.c_str(), -1, copyName.c_str(), -1, TRUE) == CSTR_EQUAL; }
    std::wstring quillory() const { return programFolder + L"\\Quillory.exe"; }
    std::wstring updater() const { return updaterFolder + L"\\update.exe"; }
};

std::string narrow(const std::wstring& text) {
    std::string all;
    for (const wchar_t c : text) all += c < 0x80 ? static_cast<char>(c) : '?';
    return all;
}

/// A file that nobody can change from its opening to the end: what has been checked is what gets installed. Somebody
/// may give its name to another file meanwhile, which is then not looked at. (The copy opens it while update.exe has
/// it.)
class OpenFile {
public:
    explicit OpenFile(const std::wstring& path) {
        const HANDLE opened = CreateFileW(path.c_str(), GENERIC_READ | DELETE, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                          nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (opened == INVALID_HANDLE_VALUE) throw UpdateError("The update file cannot be read.");
        handle.reset(opened);
    }
    std::string bytes() const {
        LARGE_INTEGER size{};
        if (GetFileSizeEx(handle.get(), &size) && size.QuadPart > static_cast<LONGLONG>(largestArchive))
            throw ArchiveError("it is too large");
        return readAll(handle.get(), "the update file");
    }
    /// Removes just the file that has been opened, whatever its path leads to by now.
    void remove() const {
        FILE_DISPOSITION_INFO information{TRUE};
        SetFileInformationByHandle(handle.get(), FileDispositionInfo, &information, sizeof information);
    }

private:
    Handle handle;
};

OpenFile openAsPerson(const Person& person, const std::wstring& name) {
    const auto path = person.dataFolder() + L"\\Quillory\\" + name;
    const Person::Rights rights(person); // the person's folder may lead anywhere
    return OpenFile(path);
}

std::string publicKey() {
    std::string key;
    for (std::size_t i = 0; i + 2 <= UpdateKey.size(); i += 2)
        key += static_cast<char>(std::stoi(std::string(UpdateKey.substr(i, 2)), nullptr, 16));
    return key;
}

/// What is installed tells its version twice: in its record, and in this program.
void refuseOlderThanInstalled(const Release& release, Disk& disk) {
    refuseOlder(release.record, readRecord("Quillory " + narrow(std::wstring(AppVersion)) + '\n').version);
    if (const auto record = installedRecord(disk)) refuseOlder(release.record, record->version);
}

void handOver(const Place& place, const std::wstring& archive) {
    closeLeftBoxes();
    waitUntilEnded(place.updaterFolder + L'\\' + copyName, patience);
    ProgramDisk disk(place.programFolder);
    disk.writeFile("Updater/updating.exe", *disk.readFile("Updater/" + narrow(place.ownName)));
    startAsUpdater(place.updaterFolder + L'\\' + copyName, archive);
}

/// Starts the new version, and puts the one before it back if it does not come up.
void bringUp(const Place& place, const Person& person, Installation& installation) {
    try {
        person.start(place.quillory());
    } catch (const std::system_error& error) {
        const int code = error.code().value();
        if (code != ERROR_BAD_EXE_FORMAT && code != ERROR_EXE_MACHINE_TYPE_MISMATCH && code != ERROR_FILE_CORRUPT) {
            installation.finish();
            throw UpdatedBut("The new version could not be started. Please start it yourself. (" +
                             std::string(error.what()) + ")");
        }
    }
    if (waitUntilUp(place.quillory(), patience)) return;
    endAll(place.quillory());
    waitUntilEnded(place.quillory(), patience);
    installation.putBack();
    throw UpdateError("The new version did not start. The one before it is in its place again.");
}

void update(const Place& place, const Person& person, const Release& release) {
    Handle door = keepQuilloryOut(patience);
    if (!door || !waitUntilEnded(place.quillory(), patience))
        throw UpdateError("Quillory is still running. Please end it, and start it again.");
    waitUntilEnded(place.updater(), patience);
    ProgramDisk disk(place.programFolder);
    Installation installation(disk, release.files);
    installation.putInPlace();
    door.reset();
    bringUp(place, person, installation);
    installation.finish();
    std::size_t size = 0;
    for (const auto& file : release.files) size += file.contents.size();
    const std::string version = versionText(release.record);
    tellInstalledVersion(place.programFolder, std::wstring(version.begin(), version.end()), size);
}

/// The one argument comes from the network and names a file: it must be one that Quillory takes for an archive's.
void updateFrom(const std::wstring& name) {
    if (!isArchiveName(narrow(name)))
        throw UpdateError("This program is for Quillory to start, when it has fetched an update.");
    const Place place;
    const Person person;
    // Where the person can write, whatever is started or written with more rights than the person's could be another's.
    if (person.hasFewerRights() && (person.canChange(place.self) || person.canChange(place.updaterFolder) ||
                                    person.canChange(place.programFolder) || person.canChange(place.quillory()))) {
        person.startWithRights(place.updater(), name);
        return;
    }
    const OpenFile archive = openAsPerson(person, name);
    const Release release = checkedRelease(readArchive(archive.bytes()), publicKey());
    ProgramDisk disk(place.programFolder);
    refuseOlderThanInstalled(release, disk);
    if (!place.isCopy()) {
        handOver(place, name);
        return;
    }
    update(place, person, release);
    archive.remove();
}

void tidy() {
    const Place place;
    if (place.isCopy() || !waitUntilEnded(place.updaterFolder + L'\\' + copyName, patience)) return;
    ProgramDisk(place.programFolder).removeFile("Updater/updating.exe");
}

void installInto(const std::wstring& folder) {
    const Place place;
    ProgramDisk own(place.updaterFolder);
    Release release =
        checkedRelease(readArchive(OpenFile(place.updaterFolder + L"\\release.zip").bytes()), publicKey());
    release.files.push_back({"Uninstall.exe", own.readFile("Uninstall.exe").value()});
    ProgramDisk disk(folder);
    Installation installation(disk, release.files);
    installation.putInPlace();
    installation.finish();
}

void removeFrom(const std::wstring& folder) {
    ProgramDisk disk(folder);
    removeInstalled(disk, {"Uninstall.exe", "Updater/updating.exe"});
}

void closeIn(const std::wstring& folder) {
    const std::wstring quillory = folder + L"\\Quillory.exe";
    endAll(quillory);
    if (!waitUntilEnded(quillory, patience)) throw UpdateError("It cannot be ended.");
    ProgramDisk(folder).requireFree(programPath); // nor does it run in a session that cannot be looked into
}

/// What the setup asks for; its codes say how it ended.
int workForSetup(const std::wstring& what, const std::wstring& folder) {
    try {
        if (what == L"/install") installInto(folder);
        if (what == L"/remove") removeFrom(folder);
        if (what == L"/close") closeIn(folder);
        return done;
    } catch (const ArchiveError&) {
        return refused;
    } catch (const std::system_error& error) {
        const int code = error.code().value();
        return code == ERROR_SHARING_VIOLATION || code == ERROR_LOCK_VIOLATION ? held : failed;
    } catch (const std::exception&) {
        return failed;
    }
}

void tell(const std::string& heading, const std::string& reason, bool isOver) {
    const std::string all = heading + "\r\n\r\n" + reason;
    std::wstring text(all.size(), L'\0'); // texts of the system are in the ANSI code page
    text.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_ACP, 0, all.data(), static_cast<int>(all.size()),
                                                             text.data(), static_cast<int>(text.size()))));
    if (!isOver) text += L"\r\n\r\nTo get the new version, please visit:\r\n" + std::wstring(ProductPageUrl);
    const UINT icon = isOver ? MB_ICONINFORMATION : MB_ICONERROR;
    MessageBoxW(nullptr, text.c_str(), boxTitle, MB_OK | icon | MB_SETFOREGROUND);
}

int updateAndTell(const std::wstring& name) {
    constexpr auto notUpdated = "Quillory could not be updated.";
    try {
        updateFrom(name);
        return done;
    } catch (const UpdatedBut& error) {
        tell("Quillory has been updated.", error.what(), true);
        return done;
    } catch (const ArchiveError& error) {
        tell(notUpdated, "The update file cannot be used: " + std::string(error.what()) + ".", false);
        return refused;
    } catch (const std::system_error& error) {
        tell(notUpdated, "A file could not be replaced. (" + std::string(error.what()) + ")", false);
    } catch (const std::exception& error) {
        tell(notUpdated, error.what(), false);
    }
    return failed;
}

int run(const std::vector<std::wstring>& words) {
    if (words.size() == 2 && (words[0] == L"/install" || words[0] == L"/remove" || words[0] == L"/close"))
        return workForSetup(words[0], words[1]);
    if (words.size() == 1 && words[0] == L"/tidy") {
        tidy();
        return done;
    }
    const int code = updateAndTell(words.size() == 1 ? words[0] : L"");
    if (const Place place; place.isCopy()) startAsUpdater(place.updater(), L"/tidy");
    return code;
}

} // namespace

} // namespace updater

int main() {
    SetDllDirectoryW(L""); // which is the data folder, or whatever Quillory was started in: no library comes from there
    int count = 0;
    wchar_t** const words = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::wstring> given;
    for (int i = 1; words && i < count; ++i) given.emplace_back(words[i]);
    LocalFree(static_cast<void*>(words));
    try {
        return updater::run(given);
    } catch (const std::exception&) {
        return updater::failed; // nothing was changed, and what was to be told has been told
    }
}
