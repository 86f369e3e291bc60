#include "NetTest.h"
#include "Peer.h"

#include <cstring>

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

const std::vector<std::pair<Value, std::string>>& kinds() {
    static const std::vector<std::pair<Value, std::string>> all{
        {std::int16_t{-2}, raw(std::int16_t{-2})},
        {std::int32_t{0x01020304}, raw(std::int32_t{0x01020304})},
        {1.5f, raw(1.5f)},
        {-2.25, raw(-2.25)},
        {Currency{123456}, raw(std::int64_t{123456})},
        {Date{39000.5}, raw(39000.5)},
        {std::wstring(L"caf\u00e9 \u20ac"), "caf\xe9 \x80"},
        {true, "\xff\xff"},
        {false, std::string(2, '\0')},
        {std::uint8_t{200}, "\xc8"},
        {std::string("\0\r\n\xff", 4), std::string("\0\r\n\xff", 4)},
    };
    return all;
}

TEST_F(Stream, EveryKindOfValueGoesOutAsItLiesInMemoryAndComesBack) {
    for (const auto& [value, bytes] : kinds()) {
        SCOPED_TRACE(typeOf(value));
        client->SendData(value);
        EXPECT_EQ(peer.receive(bytes.size()), bytes);
        arrives(bytes);
        EXPECT_EQ(fetch({}, typeOf(value)), value) << "by type code";
        arrives(bytes);
        Value variable = value;
        if (auto* flag = std::get_if<bool>(&variable)) *flag = !*flag;
        EXPECT_EQ(fetch(variable, types::date), value) << "the variable's own kind wins over a type code";
        EXPECT_EQ(client->BytesReceived(), 0);
    }
    EXPECT_THAT(client.events, testing::Not(testing::Contains(testing::StartsWith("Error"))));
}

TEST_F(Stream, EmptyValuesSendNothingAndOthersThanTheKnownKindsAreRefused) {
    client->SendData(std::wstring());
    client->SendData(std::string());
    EXPECT_THAT(client.events, IsEmpty());
    expectRaise([&] { client->SendData(Value()); }, 40018, L"CSocketMaster.SendData", texts::unsupported);
    arrives("x");
    for (const std::int16_t type : std::initializer_list<std::int16_t>{9, 10, 12, 16, 8194})
        expectRaise([&] { fetch({}, type); }, 40018, L"CSocketMaster.RecvData", texts::unsupported);
    EXPECT_EQ(client->BytesReceived(), 1);
}

TEST_F(Stream, FetchesBytesUpToAMaximum) {
    arrives("0123456789");
    EXPECT_EQ(fetch({}, {}, 3), Value(std::string("012")));
    EXPECT_EQ(fetch(std::wstring(), {}, 2.5), Value(std::wstring(L"34"))) << "half to even";
    EXPECT_EQ(fetch({}, {}, 0), Value(std::string()));
    EXPECT_EQ(fetch({}, types::text, Value(L"1")), Value(std::wstring(L"5")));
    EXPECT_EQ(fetch({}, {}, 1e12), Value(std::string("6789"))) << "no more than there is";
    arrives("abc");
    EXPECT_EQ(fetch({}, {}, Value(L"some")), Value(std::string("abc"))) << "no number: all";
    Value data;
    expectRaise([&] { client->GetData(data, {}, -1); }, 40014, L"CSocketMaster.GetData", texts::outOfRange);
    expectRaise([&] { client->PeekData(data, {}, -0.1); }, 40014, L"CSocketMaster.PeekData", texts::outOfRange);
}

TEST_F(Stream, NothingThereGivesEmptyTextAndLeavesNumbersAlone) {
    EXPECT_EQ(fetch(std::wstring(L"old")), Value(std::wstring()));
    EXPECT_EQ(fetch(std::wstring(L"old"), {}, 5), Value(std::wstring()));
    EXPECT_EQ(fetch(), Value(std::string()));
    EXPECT_EQ(fetch({}, types::text), Value(std::string())) << "an empty array";

    const std::string bytes = raw(std::int32_t{123456789});
    arrives(bytes.substr(0, 3));
    EXPECT_EQ(fetch(std::int32_t{7}), Value(std::int32_t{7}));
    EXPECT_EQ(fetch({}, types::int32), Value());
    EXPECT_EQ(client->BytesReceived(), 3);
    arrives(bytes.substr(3));
    EXPECT_EQ(fetch(std::int32_t{7}), Value(std::int32_t{123456789}));
}

TEST_F(Stream, PeekingLeavesAndArrivalsAddUp) {
    arrives("first");
    for (int i = 0; i < 2; ++i) {
        Value data = std::wstring();
        client->PeekData(data);
        EXPECT_EQ(data, Value(std::wstring(L"first")));
        EXPECT_EQ(client->BytesReceived(), 5);
    }
    Value some;
    client->PeekData(some, {}, 2);
    EXPECT_EQ(some, Value(std::string("fi")));
    arrives("+second");
    EXPECT_EQ(client.events.back(), "DataArrival 12") << "all that is unfetched, not what is new";
    EXPECT_EQ(fetch(), Value(std::string("first+second")));
}

