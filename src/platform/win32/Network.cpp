#include "platform/Network.h"

#include <winsock2.h>

#include <cstring>

static_assert(FD_READ == platform::events::read && FD_WRITE == platform::events::write &&
              FD_ACCEPT == platform::events::accept && FD_CONNECT == platform::events::connect &&
              FD_CLOSE == platform::events::close);
static_assert(SO_SNDBUF == platform::sockets::sendBufferSize && SO_RCVBUF == platform::sockets::receiveBufferSize &&
              SO_MAX_MSG_SIZE == platform::sockets::maximumMessageSize &&
              SO_BROADCAST == platform::sockets::broadcast && MSG_PEEK == platform::sockets::peek);

namespace {

SOCKET fromHandle(std::int32_t socket) { return static_cast<SOCKET>(socket); }
std::int32_t toHandle(SOCKET socket) { return static_cast<std::int32_t>(socket); }

sockaddr_in toSystem(const platform::SocketAddress& address) {
    sockaddr_in system{};
    system.sin_family = AF_INET;
    system.sin_addr.s_addr = address.address;
    system.sin_port = ::htons(address.port);
    return system;
}

platform::SocketAddress fromSystem(const sockaddr_in& system) {
    return {system.sin_addr.s_addr, ::ntohs(system.sin_port)};
}

sockaddr* generic(sockaddr_in& address) { return reinterpret_cast<sockaddr*>(&address); }

HGLOBAL toGlobal(platform::MemoryHandle memory) { return reinterpret_cast<HGLOBAL>(memory); }

HWND toWindow(platform::WindowHandle window) {
    return reinterpret_cast<HWND>(static_cast<std::uintptr_t>(window));
}

} // namespace

