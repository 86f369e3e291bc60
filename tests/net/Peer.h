#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

/// The other end of a connection: plain blocking sockets of the platform, on the test's own thread. The system takes a
/// connection and its first data without help, so a test can let the program act first and look at the peer then.
namespace peers {

#ifdef _WIN32
using Handle = SOCKET;
inline constexpr Handle none = INVALID_SOCKET;
inline void closeHandle(Handle handle) { ::closesocket(handle); }
struct Library {
    WSADATA data;
    Library() { ::WSAStartup(MAKEWORD(2, 2), &data); }
};
inline const Library library;
#else
using Handle = int;
inline constexpr Handle none = -1;
inline void closeHandle(Handle handle) { ::close(handle); }
#endif

inline sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

/// A socket of the platform, closed at the end.
class Socket {
public:
    explicit Socket(Handle owned) : handle(owned) {
        if (handle == none) throw std::runtime_error("the peer has no socket");
    }
    Socket(Socket&& other) noexcept : handle(std::exchange(other.handle, none)) {}
    Socket& operator=(Socket&& other) noexcept {
        std::swap(handle, other.handle);
        return *this;
    }
    ~Socket() { close(); }

    void close() {
        if (handle != none) closeHandle(std::exchange(handle, none));
    }

    std::uint16_t port() const {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        ::getsockname(handle, reinterpret_cast<sockaddr*>(&address), &size);
        return ntohs(address.sin_port);
    }

    /// True if something can be read or accepted at once, or within the seconds given.
    bool hasInput(int seconds = 0) const {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(handle, &readable);
        timeval limit{seconds, 0};
        return ::select(static_cast<int>(handle) + 1, &readable, nullptr, nullptr, &limit) == 1;
    }

    void awaitInput() const {
        if (!hasInput(30)) throw std::runtime_error("the peer waits for something that does not come");
    }

protected:
    Handle handle;
};

class Connection : public Socket {
public:
    /// Small pieces go out one by one, without waiting for what the other end says of the piece before.
    explicit Connection(Handle owned) : Socket(owned) {
        const int atOnce = 1;
        ::setsockopt(handle, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&atOnce), sizeof atOnce);
    }

    void send(const std::string& bytes) const {
        std::size_t done = 0;
        while (done < bytes.size()) {
            const auto sent = ::send(handle, bytes.data() + done, static_cast<int>(bytes.size() - done), 0);
            if (sent <= 0) throw std::runtime_error("the peer cannot send");
            done += static_cast<std::size_t>(sent);
        }
    }

    /// The next bytes, `count` of them at most; "" at the end.
    std::string receiveSome(std::size_t count) const {
        awaitInput();
        std::string bytes(count, '\0');
        const auto taken = ::recv(handle, bytes.data(), static_cast<int>(count), 0);
        bytes.resize(taken > 0 ? static_cast<std::size_t>(taken) : 0);
        return bytes;
    }

    std::string receive(std::size_t count, const std::string& end = {}) const {
        std::string bytes;
        while (bytes.size() < count && (end.empty() || !bytes.ends_with(end))) {
            const std::string more = receiveSome(count - bytes.size());
            if (more.empty()) break;
            bytes += more;
        }
        return bytes;
    }

    std::string receiveRequest() const { return receive(4096, "\r\n\r\n"); }

    /// Closes so that the other end sees a broken connection.
    void reset() {
        const linger abrupt{1, 0};
        ::setsockopt(handle, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&abrupt), sizeof abrupt);
        close();
    }
};

/// A listening socket on the loopback address; port 0 is any free one.
class Server : public Socket {
public:
    explicit Server(std::uint16_t port = 0) : Socket(::socket(AF_INET, SOCK_STREAM, 0)) {
        const int reuse = 1;
        ::setsockopt(handle, SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&reuse), sizeof reuse);
        const sockaddr_in address = loopback(port);
        if (::bind(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
            ::listen(handle, 16) != 0)
            throw std::runtime_error("the peer cannot listen on port " + std::to_string(port));
    }

    Connection accept() const {
        awaitInput();
        return Connection(::accept(handle, nullptr, nullptr));
    }
};

/// A connection to a port of this machine, made by the peer.
inline Connection call(std::uint16_t port) {
    const Handle handle = ::socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = loopback(port);
    if (::connect(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        throw std::runtime_error("the peer cannot connect");
    return Connection(handle);
}

} // namespace peers
