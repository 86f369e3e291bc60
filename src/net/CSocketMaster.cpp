#include "net/CSocketMaster.h"

#include <new>
#include <utility>

#include "net/Events.h"
#include "net/LocalMachine.h"
#include "net/SocketErrors.h"
#include "net/modSocketMaster.h"
#include "platform/RunTimeError.h"
#include "platform/Text.h"

/// The life of a socket: its properties, listening and accepting, its end, and the messages that come for it.

namespace {

void requireState(bool allowed, const wchar_t* source) {
    if (!allowed) raiseSocketError(socketErrors::invalidState, source);
}

void requirePort(std::int32_t port, const wchar_t* source) {
    if (port < 0 || port > 65535) raiseSocketError(socketErrors::invalidArgument, source);
}

} // namespace

std::shared_ptr<CSocketMaster> CSocketMaster::create() { return std::shared_ptr<CSocketMaster>(new CSocketMaster); }

CSocketMaster::CSocketMaster() { InitiateProcesses(); }

/// A failure here has no caller to go to, and goes where those of message handlers go.
CSocketMaster::~CSocketMaster() {
    CancelPendingLookups();
    platform::guarded([this] {
        if (!isAcceptHolder) DestroySocket();
    });
    if (!isAcceptHolder && handle != platform::noSocket) UnregisterSocket(handle); // it could not be closed
    // No message may find this object any more: neither that of a lookup under way, nor one for a held socket whose
    // claimant failed half way.
    LookupTable.removeOwner(this);
    SocketTable.removeOwner(this);
    platform::guarded([] { FinalizeProcesses(); });
}

std::int32_t CSocketMaster::RemotePort() const { return remotePort; }

void CSocketMaster::RemotePort(std::int32_t port) {
    requireState(isUdp() || state == StateClosed, L"CSocketMaster.RemotePort");
    requirePort(port, L"CSocketMaster.RemotePort");
    remotePort = port;
}

std::wstring CSocketMaster::RemoteHost() const { return remoteHost; }

void CSocketMaster::RemoteHost(const std::wstring& host) {
    requireState(isUdp() || state == StateClosed, L"CSocketMaster.RemoteHost");
    remoteHost = host;
}

std::wstring CSocketMaster::RemoteHostIP() const { return remoteHostIP; }

std::int32_t CSocketMaster::LocalPort() const { return boundLocalPort != 0 ? boundLocalPort : localPort; }

void CSocketMaster::LocalPort(std::int32_t port) {
    requireState(state == StateClosed, L"CSocketMaster.LocalPort");
    requirePort(port, L"CSocketMaster.LocalPort");
    localPort = port;
}

std::int32_t CSocketMaster::State() const { return state; }

std::wstring CSocketMaster::LocalHostName() const { return platform::fromAnsi(GetLocalHostName()); }

std::wstring CSocketMaster::LocalIP() const {
    return state == StateOpen || state == StateListening ? localIP : GetLocalIP();
}

std::int32_t CSocketMaster::SocketHandle() const { return handle; }

std::wstring CSocketMaster::Tag() const { return tag; }

void CSocketMaster::Tag(const std::wstring& text) { tag = text; }

std::int32_t CSocketMaster::Protocol() const { return protocol; }

void CSocketMaster::Protocol(std::int32_t newProtocol) {
    requireState(state == StateClosed, L"CSocketMaster.Protocol");
    protocol = newProtocol;
}

std::int32_t CSocketMaster::WndProc(platform::WindowHandle, std::uint32_t message, std::uint32_t wParam,
                                    std::int32_t lParam) {
    const auto alive = shared_from_this(); // a handler may drop the last reference
    try {
        if (message == ResolveMessage) {
            PostResolution(static_cast<std::int32_t>(wParam), HiWord(lParam));
        } else if (message == SocketMessage) {
            PostSocket(LoWord(lParam), HiWord(lParam));
        }
    } catch (const RunTimeError& error) {
        if (!on.Error) throw;
        raiseError(error.Number, error.Description, error.Source);
    } catch (const std::bad_alloc&) {
        if (!on.Error) throw;
        const RunTimeError error(errors::outOfMemory, L"CSocketMaster.WndProc");
        raiseError(error.Number, error.Description, error.Source);
    }
    return 0;
}

void CSocketMaster::PostSocket(std::int32_t event, std::int32_t code) {
    if (code != 0) {
        reportError(code, L"CSocketMaster.PostSocket");
        return;
    }
    switch (event) {
    case platform::events::read: readable(); break;
    case platform::events::write:
        if (state == StateConnected && !sendBuffer.empty()) FlushSendBuffer();
        break;
    case platform::events::accept:
        if (state == StateListening) connectionRequested();
        break;
    case platform::events::connect:
        if (state == StateConnecting) connectionMade();
        break;
    case platform::events::close:
        if (state != StateConnected) break;
        state = StateClosing;
        raiseEvent(on.CloseSck);
        break;
    default: break;
    }
}

void CSocketMaster::reportError(std::int32_t code, const wchar_t* source) {
    state = StateError;
    raiseError(code, GetErrorDescription(code), source);
}

void CSocketMaster::raiseError(std::int32_t number, std::wstring description, const std::wstring& source) {
    bool cancelDisplay = true;
    raiseEvent(on.Error, static_cast<std::int16_t>(number), description, 0, source, L"", 0, cancelDisplay);
    if (!cancelDisplay) platform::messageBox(description, platform::box::ok, source);
}

