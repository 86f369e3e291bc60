#include <cstdlib>

#include <windows.h>

#include "ProgramDisk.h"

// The disk of the updater that tests kill: the call whose number, from 1, stands in QUILLORY_TEST_KILL_AT is its last.
// The released updater is linked without this file and cannot be stopped so.

namespace updater {

namespace {

class KillingDisk : public ProgramDisk {
public:
    KillingDisk(const std::wstring& folder, int at) : ProgramDisk(folder), killAt(at) {}

    void removeFolder(std::string_view path) override {
        step();
        ProgramDisk::removeFolder(path);
    }
    void removeEmptyFolder(std::string_view path) override {
        step();
        ProgramDisk::removeEmptyFolder(path);
    }
    void removeFile(std::string_view path) override {
        step();
        ProgramDisk::removeFile(path);
    }
    void makeFolder(std::string_view path) override {
        step();
        ProgramDisk::makeFolder(path);
    }
    void writeFile(std::string_view path, std::string_view contents) override {
        if (++calls == killAt) {
            ProgramDisk::writeFile(path, contents.substr(0, contents.size() / 2));
            die();
        }
        ProgramDisk::writeFile(path, contents);
    }
    void replaceFile(std::string_view from, std::string_view to) override {
        step();
        ProgramDisk::replaceFile(from, to);
    }

private:
    void step() {
        if (++calls == killAt) die();
    }
    static void die() { TerminateProcess(GetCurrentProcess(), 9); }

    const int killAt;
    int calls = 0;
};

} // namespace

std::unique_ptr<Disk> openDisk(const std::wstring& folder) {
    const char* at = std::getenv("QUILLORY_TEST_KILL_AT");
    return std::make_unique<KillingDisk>(folder, at ? std::atoi(at) : 0);
}

} // namespace updater
