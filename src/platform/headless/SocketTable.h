#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "platform/Network.h"
#include "platform/headless/Sockets.h"

/// What the two halves of the headless network share: Network.cpp makes the calls, SocketEvents.cpp tells what came of
/// them. Used on the thread of the loop alone.
namespace headless {

struct Socket {
    int fd = -1;
    bool stream = true;
    bool listening = false;

    // The event selection; window 0 for none.
    platform::WindowHandle window = 0;
    std::uint32_t message = 0;
    std::int32_t mask = 0;

    // Which events may be posted. Each is posted once, and the call that answers it allows it again.
    bool mayRead = true;
    bool mayAccept = true;
    bool mayWrite = false;
    bool connecting = false;
    bool connected = false;
    bool closeTold = false;

    std::int32_t connectError = 0;   // the peer's refusal, when the host gave it at once
    std::uint16_t redirectedFrom = 0; // the port asked for, when another one was taken
};

struct Host {
    std::int32_t error = 0;
    std::uint32_t address = 0;
};

struct Lookup {
    platform::WindowHandle window = 0;
    std::uint32_t message = 0;
    void* buffer = nullptr;
    std::optional<Host> found; // nothing while the resolver works
};

struct Network {
    bool started = false;
    std::int32_t lastError = 0;
    std::map<std::int32_t, Socket> sockets; // handles are never used again, so a late message finds nobody
    std::map<std::int32_t, Lookup> lookups;
    std::map<std::string, Host> hosts;
    bool useResolver = true;
    bool holdLookups = false;
    std::map<std::uint16_t, std::uint16_t> redirected;
};
extern Network network;

/// The error code of the interface for an error number of the host.
std::int32_t networkError(int hostError);

/// The failure that a test has asked of this use of the call. Counts it.
std::optional<std::int32_t> plannedFailure(NetworkCall call);

/// What a send may take, if a test has limited it.
std::int32_t allowedBytes(std::int32_t wanted);

/// Looks a name up in the table and, for others, with the host's resolver, which may take its time.
Host resolve(const std::string& name);

/// The loop's message source: posts what has happened, waiting for it if nothing has. False if nothing can happen.
bool tellEvents(int milliseconds);

/// Starts a lookup that ends with a message.
std::int32_t startLookup(Lookup lookup, const std::string& name);

} // namespace headless
