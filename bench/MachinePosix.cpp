#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

#include "Machine.h"
#include "platform/headless/State.h"

namespace machine {

void prepare() { headless::reset(); }

namespace {

int ask(const std::string& path) {
    const int connection = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(80);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
        throw std::runtime_error("no server");
    const std::string request = "GET " + path + " HTTP/1.0\r\n\r\n";
    if (::send(connection, request.data(), request.size(), 0) < 0) throw std::runtime_error("no request");
    return connection;
}

/// With `told`, one read for each arrival; without, the fastest that there is: each read waits until its buffer is
/// full.
std::int64_t fetch(const std::string& path, const std::wstring& file, std::int32_t chunk, bool told) {
    const int connection = ask(path);
    // Its own file again, as the download has it: cutting a large one takes its time.
    const std::string name = headless::mapFolder(file);
    ::unlink(name.c_str());
    const int out = ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    std::vector<char> buffer(static_cast<std::size_t>(chunk));
    std::int64_t total = 0;
    for (;;) {
        pollfd arrival{connection, POLLIN, 0};
        if (told) ::poll(&arrival, 1, -1);
        const ssize_t taken = ::recv(connection, buffer.data(), buffer.size(), told ? MSG_DONTWAIT : MSG_WAITALL);
        if (taken <= 0) break;
        total += ::write(out, buffer.data(), static_cast<std::size_t>(taken));
    }
    ::close(out);
    ::close(connection);
    return total;
}

} // namespace

std::int64_t plainDownload(const std::string& path, const std::wstring& file, std::int32_t chunk) {
    return fetch(path, file, chunk, false);
}

std::int64_t eventDownload(const std::string& path, const std::wstring& file, std::int32_t chunk) {
    return fetch(path, file, chunk, true);
}

namespace {

std::int64_t statusKilobytes(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name)) return std::stoll(line.substr(name.size()));
    }
    return 0;
}

} // namespace

std::int64_t residentBytes() { return statusKilobytes("VmRSS:") * 1024; }

std::int64_t peakResidentBytes() { return statusKilobytes("VmHWM:") * 1024; }

std::int32_t openHandles() {
    std::int32_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) count += entry.exists() ? 1 : 0;
    return count;
}

double processorSeconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

std::wstring scratchFile() { return L"C:\\bench"; }

} // namespace machine
