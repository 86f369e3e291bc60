#include <cstring>

#include "NetTest.h"
#include "Peer.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

template <class T> std::string raw(const T& value) {
    return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}

/// A connection between a socket object and a plain peer.
class Stream : public NetTest {
protected:
    peers::Server server;
    Watched client;
    peers::Connection peer = connected();

    peers::Connection connected() {
        client->Connect(L"127.0.0.1", server.port());
        EXPECT_TRUE(client.reaches(StateConnected));
        client.events.clear();
        return server.accept();
    }

    void arrives(const std::string& bytes) {
        const std::int32_t expected = client->BytesReceived() + static_cast<std::int32_t>(bytes.size());
        peer.send(bytes);
        EXPECT_TRUE(testDesktop::pumpUntil([&] { return client->BytesReceived() == expected; }));
    }

    Value fetch(Value into = {}, std::optional<std::int16_t> type = {}, std::optional<Value> maximum = {}) {
        client->GetData(into, type, maximum);
        return into;
    }
};

TEST_F(Stream, EveryKindOfValueGoesOutAsItLiesInMemoryAndComesBack) {
    const std::vector<std::tuple<Value, std::int16_t, std::string>> kinds{
        {std::int16_t{-2}, 2, raw(std::int16_t{-2})},
        {std::int32_t{0x01020304}, 3, raw(std::int32_t{0x01020304})},
        {1.5f, 4, raw(1.5f)},
        {-2.25, 5, raw(-2.25)},
        {Currency{123456}, 6, raw(std::int64_t{123456})},
        {Date{39000.5}, 7, raw(39000.5)},
        {std::wstring(L"caf\u00e9 \u20ac"), 8, "caf\xe9 \x80"},
        {true, 11, "\xff\xff"},
        {false, 11, std::string(2, '\0')},
        {std::uint8_t{200}, 17, "\xc8"},
        {std::string("\0\r\n\xff", 4), 8209, std::string("\0\r\n\xff", 4)},
    };
    for (const auto& [value, type, bytes] : kinds) {
        SCOPED_TRACE(type);
        client->SendData(value);
        EXPECT_EQ(peer.receive(bytes.size()), bytes);
        arrives(bytes);
        EXPECT_EQ(fetch({}, type), value) << "by type code";
        arrives(bytes);
        Value variable = value;
        if (auto* flag = std::get_if<bool>(&variable)) *flag = !*flag;
        EXPECT_EQ(fetch(variable, types::date), value) << "the variable's own kind wins over a type code";
        EXPECT_EQ(client->BytesReceived(), 0);
    }
    client.events.clear();
    client->SendData(std::wstring());
    client->SendData(std::string());
    EXPECT_THAT(client.events, IsEmpty()) << "nothing goes out, and nothing is complete";
    EXPECT_EQ(raisedBy([&] { client->SendData(Value()); }), refusals::type + "SendData");
    arrives("x");
    for (const std::int16_t type : std::initializer_list<std::int16_t>{9, 10, 12, 16, 8194})
        EXPECT_EQ(raisedBy([&] { fetch({}, type); }), refusals::type + "RecvData");
    EXPECT_EQ(client->BytesReceived(), 1);
}

TEST_F(Stream, FetchesUpToAMaximumAndNeverPartOfANumber) {
    EXPECT_EQ(fetch(std::wstring(L"old")), Value(std::wstring())) << "nothing is there";
    EXPECT_EQ(fetch(std::wstring(L"old"), {}, 5), Value(std::wstring()));
    EXPECT_EQ(fetch(), Value(std::string()));
    EXPECT_EQ(fetch({}, types::text), Value(std::string())) << "an empty array";

    arrives("0123456789");
    Value peeked;
    client->PeekData(peeked, {}, 4);
    EXPECT_EQ(peeked, Value(std::string("0123")));
    EXPECT_EQ(fetch({}, {}, 3), Value(std::string("012")));
    EXPECT_EQ(fetch(std::wstring(), {}, 2.5), Value(std::wstring(L"34"))) << "half to even";
    EXPECT_EQ(fetch({}, {}, 0), Value(std::string()));
    EXPECT_EQ(fetch({}, types::text, Value(L"1")), Value(std::wstring(L"5")));
    EXPECT_EQ(fetch({}, {}, 1e12), Value(std::string("6789"))) << "no more than there is";
    arrives("abc");
    EXPECT_EQ(fetch({}, {}, Value(L"some")), Value(std::string("abc"))) << "no number: all";
    Value data;
    EXPECT_EQ(raisedBy([&] { client->GetData(data, {}, -1); }), refusals::range + "GetData");
    EXPECT_EQ(raisedBy([&] { client->PeekData(data, {}, -0.1); }), refusals::range + "PeekData");

    const std::string bytes = raw(std::int32_t{123456789});
    arrives(bytes.substr(0, 3));
    EXPECT_EQ(fetch(std::int32_t{7}), Value(std::int32_t{7}));
    EXPECT_EQ(fetch({}, types::int32), Value());
    EXPECT_EQ(client->BytesReceived(), 3);
    arrives(bytes.substr(3));
    EXPECT_EQ(client.events.back(), "DataArrival 4") << "all that is unfetched, not what is new";
    EXPECT_EQ(fetch(std::int32_t{7}), Value(std::int32_t{123456789}));
}

