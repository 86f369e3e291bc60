#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/Messages.h"

class CSocketMaster;

/// What all socket objects share: the start and end of the network library, the hidden window that its messages come
/// to, and the tables that lead a message to its object. Used on the thread of the message loop alone.

inline constexpr std::uint32_t ResolveMessage = 0x800; // a lookup has ended
inline constexpr std::uint32_t SocketMessage = 0x801;  // a socket event
inline constexpr std::int32_t SocketEventMask = 59;    // read, write, accept, connect, close
inline constexpr std::int32_t LookupBufferSize = 1024;

/// Handles and the objects that they belong to. An owner is named and not held: an object takes its own rows out. A
/// free row holds -1 and is used again; rows are never moved, and the lowest one that matches counts.
class OwnerTable {
public:
    /// A handle that is met before a free row keeps its old owner.
    void add(std::int32_t handle, CSocketMaster* owner);
    void remove(std::int32_t handle);
    void removeOwner(const CSocketMaster* owner);
    void changeOwner(std::int32_t handle, CSocketMaster* owner);
    CSocketMaster* find(std::int32_t handle) const;

    /// Rows in use or free.
    std::int32_t count() const { return static_cast<std::int32_t>(rows.size()); }
    void clear() { rows.clear(); }

private:
    struct Row {
        std::int32_t handle;
        CSocketMaster* owner;
    };
    std::vector<Row> rows;
};

extern bool ProcessesInitiated;
extern std::int32_t InstanceCount;
extern std::optional<std::set<std::int32_t>> SocketRegistry;      // sockets with a row; none, no window
extern std::optional<std::map<std::int32_t, std::shared_ptr<CSocketMaster>>> AcceptRegistry; // unclaimed
extern platform::WindowHandle MessageWindow;
extern platform::WindowHandle HookedWindow;
extern OwnerTable LookupTable;
extern OwnerTable SocketTable;

/// Counts an object in, starting the network library for the first one. Answers 0 or raises the library's error; a
/// start that failed is not tried again.
std::int32_t InitiateProcesses();

/// Counts an object out, ending the library after the last one. Answers 0 or raises the library's error.
std::int32_t FinalizeProcesses();

/// Gives a socket its table row, making the window for the first one, and asks for its events if wanted. Answers true;
/// raises 7 without a window, and the library's error.
bool RegisterSocket(std::int32_t socket, CSocketMaster* owner, bool WantEvents);

/// Forgets a socket, and the window with the last one. Raises nothing.
void UnregisterSocket(std::int32_t socket);

bool IsSocketRegistered(std::int32_t socket);

/// Gives an accepted socket to a new object, which keeps it until somebody claims it.
void RegisterAccept(std::int32_t socket);
bool IsAcceptRegistered(std::int32_t socket);
std::shared_ptr<CSocketMaster> GetAcceptedObject(std::int32_t socket);
void UnregisterAccept(std::int32_t socket);

void ChangeSocketOwner(std::int32_t socket, CSocketMaster* owner);

/// Starts a lookup for an object: its task handle, or 0. Needs the window, that is, a registered socket.
std::int32_t ResolveHostAsync(const std::wstring& host, void* buffer, CSocketMaster* owner);
void UnregisterLookup(std::int32_t task);

/// The text of a socket error code, "Unknown error." for one that has none.
std::wstring GetErrorDescription(std::int32_t code);

constexpr std::int32_t LoWord(std::int32_t value) { return value & 0xFFFF; }
constexpr std::int32_t HiWord(std::int32_t value) { return value >> 16 & 0xFFFF; }
