#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "net/ByteQueue.h"
#include "net/Value.h"
#include "platform/Messages.h"
#include "platform/Network.h"

enum : std::int32_t { ProtocolTCP = 0, ProtocolUDP = 1 };

enum : std::int32_t {
    StateClosed = 0,
    StateOpen = 1, // bound, or a UDP socket ready for use
    StateListening = 2,
    StateConnectionPending = 3, // never entered
    StateResolvingHost = 4,
    StateHostResolved = 5,
    StateConnecting = 6,
    StateConnected = 7,
    StateClosing = 8, // the peer closed, or CloseSck is running
    StateError = 9    // only CloseSck leads out, and only while there is a socket
};

/// One asynchronous socket, TCP or UDP, client or server, with the shape of an event-raising control. Nothing waits but
/// the lookup of the machine's own name before a bind, and of a UDP peer's name at each send.
///
/// A failure of the operation at hand is raised as RunTimeError with the operation as source, "CSocketMaster.Connect".
/// A failure that comes later sets StateError and raises the event Error. What is raised while a message is handled has
/// no caller: it comes as the event Error too, with the state as it was left, and goes to the message loop's escape
/// handler only if nobody handles that event.
///
/// An event handler may do anything with the object, even drop the last reference to it.
class CSocketMaster : public std::enable_shared_from_this<CSocketMaster> {
public:
    /// The owner's event handlers. An empty one is passed over.
    struct Events {
        std::function<void()> CloseSck; // the peer closed
        std::function<void()> Connect;
        std::function<void(std::int32_t requestId)> ConnectionRequest;
        std::function<void(std::int32_t bytesTotal)> DataArrival;
        /// With CancelDisplay set to false the failure is shown in a message box.
        std::function<void(std::int16_t Number, std::wstring& Description, std::int32_t Scode,
                           const std::wstring& Source, const std::wstring& HelpFile, std::int32_t HelpContext,
                           bool& CancelDisplay)>
            Error;
        std::function<void()> SendComplete; // the send buffer has emptied
        std::function<void(std::int32_t bytesSent, std::int32_t bytesRemaining)> SendProgress;
    };
    Events on;

    static std::shared_ptr<CSocketMaster> create();
    ~CSocketMaster();
    CSocketMaster(const CSocketMaster&) = delete;
    CSocketMaster& operator=(const CSocketMaster&) = delete;

    /// The object's entry from the hidden window.
    std::int32_t WndProc(platform::WindowHandle window, std::uint32_t message, std::uint32_t wParam,
                         std::int32_t lParam);

    std::int32_t RemotePort() const;
    void RemotePort(std::int32_t port);
    std::wstring RemoteHost() const;
    void RemoteHost(const std::wstring& host);
    std::wstring RemoteHostIP() const;
    std::int32_t LocalPort() const;
    void LocalPort(std::int32_t port);
    std::int32_t State() const;
    std::wstring LocalHostName() const;
    std::wstring LocalIP() const;
    std::int32_t BytesReceived() const; // buffered and not yet fetched; of a UDP socket, waiting in the library
    std::int32_t SocketHandle() const;
    std::wstring Tag() const;
    void Tag(const std::wstring& text);
    std::int32_t Protocol() const;
    void Protocol(std::int32_t protocol);

    /// Closes the socket and goes to StateClosed. Without a socket it does nothing, in StateError too.
    void CloseSck();

    /// Starts a connection to the given or the stored peer; a UDP socket is bound and open at once.
    void Connect(std::optional<std::wstring> host = {}, std::optional<Value> port = {});

    /// Binds to a local port and address, by default to LocalPort and the machine's first address.
    void Bind(const std::optional<Value>& port = {}, const std::optional<std::wstring>& address = {});
    void Listen();

    /// Takes over the socket that ConnectionRequest told of.
    void Accept(std::int32_t requestId);

    /// Sends any kind of value but an empty one; what does not go out at once follows by itself.
    void SendData(const Value& data);

    /// Fetches what was received as a value. The kind of `data` counts before `type`; an empty variable without a type
    /// becomes bytes. `maximum` limits text and bytes. A number that is not there in full leaves everything as it is.
    /// Bytes use the storage again that the variable has.
    void GetData(Value& data, std::optional<std::int16_t> type = {}, const std::optional<Value>& maximum = {});

    /// As GetData, but the data stays.
    void PeekData(Value& data, std::optional<std::int16_t> type = {}, const std::optional<Value>& maximum = {});

private:
    CSocketMaster();

    void reportError(std::int32_t code, const wchar_t* source);
    void raiseError(std::int32_t number, std::wstring description, const std::wstring& source);
    void PostSocket(std::int32_t event, std::int32_t code);
    void PostResolution(std::int32_t task, std::int32_t code);
    void readable();
    void connectionMade();
    void connectionRequested();

    bool SocketExists();
    void DestroySocket();
    std::uint32_t ResolveIfHostname(const std::wstring& host, std::int32_t destination);
    void ConnectToIP(std::uint32_t address, std::int32_t code);
    bool BindInternal(const std::optional<Value>& port = {}, const std::optional<std::wstring>& address = {});
    void* AllocateMemory();
    void FreeMemory();
    void CancelPendingLookups();
    void GetPeerInfo(std::int32_t socket);
    void ReadSockAddr(const platform::SocketAddress& from);

    void FlushSendBuffer();
    void SendBufferedData();
    void SendBufferedDataUDP();
    std::int32_t RecvDataToBuffer();
    void ProcessOptions();
    void transfer(Value& data, bool peek, std::optional<std::int16_t> type, const std::optional<Value>& maximum,
                  const wchar_t* source);
    void RecvData(Value& data, bool peek, std::optional<std::int16_t> type, std::optional<std::int32_t> maximum);
    void ReadBytes(std::string& bytes, std::int32_t length, bool peek, std::int32_t& code);
    std::int32_t PendingDatagramSize() const;
    void DiscardDatagram();

    bool isUdp() const { return protocol != ProtocolTCP; }

    std::int32_t handle = platform::noSocket;
    std::int32_t state = StateClosed;
    std::wstring tag;
    std::wstring remoteHost;
    std::int32_t remotePort = 0;
    std::wstring remoteHostIP;
    std::int32_t localPort = 0;
    std::int32_t boundLocalPort = 0; // the system's choice when localPort is 0
    std::wstring localIP;
    std::int32_t protocol = ProtocolTCP;
    void* lookupBuffer = nullptr;
    platform::MemoryHandle lookupBufferHandle = 0;
    std::int32_t sendChunkSize = 0;
    std::int32_t recvChunkSize = 0;
    ByteQueue sendBuffer;
    ByteQueue recvBuffer;
    bool isAcceptHolder = false;                         // keeps an accepted socket until somebody claims it
    std::map<std::int32_t, std::int32_t> waitingLookups; // task handle to what it is for
    std::vector<char> received;                          // where recv puts its bytes
};
