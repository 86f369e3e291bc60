#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// The headless desktop's network as a test steers it. The sockets are the host's own; names, faults and one port can
/// be chosen, so that a test needs neither a resolver nor a privilege. The machine is named "headless", at 127.0.0.1.
namespace headless {

enum class NetworkCall {
    start, stop, socket, closesocket, connect, bind, listen, accept, send, sendto, recv, recvfrom, getsockopt,
    setsockopt, pendingBytes, getpeername, getsockname, gethostname, gethostbyname, asyncSelect, asyncGetHostByName,
    lookup,         // the lookup itself: its message brings the error
    connection,     // the connection attempt itself: its message brings the error
    allocateMemory, lockMemory
};

/// Closes all sockets, ends the library and forgets lookups, names and faults. Every test begins with it.
void resetNetwork();

/// Sockets that are open now.
std::size_t openSockets();

/// The Nth use of the call from now on, 1 for the next, fails with the code. 10035 from send or recv has the usual
/// consequence: the event is posted when the socket is ready.
void failNetworkCall(NetworkCall call, std::size_t nth, std::int32_t code);

/// The Nth call from now on fails with the code, whichever it is; later ones do not.
void failNthNetworkCall(std::size_t nth, std::int32_t code);

/// True once the failure asked of failNthNetworkCall has come: a loop over N ends when a run goes by without it.
bool nthNetworkCallFailed();

/// Each of the next `times` uses of send takes at most `bytes`.
void limitSends(std::int32_t bytes, std::size_t times);

/// Posts a socket message out of turn, as for a close that overtakes unread data or for any event with an error code.
void postSocketEvent(std::int32_t socket, std::int32_t event, std::int32_t code);

/// Gives a name an address, or the error code that looking it up brings.
void setHost(const std::string& name, const std::string& address);
void setHostError(const std::string& name, std::int32_t code);

/// While false, names that the test has not set do not exist; else the host's resolver is asked.
void useResolver(bool use);

/// While true, finished lookups wait with their messages.
void holdLookups(bool hold);

/// A connection to `port` goes to `target` instead (0 for itself again), and says nothing of it.
void redirectPort(std::uint16_t port, std::uint16_t target);

} // namespace headless
