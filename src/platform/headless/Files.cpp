#include "platform/Files.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/RunTimeError.h"
#include "platform/headless/Kill.h"
#include "platform/headless/Loop.h"
#include "platform/headless/State.h"

namespace fs = std::filesystem;
using headless::FileCall;

namespace {

class Handle {
public:
    explicit Handle(int opened) : fd(opened) {}
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() {
        if (fd >= 0) ::close(fd);
    }
    const int fd;
};

struct OpenFile {
    explicit OpenFile(int opened, std::wstring openedPath, fs::path openedHost)
        : handle(opened), path(std::move(openedPath)), host(std::move(openedHost)) {}
    Handle handle;
    std::wstring path;
    fs::path host;
};

struct Fault {
    FileCall call;
    std::wstring path;
    std::int32_t number;
};

/// The disk: a temporary folder with a folder "C:" in it.
struct Disk {
    fs::path root;
    std::map<fs::path, std::uint32_t> bits; // attributes that differ from those of a new file or folder
    std::map<std::int16_t, OpenFile> open;
    std::vector<Fault> faults;
    std::size_t nthCall = 0; // counts down to the call that fails; 0 for none
    std::int32_t nthNumber = 0;
    bool nthFailed = false;

    Disk() {
        std::string pattern = (fs::temp_directory_path() / "quillory-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) std::abort();
        root = pattern;
        fs::create_directory(root / "C:");
    }
    ~Disk() {
        std::error_code ignored;
        fs::remove_all(root, ignored);
    }
};

Disk& disk() {
    static Disk theDisk;
    return theDisk;
}

/// Whatever the host's locale can say.
std::wstring nameOf(const fs::path& path) {
    const std::u32string name = path.filename().u32string();
    return {name.begin(), name.end()};
}

bool sameName(const std::wstring& left, const std::wstring& right) {
    const headless::CaselessOrder before;
    return !before(left, right) && !before(right, left);
}

bool isFolder(const fs::path& host) {
    std::error_code ignored;
    return fs::is_directory(host, ignored);
}

bool isThere(const fs::path& host) {
    std::error_code ignored;
    return fs::exists(host, ignored);
}

std::uint32_t bitsOf(const fs::path& host) {
    const auto found = disk().bits.find(host);
    const bool folder = isFolder(host);
    if (found != disk().bits.end()) return found->second | (folder ? platform::attributes::directory : 0u);
    return folder ? platform::attributes::directory : platform::attributes::archive;
}

bool isInUse(const fs::path& host) {
    for (const auto& [number, file] : disk().open) {
        if (file.host == host) return true;
    }
    return false;
}

/// Raises what a test has asked of this call.
void failIfTold(FileCall call, const std::wstring& path) {
    if (call != FileCall::write) headless::touch();
    if (headless::wasKilled()) throw RunTimeError(errors::deviceIOError);
    if (disk().nthCall > 0 && --disk().nthCall == 0) {
        disk().nthFailed = true;
        throw RunTimeError(disk().nthNumber);
    }
    for (const Fault& fault : disk().faults) {
        if ((fault.call == FileCall::any || fault.call == call) && (fault.path.empty() || sameName(fault.path, path)))
            throw RunTimeError(fault.number);
    }
}

/// Tells why an operation on the path failed, `reason` being the host's view of it.
[[noreturn]] void fail(const fs::path& host, int reason) {
    if (!isFolder(host.parent_path())) throw RunTimeError(errors::pathNotFound);
    if (isFolder(host) || reason == EINVAL || reason == ENAMETOOLONG) throw RunTimeError(errors::pathFileAccess);
    switch (reason) {
    case ENOENT: throw RunTimeError(errors::fileNotFound);
    case EACCES:
    case EPERM: throw RunTimeError(errors::permissionDenied);
    case ENOSPC: throw RunTimeError(errors::diskFull);
    default: throw RunTimeError(errors::deviceIOError);
    }
}

/// A name with one of these is no file's name; the host would take it.
void refuseWildcards(const std::wstring& path) {
    if (path.find_first_of(L"*?<>|\"") != std::wstring::npos) throw RunTimeError(errors::pathFileAccess);
}

OpenFile& openFile(std::int16_t number) {
    const auto found = disk().open.find(number);
    if (found == disk().open.end()) throw RunTimeError(errors::badFileNumber);
    return found->second;
}

std::int16_t freeNumber() {
    for (std::int16_t number = 1; number <= 511; ++number) {
        if (!disk().open.contains(number)) return number;
    }
    throw RunTimeError(errors::tooManyFiles);
}

} // namespace

namespace headless {

fs::path mapFolder(const std::wstring& path) {
    if (path.empty()) return disk().root / "no drive" / "no file";
    const bool hasDrive = path.size() >= 2 && path[1] == L':';
    fs::path host = disk().root / (hasDrive ? path.substr(0, 2) : L"C:");
    if (hasDrive && sameName(path.substr(0, 2), L"C:")) host = disk().root / "C:";
    const fs::path drive = host;
    std::size_t start = hasDrive ? 2 : 0;
    while (start < path.size()) {
        const std::size_t end = std::min(path.find_first_of(L"\\/", start), path.size());
        const std::wstring name = path.substr(start, end - start);
        start = end + 1;
        if (name.empty() || name == L".") continue;
        if (name == L"..") {
            if (host != drive) host = host.parent_path();
            continue;
        }
        fs::path next = host / std::u32string(name.begin(), name.end());
        if (!isThere(next)) {
            std::error_code ignored;
            for (const auto& entry : fs::directory_iterator(host, ignored)) {
                if (sameName(nameOf(entry.path()), name)) next = entry.path();
            }
        }
        host = next;
    }
    return host;
}

void failFile(FileCall call, const std::wstring& path, std::int32_t number) {
    disk().faults.push_back({call, path, number});
}

void failNthFileCall(std::size_t n, std::int32_t number) {
    disk().nthCall = n;
    disk().nthNumber = number;
    disk().nthFailed = false;
}

bool nthFileCallFailed() { return disk().nthFailed; }

void closeFiles() {
    disk().open.clear();
    disk().faults.clear();
    failNthFileCall(0, 0);
}

void resetFiles() {
    closeFiles();
    disk().bits.clear();
    for (const auto& entry : fs::directory_iterator(disk().root / "C:")) fs::remove_all(entry.path());
}

} // namespace headless

namespace platform {

std::optional<std::uint32_t> fileAttributes(const std::wstring& path) {
    const fs::path host = headless::mapFolder(path);
    if (!isThere(host)) return std::nullopt;
    return bitsOf(host);
}

void setFileAttributes(const std::wstring& path, std::uint32_t bits) {
    failIfTold(FileCall::setAttributes, path);
    const fs::path host = headless::mapFolder(path);
    if (!isThere(host)) fail(host, ENOENT);
    disk().bits[host] = bits & (attributes::readOnly | attributes::hidden | attributes::system | attributes::archive);
}

std::wstring findFile(const std::wstring& path, std::uint32_t allowed) {
    const fs::path host = headless::mapFolder(path);
    if (!isThere(host) || path.ends_with(L'\\')) return {};
    constexpr std::uint32_t special = attributes::hidden | attributes::system | attributes::directory;
    if ((bitsOf(host) & special & ~allowed) != 0) return {};
    return nameOf(host);
}

void deleteFile(const std::wstring& path) {
    failIfTold(FileCall::remove, path);
    const fs::path host = headless::mapFolder(path);
    refuseWildcards(path);
    if (isThere(host) && !isFolder(host) && ((bitsOf(host) & attributes::readOnly) != 0 || isInUse(host)))
        throw RunTimeError(errors::permissionDenied);
    if (::unlink(host.c_str()) != 0) fail(host, errno);
    disk().bits.erase(host);
}

void makeDirectory(const std::wstring& path) {
    failIfTold(FileCall::makeDirectory, path);
    const fs::path host = headless::mapFolder(path);
    refuseWildcards(path);
    if (isThere(host)) throw RunTimeError(errors::pathFileAccess);
    if (::mkdir(host.c_str(), 0777) != 0) fail(host, errno);
}

std::int16_t openBinary(const std::wstring& path) {
    const std::int16_t number = freeNumber();
    failIfTold(FileCall::open, path);
    const fs::path host = headless::mapFolder(path);
    refuseWildcards(path);
    if (isThere(host) && !isFolder(host) && ((bitsOf(host) & attributes::readOnly) != 0 || isInUse(host)))
        throw RunTimeError(errors::permissionDenied);
    const int fd = ::open(host.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) fail(host, errno);
    disk().open.try_emplace(number, fd, path, host);
    return number;
}

std::int64_t fileLength(std::int16_t number) {
    const OpenFile& file = openFile(number);
    failIfTold(FileCall::length, file.path);
    struct stat status {};
    if (::fstat(file.handle.fd, &status) != 0) throw RunTimeError(errors::deviceIOError);
    return status.st_size;
}

void writeFile(std::int16_t number, std::int64_t position, const std::string& bytes) {
    const OpenFile& file = openFile(number);
    failIfTold(FileCall::write, file.path);
    const bool killed = headless::isKilledHere();
    const std::size_t end = killed ? bytes.size() / 2 : bytes.size();
    std::size_t done = 0;
    while (done < end) {
        const ssize_t written =
            ::pwrite(file.handle.fd, bytes.data() + done, end - done, position - 1 + static_cast<std::int64_t>(done));
        if (written < 0) throw RunTimeError(errno == ENOSPC ? errors::diskFull : errors::deviceIOError);
        done += static_cast<std::size_t>(written);
    }
    if (killed) throw headless::ProcessEnded{};
}

void flushFile(std::int16_t number) { failIfTold(FileCall::flush, openFile(number).path); }

void replaceFile(const std::wstring& path, const std::wstring& by) {
    failIfTold(FileCall::replace, path);
    const fs::path from = headless::mapFolder(by);
    const fs::path to = headless::mapFolder(path);
    refuseWildcards(path);
    const bool refused = isThere(to) && !isFolder(to) && ((bitsOf(to) & attributes::readOnly) != 0 || isInUse(to));
    if (refused || isInUse(from)) throw RunTimeError(errors::permissionDenied);
    if (::rename(from.c_str(), to.c_str()) != 0) fail(to, errno);
    disk().bits.erase(to);
    if (const auto moved = disk().bits.extract(from)) disk().bits[to] = moved.mapped();
}

void closeFile(std::int16_t number) { disk().open.erase(number); }

std::string readWholeFile(const std::wstring& path) {
    failIfTold(FileCall::read, path);
    const fs::path host = headless::mapFolder(path);
    refuseWildcards(path);
    const Handle handle(::open(host.c_str(), O_RDONLY | O_CLOEXEC));
    if (handle.fd < 0 || isFolder(host)) fail(host, errno);
    std::string bytes;
    char piece[65536];
    for (;;) {
        const ssize_t taken = ::read(handle.fd, piece, sizeof piece);
        if (taken < 0) throw RunTimeError(errors::deviceIOError);
        if (taken == 0) return bytes;
        bytes.append(piece, static_cast<std::size_t>(taken));
    }
}

} // namespace platform