void CSocketMaster::readable() {
    if (isUdp()) {
        if (state != StateOpen) return;
        const std::int32_t size = PendingDatagramSize();
        if (size > 0) raiseEvent(on.DataArrival, size);
        DiscardDatagram();
    } else if (state == StateConnected && RecvDataToBuffer() > 0) {
        raiseEvent(on.DataArrival, BytesReceived());
    }
}

void CSocketMaster::connectionMade() {
    platform::SocketAddress peer;
    if (platform::getpeername(handle, peer) != -1) {
        remotePort = peer.port;
        remoteHostIP = addressText(peer.address);
    }
    state = StateConnected;
    raiseEvent(on.Connect);
}

void CSocketMaster::connectionRequested() {
    platform::SocketAddress caller;
    const std::int32_t accepted = platform::accept(handle, caller);
    if (accepted == -1) raiseLastError(L"CSocketMaster.PostSocket");
    try {
        RegisterAccept(accepted);
    } catch (...) {
        platform::closesocket(accepted); // no object has it
        throw;
    }

    /// Whatever comes of the event: what nobody has claimed is closed.
    struct CloseUnclaimed {
        std::int32_t socket;
        ~CloseUnclaimed() {
            if (!IsAcceptRegistered(socket)) return;
            platform::closesocket(socket);
            UnregisterSocket(socket);
            UnregisterAccept(socket);
        }
    } const closeUnclaimed{accepted};

    // During the event the listener tells who is calling.
    const std::int32_t ownPort = remotePort;
    const std::wstring ownHostIP = remoteHostIP;
    const std::wstring ownHost = remoteHost;
    GetPeerInfo(accepted);
    raiseEvent(on.ConnectionRequest, accepted);
    if (state == StateListening) { // the handler may have closed the listener and let it claim the call itself
        remotePort = ownPort;
        remoteHostIP = ownHostIP;
        remoteHost = ownHost;
    }
}

void CSocketMaster::GetPeerInfo(std::int32_t socket) {
    platform::SocketAddress peer;
    if (platform::getpeername(socket, peer) == -1) {
        remotePort = 0;
        remoteHostIP.clear();
        remoteHost.clear();
    } else {
        ReadSockAddr(peer);
    }
}

void CSocketMaster::ReadSockAddr(const platform::SocketAddress& from) {
    remotePort = from.port;
    remoteHostIP = addressText(from.address);
    remoteHost.clear();
}

void CSocketMaster::Listen() {
    constexpr const wchar_t* source = L"CSocketMaster.Listen";
    const auto alive = shared_from_this();
    requireState(state == StateClosed || state == StateOpen, source);
    if (!SocketExists() || !BindInternal()) return;
    if (platform::listen(handle, 5) == -1) raiseLastError(source);
    state = StateListening;
}

void CSocketMaster::Accept(std::int32_t requestId) {
    constexpr const wchar_t* source = L"CSocketMaster.Accept";
    const auto alive = shared_from_this();
    requireState(state == StateClosed, source);
    handle = requestId;
    protocol = ProtocolTCP;
    try {
        ProcessOptions();
        if (!IsAcceptRegistered(requestId) && IsSocketRegistered(requestId))
            raiseSocketError(socketErrors::wrongProtocolOrState, source);
    } catch (...) {
        handle = platform::noSocket; // it is still another's to close
        throw;
    }
    if (!IsAcceptRegistered(requestId)) {
        isAcceptHolder = true;
        state = StateConnected;
        RegisterSocket(requestId, this, false); // the listener's event selection holds for it
        return;
    }

    const auto holder = GetAcceptedObject(requestId);
    UnregisterAccept(requestId);
    platform::SocketAddress local;
    if (platform::getsockname(handle, local) == -1) raiseLastError(source);
    boundLocalPort = local.port;
    localIP = addressText(local.address);
    GetPeerInfo(handle);
    state = StateConnected;
    if (holder->BytesReceived() > 0) {
        Value waiting = std::string();
        holder->GetData(waiting);
        recvBuffer.append(std::get<std::string>(waiting));
    }
    ChangeSocketOwner(requestId, this);
    if (!recvBuffer.empty()) raiseEvent(on.DataArrival, BytesReceived());
    if (holder->state == StateClosing) {
        state = StateClosing;
        raiseEvent(on.CloseSck);
    }
}

void CSocketMaster::CloseSck() {
    if (handle == platform::noSocket) return;
    state = StateClosing;
    CancelPendingLookups();
    DestroySocket();
    boundLocalPort = 0;
    remoteHostIP.clear();
    recvBuffer.clear();
    sendBuffer.clear();
    sendChunkSize = 0;
    recvChunkSize = 0;
    state = StateClosed;
}

void CSocketMaster::DestroySocket() {
    if (handle == platform::noSocket) return;
    if (platform::closesocket(handle) == -1) {
        state = StateError;
        raiseLastError(L"CSocketMaster.DestroySocket");
    }
    UnregisterSocket(handle);
    handle = platform::noSocket;
}

/// Closing never stops a lookup. What is walked are the destinations of the lookups and not their task handles, so
/// neither call finds one: a lookup under way ends by itself, and its late message meets an object that no longer waits
/// for it.
void CSocketMaster::CancelPendingLookups() {
    for (const auto& [task, destination] : waitingLookups) {
        platform::cancelAsyncRequest(destination);
        UnregisterLookup(destination);
    }
    FreeMemory();
}