TEST_F(Stream, TransfersNeedTheConnection) {
    Watched idle;
    Value data;
    expectRaise([&] { idle->SendData(L"x"); }, 40006, L"CSocketMaster.SendData", texts::wrongState);
    expectRaise([&] { idle->GetData(data); }, 40006, L"CSocketMaster.GetData", texts::wrongState);
    expectRaise([&] { idle->PeekData(data); }, 40006, L"CSocketMaster.PeekData", texts::wrongState);
    idle->Connect(L"127.0.0.1", server.port());
    EXPECT_EQ(idle->State(), StateConnecting);
    expectRaise([&] { idle->SendData(L"x"); }, 40006, L"CSocketMaster.SendData", texts::wrongState);
    ASSERT_TRUE(idle.reaches(StateConnected));
    EXPECT_THAT(idle.events, ElementsAre("Connect")) << "nothing was queued for later";
}

TEST_F(Stream, ASendThatIsTakenWholeTellsOnce) {
    client->SendData(std::string(50'000, 'x')); // several chunks
    EXPECT_THAT(client.events, ElementsAre("SendProgress 50000 0", "SendComplete"));
    EXPECT_EQ(peer.receive(50'000), std::string(50'000, 'x'));
}

TEST_F(Stream, WhatTheLibraryDoesNotTakeFollowsInOrder) {
    std::string sent;
    std::int64_t told = 0;
    std::int32_t lastRemaining = -1;
    client->on.SendProgress = [&](std::int32_t bytes, std::int32_t remaining) {
        told += bytes;
        lastRemaining = remaining;
    };
    for (int i = 0; i < 40; ++i) { // far beyond what the buffers of the system hold
        sent += std::string(500'000, static_cast<char>('A' + i));
        client->SendData(sent.substr(static_cast<std::size_t>(i) * 500'000));
    }
    EXPECT_LT(told, 20'000'000);
    EXPECT_GT(lastRemaining, 0);
    client.events.clear();
    std::string received;
    while (received.size() < sent.size()) {
        platform::pumpMessages();
        received += peer.receiveSome(1'000'000);
    }
    EXPECT_TRUE(client.hears("SendComplete"));
    EXPECT_EQ(lastRemaining, 0);
    EXPECT_EQ(told, 20'000'000);
    EXPECT_TRUE(received == sent);
}

TEST_F(Stream, SendingInsideOfSendingGoesOutBehind) {
    int rounds = 0;
    client->on.SendComplete = [&] {
        if (++rounds < 3) client->SendData(std::wstring(L"again ") + std::to_wstring(rounds) + L";");
    };
    client->SendData(L"first;");
    EXPECT_EQ(peer.receive(22), "first;again 1;again 2;");
    EXPECT_THAT(client.events, ElementsAre("SendProgress 6 0", "SendProgress 8 0", "SendProgress 8 0"));
}

TEST_F(Stream, ClosingInsideOfSendingEndsIt) {
    client->on.SendProgress = [&](std::int32_t, std::int32_t) { client->CloseSck(); };
    client->SendData(L"bye");
    EXPECT_EQ(client->State(), StateClosed);
    EXPECT_EQ(peer.receive(4), "bye");
    client->Connect(L"127.0.0.1", server.port());
    EXPECT_TRUE(client.hears("Connect"));
}

TEST_F(Stream, AHandlerThatPumpsIsEnteredAgain) {
    std::vector<std::int32_t> totals;
    client->on.DataArrival = [&](std::int32_t total) {
        totals.push_back(total);
        if (totals.size() > 1) return;
        peer.send("second");
        EXPECT_TRUE(testDesktop::pumpUntil([&] { return totals.size() == 2; }));
    };
    peer.send("first");
    EXPECT_TRUE(testDesktop::pumpUntil([&] { return totals.size() == 2; }));
    EXPECT_THAT(totals, ElementsAre(5, 11));
    EXPECT_EQ(fetch(), Value(std::string("firstsecond")));
}

class Udp : public NetTest {
protected:
    Watched socket;
    peers::Datagrams peer;

    Udp() {
        socket->Protocol(ProtocolUDP);
        socket->Bind(0, L"127.0.0.1");
    }
};

TEST_F(Udp, NeedsNeitherConnectNorBindToSend) {
    Watched sender;
    sender->Protocol(ProtocolUDP);
    sender->RemoteHost(L"127.0.0.1");
    sender->RemotePort(peer.port());
    sender->SendData(std::int16_t{7});
    EXPECT_EQ(sender->State(), StateOpen);
    EXPECT_EQ(peer.receive(), raw(std::int16_t{7}));
    sender->RemoteHost(L"localhost");
    sender->SendData(L"by name");
    EXPECT_EQ(peer.receive(), "by name");
    EXPECT_THAT(sender.events, IsEmpty()) << "neither progress nor completion";

    const std::wstring source = L"CSocketMaster.SendBufferedDataUDP";
    sender->RemoteHost(L"");
    expectRaise([&] { sender->SendData(L"x"); }, 10047, source, L"Address family not supported by protocol family.");
    sender->RemoteHost(L"nobody.invalid");
    expectRaise([&] { sender->SendData(L"x"); }, 40014, source, L"Invalid argument");
    EXPECT_EQ(sender->State(), StateOpen);
    sender->RemoteHost(L"127.0.0.1");
    sender->SendData(std::string(100'000, 'x'));
    EXPECT_EQ(sender->State(), StateError) << "larger than a datagram can be";
    EXPECT_THAT(sender.events, ElementsAre("Error 10040 Message too long. CSocketMaster.SendBufferedDataUDP"));
}

TEST_F(Udp, ConnectOnlyOpens) {
    Watched other;
    other->Protocol(ProtocolUDP);
    other->Connect(L"127.0.0.1", peer.port());
    EXPECT_EQ(other->State(), StateOpen);
    EXPECT_GT(other->LocalPort(), 0);
    other->SendData(L"there");
    EXPECT_EQ(peer.receive(), "there");
    EXPECT_THAT(other.events, IsEmpty());
}

TEST_F(Udp, AFetchedDatagramTellsItsSenderAndForgetsTheHost) {
    socket->RemoteHost(L"somebody");
    Value data = std::wstring();
    socket->on.DataArrival = [&](std::int32_t size) {
        EXPECT_EQ(size, 4);
        socket->GetData(data);
    };
    peer.sendTo(socket->LocalPort(), "ping");
    ASSERT_TRUE(testDesktop::pumpUntil([&] { return data != Value(std::wstring()); }));
    EXPECT_EQ(data, Value(std::wstring(L"ping")));
    EXPECT_EQ(socket->RemoteHostIP(), L"127.0.0.1");
    EXPECT_EQ(socket->RemotePort(), peer.port());
    EXPECT_EQ(socket->RemoteHost(), L"");
    socket->RemoteHost(socket->RemoteHostIP());
    socket->SendData(L"pong");
    EXPECT_EQ(peer.receive(), "pong");
}

TEST_F(Udp, AnUnreadDatagramIsDroppedAndAfterAReadTheNextOneIs) {
    std::vector<std::int32_t> sizes;
    socket->on.DataArrival = [&](std::int32_t size) { sizes.push_back(size); };
    peer.sendTo(socket->LocalPort(), "a");
    EXPECT_TRUE(testDesktop::pumpUntil([&] { return sizes.size() == 1; }));
    EXPECT_EQ(socket->BytesReceived(), 0) << "left unread, it is gone";

    Value data;
    socket->on.DataArrival = [&](std::int32_t size) {
        sizes.push_back(size);
        if (size == 2) socket->GetData(data);
    };
    for (const char* datagram : {"bb", "ccc", "dddd"}) peer.sendTo(socket->LocalPort(), datagram);
    EXPECT_TRUE(testDesktop::pumpUntil([&] { return sizes.size() == 3; }));
    EXPECT_EQ(data, Value(std::string("bb")));
    EXPECT_THAT(sizes, ElementsAre(1, 2, 4)) << "the one behind it went with the read";
}

TEST_F(Udp, AFetchThatIsTooShortLosesTheRestAndSaysSo) {
    const std::wstring source = L"CSocketMaster.RecvData";
    Value data;
    peer.sendTo(socket->LocalPort(), "long enough");
    int rounds = 0;
    socket->on.DataArrival = [&](std::int32_t) {
        ++rounds;
        expectRaise([&] { socket->PeekData(data, {}, 4); }, 10040, source, L"Message too long.");
        EXPECT_EQ(data, Value(std::string("long"))) << "stored before the error";
        data = {};
        socket->PeekData(data);
        EXPECT_EQ(data, Value(std::string("long enough")));
        data = {};
        expectRaise([&] { socket->GetData(data, {}, 0); }, 10040, source, L"Message too long.");
        EXPECT_EQ(data, Value(std::string()));
        EXPECT_EQ(socket->BytesReceived(), 0);
    };
    EXPECT_TRUE(testDesktop::pumpUntil([&] { return rounds == 1; }));
    data = std::wstring(L"kept");
    socket->GetData(data);
    EXPECT_EQ(data, Value(std::wstring(L"kept"))) << "with nothing there nothing happens";

    Watched closed;
    closed->Protocol(ProtocolUDP);
    expectRaise([&] { closed->GetData(data); }, 40006, L"CSocketMaster.GetData", texts::wrongState);
}

} // namespace