namespace platform {

std::int32_t startNetwork(std::int32_t version) {
    WSADATA data;
    return ::WSAStartup(static_cast<WORD>(version), &data);
}

std::int32_t stopNetwork() { return ::WSACleanup(); }

std::int32_t lastNetworkError() { return ::WSAGetLastError(); }

std::int32_t socket(std::int32_t family, std::int32_t type, std::int32_t protocol) {
    return toHandle(::socket(family, type, protocol));
}

std::int32_t closesocket(std::int32_t socket) { return ::closesocket(fromHandle(socket)); }

std::int32_t connect(std::int32_t socket, const SocketAddress& peer) {
    sockaddr_in address = toSystem(peer);
    return ::connect(fromHandle(socket), generic(address), sizeof address);
}

std::int32_t bind(std::int32_t socket, const SocketAddress& local) {
    sockaddr_in address = toSystem(local);
    return ::bind(fromHandle(socket), generic(address), sizeof address);
}

std::int32_t listen(std::int32_t socket, std::int32_t backlog) { return ::listen(fromHandle(socket), backlog); }

std::int32_t accept(std::int32_t socket, SocketAddress& peer) {
    sockaddr_in address{};
    int size = sizeof address;
    const SOCKET accepted = ::accept(fromHandle(socket), generic(address), &size);
    peer = fromSystem(address);
    return toHandle(accepted);
}

std::int32_t send(std::int32_t socket, const char* bytes, std::int32_t length) {
    return ::send(fromHandle(socket), bytes, length, 0);
}

std::int32_t sendto(std::int32_t socket, const char* bytes, std::int32_t length, const SocketAddress& peer) {
    sockaddr_in address = toSystem(peer);
    return ::sendto(fromHandle(socket), bytes, length, 0, generic(address), sizeof address);
}

std::int32_t recv(std::int32_t socket, char* buffer, std::int32_t length) {
    return ::recv(fromHandle(socket), buffer, length, 0);
}

std::int32_t recvfrom(std::int32_t socket, char* buffer, std::int32_t length, std::int32_t flags, SocketAddress& peer) {
    sockaddr_in address{};
    int size = sizeof address;
    const int count = ::recvfrom(fromHandle(socket), buffer, length, flags, generic(address), &size);
    peer = fromSystem(address);
    return count;
}

std::int32_t getsockopt(std::int32_t socket, std::int32_t option, std::int32_t& value) {
    int size = sizeof value;
    return ::getsockopt(fromHandle(socket), SOL_SOCKET, option, reinterpret_cast<char*>(&value), &size);
}

std::int32_t setsockopt(std::int32_t socket, std::int32_t option, std::int32_t value) {
    return ::setsockopt(fromHandle(socket), SOL_SOCKET, option, reinterpret_cast<const char*>(&value), sizeof value);
}

std::int32_t pendingBytes(std::int32_t socket, std::int32_t& count) {
    u_long pending = 0;
    const int result = ::ioctlsocket(fromHandle(socket), static_cast<long>(FIONREAD), &pending);
    count = static_cast<std::int32_t>(pending);
    return result;
}

std::int32_t getpeername(std::int32_t socket, SocketAddress& peer) {
    sockaddr_in address{};
    int size = sizeof address;
    const int result = ::getpeername(fromHandle(socket), generic(address), &size);
    peer = fromSystem(address);
    return result;
}

std::int32_t getsockname(std::int32_t socket, SocketAddress& local) {
    sockaddr_in address{};
    int size = sizeof address;
    const int result = ::getsockname(fromHandle(socket), generic(address), &size);
    local = fromSystem(address);
    return result;
}

std::int32_t gethostname(char* name, std::int32_t length) { return ::gethostname(name, length); }

std::optional<std::uint32_t> gethostbyname(const std::string& name) {
    const hostent* entry = ::gethostbyname(name.c_str());
    if (entry == nullptr) return std::nullopt;
    std::uint32_t address;
    std::memcpy(&address, entry->h_addr_list[0], sizeof address);
    return address;
}

std::uint32_t inet_addr(const std::string& text) { return ::inet_addr(text.c_str()); }

std::string inet_ntoa(std::uint32_t address) {
    in_addr system{};
    system.s_addr = address;
    return ::inet_ntoa(system);
}

std::int32_t asyncSelect(std::int32_t socket, WindowHandle window, std::uint32_t message, std::int32_t mask) {
    return ::WSAAsyncSelect(fromHandle(socket), toWindow(window), message, mask);
}

std::int32_t asyncGetHostByName(WindowHandle window, std::uint32_t message, const std::string& name, void* buffer,
                                std::int32_t length) {
    const HANDLE task =
        ::WSAAsyncGetHostByName(toWindow(window), message, name.c_str(), static_cast<char*>(buffer), length);
    return static_cast<std::int32_t>(reinterpret_cast<std::intptr_t>(task));
}

std::int32_t cancelAsyncRequest(std::int32_t task) {
    return ::WSACancelAsyncRequest(reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(task)));
}

std::uint32_t firstAddress(const void* buffer, std::int32_t length) {
    // The entry and all that it points to lie in the buffer; anything else is no entry yet.
    const auto* start = static_cast<const char*>(buffer);
    const auto holds = [&](const void* part, std::size_t size) {
        const auto* at = static_cast<const char*>(part);
        return at >= start && at + size <= start + length;
    };
    const auto* entry = static_cast<const hostent*>(buffer);
    char** list = entry->h_addr_list;
    std::uint32_t address = 0;
    if (holds(static_cast<const void*>(list), sizeof *list) && holds(list[0], sizeof address))
        std::memcpy(&address, list[0], sizeof address);
    return address;
}

MemoryHandle allocateMemory(std::int32_t bytes) {
    const HGLOBAL memory = ::GlobalAlloc(0, static_cast<SIZE_T>(bytes));
    if (memory == nullptr) return 0;
    std::memset(::GlobalLock(memory), 0, static_cast<std::size_t>(bytes));
    ::GlobalUnlock(memory);
    return reinterpret_cast<MemoryHandle>(memory);
}

void* lockMemory(MemoryHandle memory) { return ::GlobalLock(toGlobal(memory)); }

void unlockMemory(MemoryHandle memory) { ::GlobalUnlock(toGlobal(memory)); }

void freeMemory(MemoryHandle memory) { ::GlobalFree(toGlobal(memory)); }

} // namespace platform
