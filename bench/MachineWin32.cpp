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

namespace {

SOCKET ask(const std::string& path) {
    const SOCKET connection = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = ::htons(80);
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    if (::connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
        throw std::runtime_error("no server");
    const std::string request = "GET " + path + " HTTP/1.0\r\n\r\n";
    ::send(connection, request.data(), static_cast<int>(request.size()), 0);
    return connection;
}

/// What comes, on its way into a file.
class Arriving {
public:
    Arriving(const std::wstring& file, std::int32_t chunk)
        : out(::CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr)),
          buffer(static_cast<std::size_t>(chunk)) {}
    Arriving(const Arriving&) = delete;
    ~Arriving() { ::CloseHandle(out); }

    /// False at the end of what comes.
    bool receive(SOCKET from) {
        const int taken = ::recv(from, buffer.data(), static_cast<int>(buffer.size()), 0);
        if (taken <= 0) return taken < 0 && ::WSAGetLastError() == WSAEWOULDBLOCK;
        DWORD written = 0;
        ::WriteFile(out, buffer.data(), static_cast<DWORD>(taken), &written, nullptr);
        total += written;
        return true;
    }
    std::int64_t total = 0;

private:
    const HANDLE out;
    std::vector<char> buffer;
};

} // namespace

std::int64_t plainDownload(const std::string& path, const std::wstring& file, std::int32_t chunk) {
    const SOCKET connection = ask(path);
    Arriving arriving(file, chunk);
    while (arriving.receive(connection)) continue;
    ::closesocket(connection);
    return arriving.total;
}

std::int64_t eventDownload(const std::string& path, const std::wstring& file, std::int32_t chunk) {
    static const HWND window =
        ::CreateWindowExW(0, L"STATIC", nullptr, 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
    constexpr UINT arrival = WM_APP;
    const SOCKET connection = ask(path);
    Arriving arriving(file, chunk);
    ::WSAAsyncSelect(connection, window, arrival, FD_READ | FD_CLOSE);
    MSG message;
    while (::GetMessageW(&message, nullptr, 0, 0) > 0) {
        if (message.message != arrival) {
            ::DispatchMessageW(&message);
        } else if (WSAGETSELECTEVENT(message.lParam) == FD_READ) {
            arriving.receive(connection);
        } else {
            ::WSAAsyncSelect(connection, window, 0, 0);
            while (arriving.receive(connection)) continue; // what is still there at the end
            break;
        }
    }
    ::closesocket(connection);
    return arriving.total;
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
