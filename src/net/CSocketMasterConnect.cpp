#include <cmath>

#include "net/CSocketMaster.h"
#include "net/LocalMachine.h"
#include "net/SocketErrors.h"
#include "net/modSocketMaster.h"
#include "platform/RunTimeError.h"
#include "platform/Text.h"

/// The way to a connection or a bound socket.

namespace {

constexpr std::int32_t destinationConnect = 0; // what a lookup is for
constexpr std::uint32_t lookupRunning = 1;     // in place of an address; 1.0.0.0 is taken for it too

std::int32_t portFrom(const Value& given, std::int32_t lowest, const wchar_t* source) {
    const auto number = numberOf(given);
    if (!number) raiseSocketError(socketErrors::unsupportedType, source);
    if (*number < lowest || *number > 65535) raiseSocketError(socketErrors::invalidArgument, source);
    return static_cast<std::int32_t>(std::nearbyint(*number));
}

} // namespace

void CSocketMaster::Connect(std::optional<std::wstring> host, std::optional<Value> port) {
    constexpr const wchar_t* source = L"CSocketMaster.Connect";
    const auto alive = shared_from_this();
    if (state != StateClosed) raiseSocketError(socketErrors::invalidState, source);
    if (host) remoteHost = *host;
    if (port) remotePort = portFrom(*port, 1, source);
    if (!SocketExists()) return;
    if (isUdp()) {
        if (BindInternal()) state = StateOpen;
        return;
    }
    const std::uint32_t address = ResolveIfHostname(remoteHost, destinationConnect);
    if (address != lookupRunning) ConnectToIP(address, 0);
}

bool CSocketMaster::SocketExists() {
    if (handle != platform::noSocket) return true;
    namespace sockets = platform::sockets;
    const std::int32_t made = isUdp() ? platform::socket(sockets::internet, sockets::datagram, sockets::udp)
                                      : platform::socket(sockets::internet, sockets::stream, sockets::tcp);
    if (made == -1) {
        reportError(platform::lastNetworkError(), L"CSocketMaster.SocketExists");
        return false;
    }
    handle = made;
    ProcessOptions();
    return RegisterSocket(handle, this, true);
}

std::uint32_t CSocketMaster::ResolveIfHostname(const std::wstring& host, std::int32_t destination) {
    constexpr const wchar_t* source = L"CSocketMaster.ResolveIfHostname";
    const std::uint32_t address = platform::inet_addr(platform::toAnsi(host));
    if (address != platform::noAddress) return address;
    state = StateResolvingHost;
    if (AllocateMemory() == nullptr) {
        state = StateError;
        throw RunTimeError(errors::outOfMemory, source);
    }
    const std::int32_t task = ResolveHostAsync(host, lookupBuffer, this);
    if (task != 0) {
        waitingLookups[task] = destination;
    } else {
        const std::int32_t code = platform::lastNetworkError();
        FreeMemory();
        reportError(code, source);
    }
    return lookupRunning;
}

void CSocketMaster::PostResolution(std::int32_t task, std::int32_t code) {
    if (state != StateResolvingHost) return; // of a lookup that was given up
    const auto waiting = waitingLookups.extract(task);
    if (waiting.empty() || waiting.mapped() != destinationConnect) return;
    if (code != 0) {
        FreeMemory();
        ConnectToIP(lookupRunning, code);
        return;
    }
    state = StateHostResolved;
    const std::uint32_t address = platform::firstAddress(lookupBuffer, LookupBufferSize);
    FreeMemory();
    ConnectToIP(address, 0);
}

void CSocketMaster::ConnectToIP(std::uint32_t address, std::int32_t code) {
    constexpr const wchar_t* source = L"CSocketMaster.ConnectToIP";
    if (code != 0) {
        reportError(code, source);
        return;
    }
    if (!BindInternal()) return;
    state = StateConnecting;
    if (platform::connect(handle, {address, static_cast<std::uint16_t>(remotePort)}) != -1) return;
    switch (const std::int32_t last = platform::lastNetworkError()) {
    case platform::wsa::wouldBlock: break; // the event tells how it went
    case platform::wsa::addressNotAvailable: raiseSocketError(last, source);
    default: reportError(last, source);
    }
}

void CSocketMaster::Bind(const std::optional<Value>& port, const std::optional<std::wstring>& address) {
    const auto alive = shared_from_this();
    if (state != StateClosed) raiseSocketError(socketErrors::invalidState, L"CSocketMaster.Bind");
    if (BindInternal(port, address)) state = StateOpen;
}

bool CSocketMaster::BindInternal(const std::optional<Value>& port, const std::optional<std::wstring>& address) {
    constexpr const wchar_t* source = L"CSocketMaster.BindInternal";
    if (state == StateOpen) return true;
    const std::int32_t chosenPort = port ? portFrom(*port, 0, source) : localPort;
    const BlockingAddress local = GetAddressBlocking(address && !address->empty() ? *address : GetLocalIP());
    if (local.code != 0) throw RunTimeError(socketErrors::invalidArgument, source, L"Invalid argument");
    if (!SocketExists()) return false;
    if (platform::bind(handle, {local.address, static_cast<std::uint16_t>(chosenPort)}) == -1) raiseLastError(source);
    localIP = local.text;
    if (chosenPort != 0) {
        localPort = chosenPort;
        return true;
    }
    platform::SocketAddress bound;
    if (platform::getsockname(handle, bound) == -1) raiseLastError(source);
    boundLocalPort = bound.port;
    return true;
}

void* CSocketMaster::AllocateMemory() {
    lookupBufferHandle = platform::allocateMemory(LookupBufferSize);
    lookupBuffer = platform::lockMemory(lookupBufferHandle);
    if (lookupBuffer != nullptr) {
        platform::unlockMemory(lookupBufferHandle);
    } else {
        platform::freeMemory(lookupBufferHandle);
        lookupBufferHandle = 0;
    }
    return lookupBuffer;
}

/// Forgets the block and frees nothing, on purpose: a lookup cannot be stopped, and one that ends late still writes
/// into its block.
void CSocketMaster::FreeMemory() {
    if (lookupBufferHandle == 0) return;
    lookupBufferHandle = 0;
    lookupBuffer = nullptr;
    platform::freeMemory(lookupBufferHandle);
}
