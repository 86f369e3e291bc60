#include "platform/Network.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include "platform/headless/Loop.h"
#include "platform/headless/SocketTable.h"

using headless::network;
using headless::NetworkCall;
using headless::Socket;

namespace {

constexpr std::int32_t largestDatagram = 65507; // what fits into an IPv4 packet

std::int32_t fail(std::int32_t code) {
    network.lastError = code;
    return -1;
}

std::int32_t failAsHost() { return fail(headless::networkError(errno)); }

/// The entry of every call on a socket: nothing, with the error set, if a test wants it to fail or the socket is none.
Socket* enter(NetworkCall call, std::int32_t handle) {
    if (auto planned = headless::plannedFailure(call)) {
        // A refused send or read is allowed its next event, as any other answer would be.
        if (auto found = network.sockets.find(handle); found != network.sockets.end()) {
            if (call == NetworkCall::send && *planned == platform::wsa::wouldBlock) found->second.mayWrite = true;
            if (call == NetworkCall::recv || call == NetworkCall::recvfrom) found->second.mayRead = true;
            if (call == NetworkCall::accept) found->second.mayAccept = true;
        }
        fail(*planned);
        return nullptr;
    }
    if (!network.started) {
        fail(platform::wsa::notStarted);
        return nullptr;
    }
    const auto found = network.sockets.find(handle);
    if (found == network.sockets.end()) {
        fail(platform::wsa::notASocket);
        return nullptr;
    }
    return &found->second;
}

std::int32_t keep(const Socket& socket) {
    static std::int32_t lastHandle = 0x100;
    network.sockets[lastHandle += 4] = socket;
    return lastHandle;
}

sockaddr_in toHost(const platform::SocketAddress& address) {
    sockaddr_in host{};
    host.sin_family = AF_INET;
    host.sin_addr.s_addr = address.address;
    host.sin_port = htons(address.port);
    return host;
}

platform::SocketAddress fromHost(const sockaddr_in& host) { return {host.sin_addr.s_addr, ntohs(host.sin_port)}; }

sockaddr* generic(sockaddr_in& address) { return reinterpret_cast<sockaddr*>(&address); }

std::size_t unsignedLength(std::int32_t length) { return static_cast<std::size_t>(length); }

/// Blocks that are not freed. The program never frees the block of a lookup, which the leak checker need not know: it
/// sees them from here, at the end of the process too.
std::vector<void*>& blocks() {
    static auto* theBlocks = new std::vector<void*>;
    return *theBlocks;
}

void makeNonBlocking(int fd) { ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK); }

int hostOption(std::int32_t option) {
    switch (option) {
    case platform::sockets::broadcast: return SO_BROADCAST;
    case platform::sockets::sendBufferSize: return SO_SNDBUF;
    case platform::sockets::receiveBufferSize: return SO_RCVBUF;
    default: return -1;
    }
}

} // namespace