TEST_F(Stream, ASendThatIsTakenWholeTellsOnceAndOthersInsideOfItGoOutBehind) {
    const std::string large(50'000, 'x'); // several chunks
    int rounds = 0;
    client->on.SendComplete = [&] {
        if (++rounds < 3) client->SendData(L"again " + std::to_wstring(rounds) + L";");
    };
    client->SendData(large);
    EXPECT_EQ(peer.receive(50'016), large + "again 1;again 2;");
    EXPECT_THAT(client.events, ElementsAre("SendProgress 50000 0", "SendProgress 8 0", "SendProgress 8 0"));

    client->on.SendProgress = [&](std::int32_t, std::int32_t) { client->CloseSck(); };
    client->on.SendComplete = [&] { client.socket.reset(); };
    CSocketMaster& talker = *client.socket;
    talker.SendData(L"bye"); // closes the socket on its way, and drops the object
    EXPECT_EQ(peer.receive(4), "bye");
    EXPECT_EQ(InstanceCount, 0);
}

TEST_F(Stream, WhatTheLibraryDoesNotTakeFollowsInOrder) {
    std::string sent;
    for (int i = 0; sent.size() < 20'000'000; ++i) sent += std::to_string(i); // far beyond what the system holds
    std::size_t progress = 0;
    client->on.SendProgress = [&](std::int32_t bytes, std::int32_t remaining) {
        progress += static_cast<std::size_t>(bytes);
        EXPECT_EQ(progress + static_cast<std::size_t>(remaining), sent.size());
    };
    client->SendData(sent);
    EXPECT_LT(progress, sent.size());
    std::string received;
    while (received.size() < sent.size()) {
        platform::pumpMessages();
        received += peer.receiveSome(1'000'000);
    }
    EXPECT_TRUE(client.hears("SendComplete"));
    EXPECT_EQ(progress, sent.size());
    EXPECT_TRUE(received == sent);
}

using Udp = NetTest;

TEST_F(Udp, DatagramsGoToWhomeverTheirSenderNames) {
    Watched socket;
    Watched peer;
    for (const Watched* each : {&socket, &peer}) (*each)->Protocol(ProtocolUDP);
    peer->Bind(0, L"127.0.0.1");
    const std::string tooLong = "10040 Message too long. CSocketMaster.RecvData";
    std::vector<std::int32_t> sizes;
    Value data;
    peer->on.DataArrival = [&](std::int32_t size) {
        sizes.push_back(size);
        if (size == 2) peer->GetData(data); // which takes the one behind it along
        if (size < 11) return;
        EXPECT_EQ(data, Value(std::string("bb")));
        EXPECT_EQ(raisedBy([&] { peer->PeekData(data, {}, 4); }), tooLong);
        EXPECT_EQ(data, Value(std::string("long"))) << "stored before the error";
        EXPECT_EQ(raisedBy([&] { peer->GetData(data, {}, 0); }), tooLong);
        EXPECT_EQ(data, Value(std::string()));
        EXPECT_EQ(peer->BytesReceived(), 0);
    };
    socket->Connect(L"127.0.0.1", peer->LocalPort());
    EXPECT_EQ(socket->State(), StateOpen) << "that only opens";
    for (const wchar_t* datagram : {L"left", L"bb", L"ccc", L"long enough"}) socket->SendData(datagram);
    EXPECT_TRUE(testDesktop::pumpUntil([&] { return sizes.size() == 3; }));
    EXPECT_THAT(sizes, ElementsAre(4, 2, 11));
    EXPECT_EQ(peer->RemoteHostIP(), L"127.0.0.1");
    EXPECT_EQ(peer->RemotePort(), socket->LocalPort());
    EXPECT_THAT(socket.events, IsEmpty()) << "neither progress nor completion";
    data = std::wstring(L"kept");
    peer->GetData(data);
    EXPECT_EQ(data, Value(std::wstring(L"kept"))) << "with nothing there nothing happens";

    const std::string source = " CSocketMaster.SendBufferedDataUDP"; // a datagram's sender has no name:
    EXPECT_EQ(raisedBy([&] { peer->SendData(L"x"); }),
              "10047 Address family not supported by protocol family." + source);
    socket->RemoteHost(L"nobody.invalid");
    EXPECT_EQ(raisedBy([&] { socket->SendData(L"x"); }), "40014 Invalid argument" + source);
    socket->RemoteHost(L"127.0.0.1");
    socket->SendData(std::string(100'000, 'x')); // larger than a datagram can be
    EXPECT_THAT(socket.events, ElementsAre("Error 10040 Message too long." + source));
}

} // namespace
