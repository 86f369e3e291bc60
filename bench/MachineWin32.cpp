#include <winsock2.h>
#include <windows.h>
#include <psapi.h>

#include <filesystem>
#include <stdexcept>
#include <vector>

#include "Machine.h"

namespace machine {

void prepare() {
    WSADATA data;
    ::WSAStartup(MAKEWORD(2, 2), &data);
}

std::int64_t plainDownload(const std::string& path, const std::wstring& file, std::int32_t chunk) {
    const SOCKET connection = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = ::htons(80);
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    if (::connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
        throw std::runtime_error("no server");
    const std::string request = "GET " + path + " HTTP/1.0\r\n\r\n";
    ::send(connection, request.data(), static_cast<int>(request.size()), 0);
    const HANDLE out = ::CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    std::vector<char> buffer(static_cast<std::size_t>(chunk));
    std::int64_t total = 0;
    for (;;) {
        const int taken = ::recv(connection, buffer.data(), chunk, 0);
        if (taken <= 0) break;
        DWORD written = 0;
        ::WriteFile(out, buffer.data(), static_cast<DWORD>(taken), &written, nullptr);
        total += written;
    }
    ::CloseHandle(out);
    ::closesocket(connection);
    return total;
}

namespace {

PROCESS_MEMORY_COUNTERS memory() {
    PROCESS_MEMORY_COUNTERS counters{};
    ::GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters);
    return counters;
}

double seconds(const FILETIME& time) {
    return (static_cast<double>(time.dwHighDateTime) * 4294967296.0 + time.dwLowDateTime) / 1e7;
}

} // namespace

std::int64_t residentBytes() { return static_cast<std::int64_t>(memory().WorkingSetSize); }

std::int64_t peakResidentBytes() { return static_cast<std::int64_t>(memory().PeakWorkingSetSize); }

std::int32_t openHandles() {
    DWORD count = 0;
    ::GetProcessHandleCount(::GetCurrentProcess(), &count);
    return static_cast<std::int32_t>(count);
}

double processorSeconds() {
    FILETIME created, ended, kernel, user;
    ::GetProcessTimes(::GetCurrentProcess(), &created, &ended, &kernel, &user);
    return seconds(kernel) + seconds(user);
}

std::wstring scratchFile() { return (std::filesystem::temp_directory_path() / L"quillory bench").wstring(); }

} // namespace machine
