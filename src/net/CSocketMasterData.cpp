#include <algorithm>
#include <cmath>
#include <limits>

#include "net/CSocketMaster.h"
#include "net/Events.h"
#include "net/LocalMachine.h"
#include "net/SocketErrors.h"
#include "platform/RunTimeError.h"
#include "platform/Text.h"

/// The road of the data: from a value to the wire, and from the wire to a value.

void CSocketMaster::SendData(const Value& data) {
    constexpr const wchar_t* source = L"CSocketMaster.SendData";
    const auto alive = shared_from_this();
    if (isUdp()) {
        if (!SocketExists() || !BindInternal()) return;
        state = StateOpen;
    } else if (state != StateConnected) {
        raiseSocketError(socketErrors::wrongProtocolOrState, source);
    }
    const auto bytes = bytesOf(data);
    if (!bytes) raiseSocketError(socketErrors::unsupportedType, source);
    if (bytes->empty()) return;
    const bool idle = sendBuffer.empty();
    sendBuffer.append(*bytes);
    if (idle) FlushSendBuffer(); // else the rest waits for its event, and this goes out behind it
}

void CSocketMaster::FlushSendBuffer() {
    if (isUdp()) {
        SendBufferedDataUDP();
    } else {
        SendBufferedData();
    }
}

/// Each turn looks at the buffer anew: a handler may have added to it, or closed the socket.
void CSocketMaster::SendBufferedData() {
    std::int32_t total = 0;
    while (!sendBuffer.empty()) {
        const auto length = std::min(static_cast<std::int32_t>(sendBuffer.size()), sendChunkSize);
        const std::int32_t sent = platform::send(handle, sendBuffer.front(), length);
        if (sent == -1) {
            const std::int32_t code = platform::lastNetworkError();
            if (code != platform::wsa::wouldBlock) {
                reportError(code, L"CSocketMaster.SendBufferedData");
            } else if (total > 0) {
                raiseEvent(on.SendProgress, total, static_cast<std::int32_t>(sendBuffer.size()));
            }
            return;
        }
        total += sent;
        sendBuffer.drop(static_cast<std::size_t>(sent));
        if (sendBuffer.empty()) {
            raiseEvent(on.SendProgress, total, 0);
            total = 0;
            raiseEvent(on.SendComplete);
        }
    }
}

void CSocketMaster::SendBufferedDataUDP() {
    constexpr const wchar_t* source = L"CSocketMaster.SendBufferedDataUDP";
    std::string datagram;
    sendBuffer.take(sendBuffer.size(), datagram);
    const BlockingAddress peer = GetAddressBlocking(remoteHost);
    if (peer.code == platform::wsa::addressFamilyNotSupported) raiseSocketError(peer.code, source);
    if (peer.code != 0) throw RunTimeError(socketErrors::invalidArgument, source, L"Invalid argument");
    const std::int32_t sent = platform::sendto(handle, datagram.data(), static_cast<std::int32_t>(datagram.size()),
                                               {peer.address, static_cast<std::uint16_t>(remotePort)});
    if (sent == -1) reportError(platform::lastNetworkError(), source);
}

/// One read for one event, into a buffer that is kept: the library tells of what is left with the next one. Answers the
/// bytes added; the end of the connection is told by its own event and not here.
std::int32_t CSocketMaster::RecvDataToBuffer() {
    received.resize(static_cast<std::size_t>(recvChunkSize));
    const std::int32_t count = platform::recv(handle, received.data(), recvChunkSize);
    if (count == -1) {
        const std::int32_t code = platform::lastNetworkError();
        state = StateError;
        raiseSocketError(code, L"CSocketMaster.RecvDataToBuffer");
    }
    recvBuffer.append({received.data(), static_cast<std::size_t>(count)});
    return count;
}

void CSocketMaster::ProcessOptions() {
    constexpr const wchar_t* source = L"CSocketMaster.ProcessOptions";
    namespace sockets = platform::sockets;
    if (isUdp()) {
        platform::setsockopt(handle, sockets::broadcast, 1);
        std::int32_t largest = 0;
        if (platform::getsockopt(handle, sockets::maximumMessageSize, largest) == -1) raiseLastError(source);
        recvChunkSize = largest;
        sendChunkSize = largest;
    } else {
        if (platform::getsockopt(handle, sockets::receiveBufferSize, recvChunkSize) == -1) raiseLastError(source);
        if (platform::getsockopt(handle, sockets::sendBufferSize, sendChunkSize) == -1) raiseLastError(source);
    }
}

