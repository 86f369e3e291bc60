#include "net/modSocketMaster.h"

#include <algorithm>

#include "net/CSocketMaster.h"
#include "net/SocketErrors.h"
#include "platform/Network.h"
#include "platform/RunTimeError.h"
#include "platform/Text.h"

bool ProcessesInitiated = false;
std::int32_t InstanceCount = 0;
std::optional<std::set<std::int32_t>> SocketRegistry;
std::optional<std::map<std::int32_t, std::shared_ptr<CSocketMaster>>> AcceptRegistry;
platform::WindowHandle MessageWindow = 0;
platform::WindowHandle HookedWindow = 0;
OwnerTable LookupTable;
OwnerTable SocketTable;

void OwnerTable::add(std::int32_t handle, CSocketMaster* owner) {
    for (Row& row : rows) {
        if (row.handle == handle) return;
        if (row.handle != -1) continue;
        row = {handle, owner};
        return;
    }
    rows.push_back({handle, owner});
}

void OwnerTable::remove(std::int32_t handle) {
    const auto row = std::ranges::find(rows, handle, &Row::handle);
    if (row != rows.end()) *row = {-1, nullptr};
}

void OwnerTable::removeOwner(const CSocketMaster* owner) {
    for (Row& row : rows) {
        if (row.owner == owner) row = {-1, nullptr};
    }
}

void OwnerTable::changeOwner(std::int32_t handle, CSocketMaster* owner) {
    const auto row = std::ranges::find(rows, handle, &Row::handle);
    if (row != rows.end()) row->owner = owner;
}

CSocketMaster* OwnerTable::find(std::int32_t handle) const {
    const auto row = std::ranges::find(rows, handle, &Row::handle);
    return row == rows.end() ? nullptr : row->owner;
}

namespace {

/// The window's procedure: a message of the network library goes to the object that it is for, and one for a socket or
/// a lookup that nobody has ends here.
std::int32_t dispatch(platform::WindowHandle window, std::uint32_t message, std::uint32_t wParam, std::int32_t lParam) {
    if (message != ResolveMessage && message != SocketMessage)
        return platform::callFormerProcedure(window, message, wParam, lParam);
    const OwnerTable& table = message == ResolveMessage ? LookupTable : SocketTable;
    CSocketMaster* owner = table.find(static_cast<std::int32_t>(wParam));
    return owner == nullptr ? 0 : owner->WndProc(window, message, wParam, lParam);
}

std::int32_t CreateWinsockMessageWindow() {
    MessageWindow = platform::createHiddenWindow(L"SOCKET_WINDOW");
    return MessageWindow == 0 ? errors::outOfMemory : 0;
}

void HookMessageWindow() {
    if (HookedWindow != 0) return;
    HookedWindow = MessageWindow;
    platform::hookWindow(HookedWindow, dispatch);
}

/// The tables are forgotten with the window: no message can come for them any more. A lookup that nobody took out ends
/// here.
void UnhookMessageWindow() {
    if (HookedWindow == 0) return;
    LookupTable.clear();
    SocketTable.clear();
    platform::unhookWindow(HookedWindow);
    HookedWindow = 0;
}

void DestroyWinsockMessageWindow() {
    if (MessageWindow == 0) return;
    if (!platform::destroyHiddenWindow(MessageWindow))
        throw RunTimeError(errors::outOfMemory, L"modSocketMaster.DestroyWinsockMessageWindow");
    MessageWindow = 0;
}

} // namespace

std::int32_t InitiateProcesses() {
    constexpr std::int32_t version = 257; // 1.1
    ++InstanceCount;
    if (ProcessesInitiated) return 0;
    ProcessesInitiated = true;
    const std::int32_t code = platform::startNetwork(version);
    if (code != 0) raiseSocketError(code, L"modSocketMaster.InitiateProcesses");
    return 0;
}

std::int32_t FinalizeProcesses() {
    --InstanceCount;
    if (!ProcessesInitiated || InstanceCount != 0) return 0;
    if (platform::stopNetwork() == -1) raiseLastError(L"modSocketMaster.FinalizeProcesses");
    UnhookMessageWindow();
    LookupTable.clear();
    SocketTable.clear();
    ProcessesInitiated = false;
    return 0;
}

