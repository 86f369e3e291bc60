#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "platform/headless/Loop.h"
#include "platform/headless/SocketTable.h"

namespace events = platform::events;

namespace headless {

Network network;

namespace {

constexpr std::int32_t hostNotFound = 11001;

struct Fault {
    NetworkCall call;
    std::size_t nth; // counts down
    std::int32_t code;
};

std::vector<Fault> faults;
std::size_t nthCall = 0; // counts down to the call that fails; 0 for none
std::int32_t nthCode = 0;
bool nthFailed = false;
std::int32_t sendLimit = 0;
std::size_t limitedSends = 0;
std::int32_t lastTask = 0;

/// What resolver threads have found. Such a thread may outlive its test and even the program's end, so this is never
/// destroyed.
struct Finished {
    std::mutex lock;
    std::vector<std::pair<std::int32_t, Host>> hosts;
};
Finished& finished() {
    static auto* theFinished = new Finished;
    return *theFinished;
}

void postEvent(std::int32_t handle, const Socket& socket, std::int32_t event, std::int32_t code) {
    if ((socket.mask & event) == 0) return;
    postMessage(socket.window, socket.message, static_cast<std::uint32_t>(handle), event | code << 16);
}

short interest(const Socket& socket) {
    if (socket.window == 0 || socket.closeTold) return 0;
    if (socket.listening) return socket.mayAccept ? POLLIN : 0;
    if (socket.connecting) return POLLOUT;
    if (socket.stream && !socket.connected) return 0;
    return static_cast<short>((socket.mayRead ? POLLIN : 0) | (socket.mayWrite ? POLLOUT : 0));
}

void tellConnection(std::int32_t handle, Socket& socket) {
    int hostError = 0;
    socklen_t size = sizeof hostError;
    ::getsockopt(socket.fd, SOL_SOCKET, SO_ERROR, &hostError, &size);
    std::int32_t code = socket.connectError != 0 ? socket.connectError : networkError(hostError);
    if (auto planned = plannedFailure(NetworkCall::connection)) code = *planned;
    socket.connecting = false;
    postEvent(handle, socket, events::connect, code);
    if (code == 0) {
        socket.connected = true;
        postEvent(handle, socket, events::write, 0);
    } else {
        socket.closeTold = true; // nothing else will come
    }
}

void tellReadable(std::int32_t handle, Socket& socket) {
    if (!socket.stream) {
        socket.mayRead = false;
        postEvent(handle, socket, events::read, 0);
        return;
    }
    char byte;
    const ssize_t waiting = ::recv(socket.fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    if (waiting > 0) {
        socket.mayRead = false;
        postEvent(handle, socket, events::read, 0);
    } else if (waiting == 0 || errno != EAGAIN) {
        socket.closeTold = true;
        postEvent(handle, socket, events::close, waiting == 0 ? 0 : networkError(errno));
    }
}

void tell(std::int32_t handle, Socket& socket, short ready) {
    if (socket.connecting) {
        tellConnection(handle, socket);
    } else if (socket.listening) {
        socket.mayAccept = false;
        postEvent(handle, socket, events::accept, 0);
    } else {
        if (socket.mayRead && (ready & (POLLIN | POLLHUP | POLLERR)) != 0) tellReadable(handle, socket);
        if (socket.mayWrite && (ready & POLLOUT) != 0 && !socket.closeTold) {
            socket.mayWrite = false;
            postEvent(handle, socket, events::write, 0);
        }
    }
}

/// Fills the buffer with a host entry of one address, laid out as the host's own structure.
void writeHostEntry(void* buffer, std::uint32_t address) {
    struct Entry {
        hostent head;
        char* list[2];
        std::uint32_t address;
    } entry{};
    auto* there = static_cast<Entry*>(buffer);
    entry.head.h_addrtype = AF_INET;
    entry.head.h_length = sizeof entry.address;
    entry.head.h_addr_list = there->list;
    entry.list[0] = reinterpret_cast<char*>(&there->address);
    entry.address = address;
    std::memcpy(buffer, &entry, sizeof entry);
}

/// Posts the messages of lookups that have ended; true if any is still awaited.
bool tellLookups() {
    {
        std::lock_guard lock(finished().lock);
        for (const auto& [task, host] : finished().hosts) {
            if (auto found = network.lookups.find(task); found != network.lookups.end()) found->second.found = host;
        }
        finished().hosts.clear();
    }
    if (network.holdLookups) return !network.lookups.empty();
    for (auto at = network.lookups.begin(); at != network.lookups.end();) {
        const auto& [task, lookup] = *at;
        if (!lookup.found) {
            ++at;
            continue;
        }
        Host host = *lookup.found;
        if (auto planned = plannedFailure(NetworkCall::lookup)) host.error = *planned;
        if (host.error == 0) writeHostEntry(lookup.buffer, host.address);
        postMessage(lookup.window, lookup.message, static_cast<std::uint32_t>(task), host.error << 16);
        at = network.lookups.erase(at);
    }
    return !network.lookups.empty();
}

Host askResolver(const std::string& name) {
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    addrinfo* found = nullptr;
    switch (::getaddrinfo(name.c_str(), nullptr, &wanted, &found)) {
    case 0: break;
    case EAI_AGAIN: return {11002, 0};
    case EAI_FAIL: return {11003, 0};
    case EAI_NODATA: return {11004, 0};
    default: return {hostNotFound, 0};
    }
    const Host host{0, reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr.s_addr};
    ::freeaddrinfo(found);
    return host;
}

/// What is known of a name without the resolver. Nobody's name is the machine's own.
std::optional<Host> knownHost(const std::string& name) {
    if (auto found = network.hosts.find(name); found != network.hosts.end()) return found->second;
    if (name.empty() || name == "headless" || name == "localhost") return Host{0, htonl(INADDR_LOOPBACK)};
    const std::uint32_t address = platform::inet_addr(name);
    if (address != platform::noAddress) return Host{0, address};
    if (!network.useResolver) return Host{hostNotFound, 0};
    return std::nullopt;
}

} // namespace

bool tellEvents(int milliseconds) {
    const bool awaitsLookup = tellLookups();
    std::vector<pollfd> watched;
    std::vector<std::int32_t> handles;
    for (const auto& [handle, socket] : network.sockets) {
        const short wanted = interest(socket);
        if (wanted == 0) continue;
        watched.push_back({socket.fd, wanted, 0});
        handles.push_back(handle);
        if (socket.connectError != 0) milliseconds = 0;
    }
    if (watched.empty() && !awaitsLookup) return false;
    if (awaitsLookup) milliseconds = std::min(milliseconds, 1); // if it ends meanwhile, the next turn tells of it
    if (::poll(watched.data(), watched.size(), milliseconds) < 0) return true;
    for (std::size_t i = 0; i < watched.size(); ++i) {
        Socket& socket = network.sockets[handles[i]];
        if (watched[i].revents != 0 || (socket.connecting && socket.connectError != 0))
            tell(handles[i], socket, watched[i].revents);
    }
    return true;
}

std::int32_t networkError(int hostError) {
    switch (hostError) {
    case 0: return 0;
    case EINTR: return 10004;
    case EBADF: return 10009;
    case EACCES:
    case EPERM: return 10013;
    case EFAULT: return 10014;
    case EINVAL: return 10022;
    case EMFILE:
    case ENFILE: return 10024;
    case EAGAIN:
    case EINPROGRESS: return 10035; // the host tells a connection under way apart, the interface does not
    case EALREADY: return 10037;
    case ENOTSOCK: return 10038;
    case EDESTADDRREQ: return 10039;
    case EMSGSIZE: return 10040;
    case EPROTOTYPE: return 10041;
    case ENOPROTOOPT: return 10042;
    case EPROTONOSUPPORT: return 10043;
    case ESOCKTNOSUPPORT: return 10044;
    case EOPNOTSUPP: return 10045;
    case EPFNOSUPPORT: return 10046;
    case EAFNOSUPPORT: return 10047;
    case EADDRINUSE: return 10048;
    case EADDRNOTAVAIL: return 10049;
    case ENETDOWN: return 10050;
    case ENETUNREACH: return 10051;
    case ENETRESET: return 10052;
    case EPIPE:
    case ECONNABORTED: return 10053;
    case ECONNRESET: return 10054;
    case ENOMEM:
    case ENOBUFS: return 10055;
    case EISCONN: return 10056;
    case ENOTCONN: return 10057;
    case ETIMEDOUT: return 10060;
    case ECONNREFUSED: return 10061;
    case EHOSTUNREACH: return 10065;
    default: return 10050;
    }
}

std::optional<std::int32_t> plannedFailure(NetworkCall call) {
    if (nthCall > 0 && --nthCall == 0) {
        nthFailed = true;
        return nthCode;
    }
    for (auto fault = faults.begin(); fault != faults.end(); ++fault) {
        if (fault->call != call || --fault->nth > 0) continue;
        const std::int32_t code = fault->code;
        faults.erase(fault);
        return code;
    }
    return std::nullopt;
}

std::int32_t allowedBytes(std::int32_t wanted) {
    if (limitedSends == 0) return wanted;
    --limitedSends;
    return std::min(wanted, sendLimit);
}

Host resolve(const std::string& name) {
    if (auto known = knownHost(name)) return *known;
    return askResolver(name);
}

std::int32_t startLookup(Lookup lookup, const std::string& name) {
    lookup.found = knownHost(name);
    const std::int32_t task = ++lastTask;
    if (!lookup.found) {
        std::thread([task, name] {
            const Host host = askResolver(name);
            std::lock_guard lock(finished().lock);
            finished().hosts.emplace_back(task, host);
        }).detach();
    }
    network.lookups[task] = lookup;
    return task;
}

void resetNetwork() {
    for (const auto& [handle, socket] : network.sockets) ::close(socket.fd);
    network = Network{};
    faults.clear();
    nthCall = 0;
    nthFailed = false;
    limitedSends = 0;
}

std::size_t openSockets() { return network.sockets.size(); }

void failNetworkCall(NetworkCall call, std::size_t nth, std::int32_t code) { faults.push_back({call, nth, code}); }

void failNthNetworkCall(std::size_t nth, std::int32_t code) {
    nthCall = nth;
    nthCode = code;
    nthFailed = false;
}

bool nthNetworkCallFailed() { return nthFailed; }

void limitSends(std::int32_t bytes, std::size_t times) {
    sendLimit = bytes;
    limitedSends = times;
}

void postSocketEvent(std::int32_t handle, std::int32_t event, std::int32_t code) {
    if (auto found = network.sockets.find(handle); found != network.sockets.end())
        postEvent(handle, found->second, event, code);
}

void setHost(const std::string& name, const std::string& address) {
    network.hosts[name] = {0, platform::inet_addr(address)};
}

void setHostError(const std::string& name, std::int32_t code) { network.hosts[name] = {code, 0}; }

void useResolver(bool use) { network.useResolver = use; }

void holdLookups(bool hold) { network.holdLookups = hold; }

void redirectPort(std::uint16_t port, std::uint16_t target) { network.redirected[port] = target; }

} // namespace headless