std::int32_t CSocketMaster::BytesReceived() const {
    return isUdp() ? PendingDatagramSize() : static_cast<std::int32_t>(recvBuffer.size());
}

void CSocketMaster::GetData(Value& data, std::optional<std::int16_t> type, const std::optional<Value>& maximum) {
    transfer(data, false, type, maximum, L"CSocketMaster.GetData");
}

void CSocketMaster::PeekData(Value& data, std::optional<std::int16_t> type, const std::optional<Value>& maximum) {
    transfer(data, true, type, maximum, L"CSocketMaster.PeekData");
}

void CSocketMaster::transfer(Value& data, bool peek, std::optional<std::int16_t> type,
                             const std::optional<Value>& maximum, const wchar_t* source) {
    // A holder that the peer has left still gives its claimant what it took in.
    const bool allowed = isUdp() ? state == StateOpen : state == StateConnected || (isAcceptHolder && !peek);
    if (!allowed) raiseSocketError(socketErrors::wrongProtocolOrState, source);
    if (isUdp() && PendingDatagramSize() == 0) return;
    std::optional<std::int32_t> limit;
    if (maximum) {
        const auto number = numberOf(*maximum);
        if (number && *number < 0) raiseSocketError(socketErrors::invalidArgument, source);
        constexpr double highest = std::numeric_limits<std::int32_t>::max();
        limit = number ? static_cast<std::int32_t>(std::nearbyint(std::min(*number, highest))) : BytesReceived();
    }
    RecvData(data, peek, type, limit);
}

void CSocketMaster::RecvData(Value& data, bool peek, std::optional<std::int16_t> type,
                             std::optional<std::int32_t> maximum) {
    constexpr const wchar_t* source = L"CSocketMaster.RecvData";
    const std::int32_t available = BytesReceived();
    const std::int16_t present = typeOf(data);
    const std::int16_t wanted = present != types::empty ? present : type.value_or(types::bytes);
    std::int32_t code = 0;
    std::string bytes;
    if (wanted == types::text || wanted == types::bytes) {
        const std::int32_t length = std::min(maximum.value_or(available), available);
        if (length == 0) {
            if (present == types::text) {
                data = std::wstring();
            } else {
                data = std::string();
            }
            if (!maximum || !isUdp()) return;
            DiscardDatagram();
            raiseSocketError(platform::wsa::messageTooLong, source);
        }
        if (present == types::bytes) bytes = std::move(std::get<std::string>(data));
        ReadBytes(bytes, length, peek, code);
        if (wanted == types::text) {
            data = platform::fromAnsi(bytes);
        } else {
            data = std::move(bytes);
        }
    } else {
        const std::int32_t width = widthOf(wanted);
        if (width == 0) raiseSocketError(socketErrors::unsupportedType, source);
        if (available < width) return;
        ReadBytes(bytes, width, peek, code);
        data = valueFrom(wanted, bytes);
    }
    if (code != 0) raiseSocketError(code, source);
}

void CSocketMaster::ReadBytes(std::string& bytes, std::int32_t length, bool peek, std::int32_t& code) {
    const auto count = static_cast<std::size_t>(length);
    if (isUdp()) {
        bytes.assign(count, '\0');
        platform::SocketAddress from;
        if (platform::recvfrom(handle, bytes.data(), length, peek ? platform::sockets::peek : 0, from) == -1)
            code = platform::lastNetworkError();
        ReadSockAddr(from);
    } else if (peek) {
        recvBuffer.peek(count, bytes);
    } else {
        recvBuffer.take(count, bytes);
    }
}

std::int32_t CSocketMaster::PendingDatagramSize() const {
    std::int32_t count = 0;
    return platform::pendingBytes(handle, count) == -1 ? 0 : count;
}

/// A datagram is used up whole by any read, so this drops the one that the owner left, or one more if it left none.
void CSocketMaster::DiscardDatagram() {
    char scratch;
    platform::recv(handle, &scratch, 1);
}