namespace platform {

std::int32_t startNetwork(std::int32_t) {
    if (auto planned = headless::plannedFailure(NetworkCall::start)) return *planned;
    static const bool heard = (headless::addMessageSource(headless::tellEvents), true);
    network.started = heard;
    return 0;
}

std::int32_t stopNetwork() {
    if (auto planned = headless::plannedFailure(NetworkCall::stop)) return fail(*planned);
    if (!network.started) return fail(wsa::notStarted);
    network.started = false;
    return 0;
}

std::int32_t lastNetworkError() { return network.lastError; }

std::int32_t socket(std::int32_t family, std::int32_t type, std::int32_t protocol) {
    if (auto planned = headless::plannedFailure(NetworkCall::socket)) return fail(*planned);
    if (!network.started) return fail(wsa::notStarted);
    if (family != sockets::internet) return fail(wsa::addressFamilyNotSupported);
    Socket made;
    made.stream = type == sockets::stream;
    made.fd = ::socket(AF_INET, (made.stream ? SOCK_STREAM : SOCK_DGRAM) | SOCK_CLOEXEC, protocol);
    return made.fd < 0 ? failAsHost() : keep(made);
}

std::int32_t closesocket(std::int32_t handle) {
    const Socket* found = enter(NetworkCall::closesocket, handle);
    if (found == nullptr) return -1;
    ::close(found->fd);
    network.sockets.erase(handle);
    return 0;
}

std::int32_t connect(std::int32_t handle, const SocketAddress& peer) {
    Socket* found = enter(NetworkCall::connect, handle);
    if (found == nullptr) return -1;
    if (peer.address == 0) return fail(wsa::addressNotAvailable); // the host would take it for itself
    SocketAddress target = peer;
    if (auto other = network.redirected.find(peer.port); other != network.redirected.end() && other->second != 0) {
        target.port = other->second;
        found->redirectedFrom = peer.port;
    }
    sockaddr_in address = toHost(target);
    if (::connect(found->fd, generic(address), sizeof address) != 0 && errno != EINPROGRESS) {
        // Over loopback the host knows of a refusal at once; the interface tells it in the message.
        if (errno != ECONNREFUSED && errno != ETIMEDOUT) return failAsHost();
        found->connectError = headless::networkError(errno);
    }
    found->connecting = true;
    return fail(wsa::wouldBlock);
}

std::int32_t bind(std::int32_t handle, const SocketAddress& local) {
    const Socket* found = enter(NetworkCall::bind, handle);
    if (found == nullptr) return -1;
    sockaddr_in address = toHost(local);
    return ::bind(found->fd, generic(address), sizeof address) == 0 ? 0 : failAsHost();
}

std::int32_t listen(std::int32_t handle, std::int32_t backlog) {
    Socket* found = enter(NetworkCall::listen, handle);
    if (found == nullptr) return -1;
    if (::listen(found->fd, backlog) != 0) return failAsHost();
    found->listening = true;
    return 0;
}

std::int32_t accept(std::int32_t handle, SocketAddress& peer) {
    Socket* found = enter(NetworkCall::accept, handle);
    if (found == nullptr) return -1;
    found->mayAccept = true;
    sockaddr_in address{};
    socklen_t size = sizeof address;
    Socket made;
    made.fd = ::accept4(found->fd, generic(address), &size, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (made.fd < 0) return failAsHost();
    made.window = found->window;
    made.message = found->message;
    made.mask = found->mask;
    made.connected = true;
    made.mayWrite = true;
    peer = fromHost(address);
    return keep(made);
}

std::int32_t send(std::int32_t handle, const char* bytes, std::int32_t length) {
    Socket* found = enter(NetworkCall::send, handle);
    if (found == nullptr) return -1;
    const ssize_t sent =
        ::send(found->fd, bytes, unsignedLength(headless::allowedBytes(length)), MSG_NOSIGNAL);
    if (sent >= 0) return static_cast<std::int32_t>(sent);
    if (errno == EAGAIN) found->mayWrite = true;
    return failAsHost();
}

std::int32_t sendto(std::int32_t handle, const char* bytes, std::int32_t length, const SocketAddress& peer) {
    const Socket* found = enter(NetworkCall::sendto, handle);
    if (found == nullptr) return -1;
    sockaddr_in address = toHost(peer);
    const ssize_t sent =
        ::sendto(found->fd, bytes, unsignedLength(length), MSG_NOSIGNAL, generic(address), sizeof address);
    return sent < 0 ? failAsHost() : static_cast<std::int32_t>(sent);
}

std::int32_t recv(std::int32_t handle, char* buffer, std::int32_t length) {
    Socket* found = enter(NetworkCall::recv, handle);
    if (found == nullptr) return -1;
    found->mayRead = true;
    const ssize_t taken = ::recv(found->fd, buffer, unsignedLength(length), found->stream ? 0 : MSG_TRUNC);
    if (taken < 0) return failAsHost();
    return taken > length ? fail(wsa::messageTooLong) : static_cast<std::int32_t>(taken);
}

std::int32_t recvfrom(std::int32_t handle, char* buffer, std::int32_t length, std::int32_t flags, SocketAddress& peer) {
    Socket* found = enter(NetworkCall::recvfrom, handle);
    if (found == nullptr) return -1;
    found->mayRead = true;
    sockaddr_in address{};
    socklen_t size = sizeof address;
    const int hostFlags = MSG_TRUNC | ((flags & sockets::peek) != 0 ? MSG_PEEK : 0);
    const ssize_t taken = ::recvfrom(found->fd, buffer, unsignedLength(length), hostFlags, generic(address), &size);
    if (taken < 0) return failAsHost();
    peer = fromHost(address);
    return taken > length ? fail(wsa::messageTooLong) : static_cast<std::int32_t>(taken);
}

std::int32_t getsockopt(std::int32_t handle, std::int32_t option, std::int32_t& value) {
    const Socket* found = enter(NetworkCall::getsockopt, handle);
    if (found == nullptr) return -1;
    if (option == sockets::maximumMessageSize) {
        value = largestDatagram;
        return 0;
    }
    socklen_t size = sizeof value;
    return ::getsockopt(found->fd, SOL_SOCKET, hostOption(option), &value, &size) == 0 ? 0 : failAsHost();
}

std::int32_t setsockopt(std::int32_t handle, std::int32_t option, std::int32_t value) {
    const Socket* found = enter(NetworkCall::setsockopt, handle);
    if (found == nullptr) return -1;
    return ::setsockopt(found->fd, SOL_SOCKET, hostOption(option), &value, sizeof value) == 0 ? 0 : failAsHost();
}

std::int32_t pendingBytes(std::int32_t handle, std::int32_t& count) {
    const Socket* found = enter(NetworkCall::pendingBytes, handle);
    if (found == nullptr) return -1;
    return ::ioctl(found->fd, FIONREAD, &count) == 0 ? 0 : failAsHost();
}

std::int32_t getpeername(std::int32_t handle, SocketAddress& peer) {
    const Socket* found = enter(NetworkCall::getpeername, handle);
    if (found == nullptr) return -1;
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (::getpeername(found->fd, generic(address), &size) != 0) return failAsHost();
    peer = fromHost(address);
    if (found->redirectedFrom != 0) peer.port = found->redirectedFrom;
    return 0;
}

std::int32_t getsockname(std::int32_t handle, SocketAddress& local) {
    const Socket* found = enter(NetworkCall::getsockname, handle);
    if (found == nullptr) return -1;
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (::getsockname(found->fd, generic(address), &size) != 0) return failAsHost();
    local = fromHost(address);
    return 0;
}

std::int32_t gethostname(char* name, std::int32_t length) {
    if (auto planned = headless::plannedFailure(NetworkCall::gethostname)) return fail(*planned);
    if (!network.started) return fail(wsa::notStarted);
    std::strncpy(name, "headless", unsignedLength(length));
    return 0;
}

std::optional<std::uint32_t> gethostbyname(const std::string& name) {
    std::int32_t error = wsa::notStarted;
    if (auto planned = headless::plannedFailure(NetworkCall::gethostbyname)) {
        error = *planned;
    } else if (network.started) {
        const headless::Host host = headless::resolve(name);
        if (host.error == 0) return host.address;
        error = host.error;
    }
    fail(error);
    return std::nullopt;
}

std::uint32_t inet_addr(const std::string& text) { return ::inet_addr(text.c_str()); }

std::string inet_ntoa(std::uint32_t address) {
    char text[INET_ADDRSTRLEN];
    return ::inet_ntop(AF_INET, &address, text, sizeof text);
}

std::int32_t asyncSelect(std::int32_t handle, WindowHandle window, std::uint32_t message, std::int32_t mask) {
    Socket* found = enter(NetworkCall::asyncSelect, handle);
    if (found == nullptr) return -1;
    if (window == 0) return fail(wsa::invalidArgument);
    makeNonBlocking(found->fd);
    found->window = window;
    found->message = message;
    found->mask = mask;
    return 0;
}

std::int32_t asyncGetHostByName(WindowHandle window, std::uint32_t message, const std::string& name, void* buffer,
                                std::int32_t) {
    std::int32_t error = 0;
    if (auto planned = headless::plannedFailure(NetworkCall::asyncGetHostByName)) {
        error = *planned;
    } else if (!network.started) {
        error = wsa::notStarted;
    } else if (window == 0) {
        error = wsa::invalidArgument;
    }
    if (error == 0) return headless::startLookup({window, message, buffer, std::nullopt}, name);
    fail(error);
    return 0;
}

std::int32_t cancelAsyncRequest(std::int32_t task) {
    return network.lookups.erase(task) == 1 ? 0 : fail(wsa::invalidArgument);
}

std::uint32_t firstAddress(const void* buffer, std::int32_t) {
    const auto* entry = static_cast<const hostent*>(buffer);
    if (entry->h_addr_list == nullptr) return 0;
    std::uint32_t address = 0;
    std::memcpy(&address, entry->h_addr_list[0], sizeof address);
    return address;
}

MemoryHandle allocateMemory(std::int32_t bytes) {
    if (headless::plannedFailure(NetworkCall::allocateMemory)) return 0;
    void* block = std::calloc(1, unsignedLength(bytes));
    blocks().push_back(block);
    return reinterpret_cast<MemoryHandle>(block);
}

void* lockMemory(MemoryHandle memory) {
    if (headless::plannedFailure(NetworkCall::lockMemory)) return nullptr;
    return reinterpret_cast<void*>(memory);
}

void unlockMemory(MemoryHandle) {}

void freeMemory(MemoryHandle memory) {
    std::erase(blocks(), reinterpret_cast<void*>(memory));
    std::free(reinterpret_cast<void*>(memory));
}

} // namespace platform
