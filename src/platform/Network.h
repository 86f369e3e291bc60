#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/Messages.h"

/// The network as the Windows Sockets interface, version 1.1, tells it: non-blocking IPv4 sockets whose events arrive
/// as messages of a hidden window. The functions bear the names of that interface and keep its results (-1 for a failed
/// call), its numbers and its error codes; what each promises is told there, and here only what is particular.
///
/// Everything runs on the thread of the message loop. Unless told otherwise no call waits.
namespace platform {

namespace wsa { // error codes that the program treats in a way of their own
inline constexpr std::int32_t invalidArgument = 10022;
inline constexpr std::int32_t wouldBlock = 10035;
inline constexpr std::int32_t notASocket = 10038;
inline constexpr std::int32_t messageTooLong = 10040;
inline constexpr std::int32_t addressFamilyNotSupported = 10047;
inline constexpr std::int32_t addressNotAvailable = 10049;
inline constexpr std::int32_t notStarted = 10093;
} // namespace wsa

namespace sockets { // address family, types, protocols, options and flags
inline constexpr std::int32_t internet = 2;
inline constexpr std::int32_t stream = 1;
inline constexpr std::int32_t datagram = 2;
inline constexpr std::int32_t tcp = 6;
inline constexpr std::int32_t udp = 17;
inline constexpr std::int32_t broadcast = 32;
inline constexpr std::int32_t sendBufferSize = 4097;
inline constexpr std::int32_t receiveBufferSize = 4098;
inline constexpr std::int32_t maximumMessageSize = 8195;
inline constexpr std::int32_t peek = 2;
} // namespace sockets

namespace events { // bits of an event selection
inline constexpr std::int32_t read = 1;
inline constexpr std::int32_t write = 2;
inline constexpr std::int32_t accept = 8;
inline constexpr std::int32_t connect = 16;
inline constexpr std::int32_t close = 32;
} // namespace events

inline constexpr std::int32_t noSocket = -1;
inline constexpr std::uint32_t noAddress = 0xFFFFFFFF;

/// An endpoint of the internet family. The address holds the four bytes as they go over the wire, as inet_addr gives
/// them; the port is the plain number.
struct SocketAddress {
    std::uint32_t address = 0;
    std::uint16_t port = 0;
};

/// Starts the library; `version` is 257 for 1.1. Answers 0 or an error code.
std::int32_t startNetwork(std::int32_t version);

/// Ends the library; 0 or -1.
std::int32_t stopNetwork();

/// The error code of the last call that failed; read it right after that call.
std::int32_t lastNetworkError();

std::int32_t socket(std::int32_t family, std::int32_t type, std::int32_t protocol);
std::int32_t closesocket(std::int32_t socket);
std::int32_t connect(std::int32_t socket, const SocketAddress& peer);
std::int32_t bind(std::int32_t socket, const SocketAddress& local);
std::int32_t listen(std::int32_t socket, std::int32_t backlog);

/// The new socket has the event selection of the listening one.
std::int32_t accept(std::int32_t socket, SocketAddress& peer);

std::int32_t send(std::int32_t socket, const char* bytes, std::int32_t length);
std::int32_t sendto(std::int32_t socket, const char* bytes, std::int32_t length, const SocketAddress& peer);
std::int32_t recv(std::int32_t socket, char* buffer, std::int32_t length);

/// `flags` is 0 or sockets::peek. A datagram that is longer than the buffer fills it and fails with 10040. `peer` is
/// written whenever a datagram was there.
std::int32_t recvfrom(std::int32_t socket, char* buffer, std::int32_t length, std::int32_t flags, SocketAddress& peer);

/// Options at the level of the socket itself, all of them four bytes.
std::int32_t getsockopt(std::int32_t socket, std::int32_t option, std::int32_t& value);
std::int32_t setsockopt(std::int32_t socket, std::int32_t option, std::int32_t value);

/// How many bytes can be read at once (FIONREAD): for datagrams at least the size of the first one.
std::int32_t pendingBytes(std::int32_t socket, std::int32_t& count);

std::int32_t getpeername(std::int32_t socket, SocketAddress& peer);
std::int32_t getsockname(std::int32_t socket, SocketAddress& local);

/// The machine's own name, with a zero byte behind it.
std::int32_t gethostname(char* name, std::int32_t length);

/// The first address of a name, or nothing and an error code. Waits as long as the platform's resolver does.
std::optional<std::uint32_t> gethostbyname(const std::string& name);

/// The address of a dotted text; noAddress for any other text, and for the broadcast address too.
std::uint32_t inet_addr(const std::string& text);

/// The four bytes of an address in decimal, with points between them.
std::string inet_ntoa(std::uint32_t address);

/// Makes the socket non-blocking and posts `message` to the window for each event in the mask: the socket in wParam,
/// the event in the low word of lParam, an error code in its high word. An event is posted once and again only after
/// the call that answers it: reading for `read`, accept for `accept`, a send that was refused with 10035 for `write`. A
/// close is told once, when everything that came before it has been read.
std::int32_t asyncSelect(std::int32_t socket, WindowHandle window, std::uint32_t message, std::int32_t mask);

/// Starts a lookup and gives its task handle, or 0. When it ends, the buffer holds the platform's host entry, and
/// `message` is posted to the window: the task handle in wParam, an error code in the high word of lParam. The buffer
/// must stay allocated until then, whatever happens to the window.
std::int32_t asyncGetHostByName(WindowHandle window, std::uint32_t message, const std::string& name, void* buffer,
                                std::int32_t length);

/// Stops a lookup whose message has not been posted; -1 for a handle that is no running lookup.
std::int32_t cancelAsyncRequest(std::int32_t task);

/// The first address of the host entry in a lookup's buffer of `length` bytes; 0 if the buffer holds none yet.
std::uint32_t firstAddress(const void* buffer, std::int32_t length);

/// Movable memory of the platform: a handle (0 for none), whose block has an address while it is locked. A new block
/// holds zeroes.
using MemoryHandle = std::uintptr_t;
MemoryHandle allocateMemory(std::int32_t bytes);
void* lockMemory(MemoryHandle memory);
void unlockMemory(MemoryHandle memory);
void freeMemory(MemoryHandle memory); // lets 0 pass

} // namespace platform