bool RegisterSocket(std::int32_t socket, CSocketMaster* owner, bool WantEvents) {
    constexpr const wchar_t* source = L"modSocketMaster.RegisterSocket";
    if (!SocketRegistry) {
        SocketRegistry.emplace();
        if (const std::int32_t code = CreateWinsockMessageWindow(); code != 0) throw RunTimeError(code, source);
        HookMessageWindow();
    }
    SocketTable.add(socket, owner); // before any event can come for it
    if (WantEvents && platform::asyncSelect(socket, MessageWindow, SocketMessage, SocketEventMask) == -1)
        raiseLastError(source);
    SocketRegistry->insert(socket);
    return true;
}

void UnregisterSocket(std::int32_t socket) {
    SocketTable.remove(socket);
    if (!SocketRegistry) return;
    SocketRegistry->erase(socket);
    if (!SocketRegistry->empty()) return;
    SocketRegistry.reset();
    UnhookMessageWindow();
    try {
        DestroyWinsockMessageWindow();
    } catch (const RunTimeError&) {
        // Closing a socket does not fail for the window's sake; the next first socket makes a new one.
    }
}

bool IsSocketRegistered(std::int32_t socket) { return SocketRegistry && SocketRegistry->contains(socket); }

void RegisterAccept(std::int32_t socket) {
    const auto holder = CSocketMaster::create();
    holder->Accept(socket);
    if (!AcceptRegistry) AcceptRegistry.emplace();
    AcceptRegistry->emplace(socket, holder);
}

bool IsAcceptRegistered(std::int32_t socket) { return AcceptRegistry && AcceptRegistry->contains(socket); }

std::shared_ptr<CSocketMaster> GetAcceptedObject(std::int32_t socket) { return AcceptRegistry->at(socket); }

void UnregisterAccept(std::int32_t socket) {
    if (!AcceptRegistry) return;
    AcceptRegistry->erase(socket);
    if (AcceptRegistry->empty()) AcceptRegistry.reset();
}

void ChangeSocketOwner(std::int32_t socket, CSocketMaster* owner) { SocketTable.changeOwner(socket, owner); }

std::int32_t ResolveHostAsync(const std::wstring& host, void* buffer, CSocketMaster* owner) {
    const std::int32_t task =
        platform::asyncGetHostByName(MessageWindow, ResolveMessage, platform::toAnsi(host), buffer, LookupBufferSize);
    if (task != 0) LookupTable.add(task, owner);
    return task;
}

void UnregisterLookup(std::int32_t task) { LookupTable.remove(task); }

std::wstring GetErrorDescription(std::int32_t code) {
    switch (code) {
    case 10004: return L"Interrupted function call.";
    case 10013: return L"Permission denied.";
    case 10014: return L"Bad address.";
    case 10022: return L"Invalid argument.";
    case 10024: return L"Too many open files.";
    case 10035: return L"Resource temporarily unavailable.";
    case 10036: return L"Operation now in progress.";
    case 10037: return L"Operation already in progress.";
    case 10038: return L"Socket operation on nonsocket.";
    case 10039: return L"Destination address required.";
    case 10040: return L"Message too long.";
    case 10041: return L"Protocol wrong type for socket.";
    case 10042: return L"Bad protocol option.";
    case 10043: return L"Protocol not supported.";
    case 10044: return L"Socket type not supported.";
    case 10045: return L"Operation not supported.";
    case 10046: return L"Protocol family not supported.";
    case 10047: return L"Address family not supported by protocol family.";
    case 10048: return L"Address already in use.";
    case 10049: return L"Cannot assign requested address.";
    case 10050: return L"Network is down.";
    case 10051: return L"Network is unreachable.";
    case 10052: return L"Network dropped connection on reset.";
    case 10053: return L"Software caused connection abort.";
    case 10054: return L"Connection reset by peer.";
    case 10055: return L"No buffer space available.";
    case 10056: return L"Socket is already connected.";
    case 10057: return L"Socket is not connected.";
    case 10058: return L"Cannot send after socket shutdown.";
    case 10060: return L"Connection timed out.";
    case 10061: return L"Connection refused.";
    case 10065: return L"No route to host.";
    case 10067: return L"Too many processes.";
    case 10091: return L"Network subsystem is unavailable.";
    case 10092: return L"Winsock.dll version out of range.";
    case 10093: return L"Successful WSAStartup not yet performed.";
    case 11001: return L"Host not found.";
    case 11002: return L"Nonauthoritative host not found.";
    case 11003: return L"This is a nonrecoverable error.";
    case 11004: return L"Valid name, no data record of requested type.";
    default: return L"Unknown error.";
    }
}
