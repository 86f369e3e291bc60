#include "NetTest.h"
#include "Peer.h"
#include "platform/headless/Loop.h"

using headless::NetworkCall;
using testing::ElementsAre;
using testing::IsEmpty;

/// What the network library refuses and delays in ways of its own, beside the failures that any call can have.

namespace {

class Faults : public NetTest {
protected:
    static void fail(NetworkCall call, std::int32_t code, std::size_t nth = 1) {
        headless::failNetworkCall(call, nth, code);
    }

    static void expectWorks(Watched& client) {
        client.events.clear();
        peers::Server server;
        client->CloseSck();
        client->Connect(L"127.0.0.1", server.port());
        EXPECT_TRUE(client.hears("Connect"));
    }
};

TEST_F(Faults, WithoutAWindowThereAreNoSockets) {
    Watched client;
    headless::refuseWindows = true;
    EXPECT_EQ(raisedBy([&] { client->Connect(L"127.0.0.1", 80); }), "7 Out of memory modSocketMaster.RegisterSocket");
    headless::refuseWindows = false;
    Watched other;
    EXPECT_EQ(raisedBy([&] { other->Connect(L"127.0.0.1", 80); }),
              "10022 Invalid argument. modSocketMaster.RegisterSocket")
        << "the registry is there, so no window is made";
    client->CloseSck();
    other->CloseSck();
    expectWorks(client);
}

TEST_F(Faults, AnAddressThatCannotBeAssignedLeavesTheObjectConnecting) {
    const std::string error = "10049 Cannot assign requested address. CSocketMaster.ConnectToIP";
    Watched client;
    EXPECT_EQ(raisedBy([&] { client->Connect(L"0.0.0.0", 80); }), error);
    EXPECT_EQ(client->State(), StateConnecting);
    EXPECT_THAT(client.events, IsEmpty());
    expectWorks(client);

    client->CloseSck();
    fail(NetworkCall::connect, 10049);
    client->Connect(L"localhost");
    EXPECT_TRUE(client.hears("Error " + error)) << "behind a lookup there is no caller";
    EXPECT_EQ(client->State(), StateConnecting);

    client->CloseSck();
    client->on.Error = nullptr;
    fail(NetworkCall::connect, 10049);
    client->Connect(L"localhost");
    EXPECT_TRUE(testDesktop::pumpUntil([&] { return !escaped.empty(); }));
    EXPECT_THAT(escaped, ElementsAre(error)) << "and nobody to tell";
}

TEST_F(Faults, WithoutASocketNoDatagramGoesAndABoundOneHasItsOwnAddress) {
    Watched socket;
    socket->Protocol(ProtocolUDP);
    fail(NetworkCall::socket, 10024);
    socket->SendData(L"x");
    EXPECT_THAT(socket.events, ElementsAre("Error 10024 Too many open files. CSocketMaster.SocketExists"));
    EXPECT_EQ(socket->State(), StateError);

    Watched bound;
    bound->Bind(0, L"127.0.0.2");
    bound->Listen();
    EXPECT_EQ(bound->LocalIP(), L"127.0.0.2") << "not the machine's first";
}

TEST_F(Faults, AFailureBehindALookupMayBeAnsweredByAnother) {
    peers::Server server;
    for (const NetworkCall call : {NetworkCall::lookup, NetworkCall::connect}) {
        Watched client;
        client->on.Error = [&](auto&&...) {
            client->CloseSck();
            client->Connect(L"localhost", server.port());
        };
        fail(call, 10051);
        client->Connect(L"localhost", server.port());
        EXPECT_TRUE(client.hears("Connect"));
    }
}

TEST_F(Faults, ACallerWhoCannotBeToldIsNobody) {
    Watched listener;
    std::wstring caller = L"none";
    listener->RemoteHost(L"its own");
    listener->on.ConnectionRequest = [&](std::int32_t) { caller = listener->RemoteHost(); };
    listener->Bind(0, L"127.0.0.1");
    listener->Listen();
    fail(NetworkCall::getpeername, 10057);
    const auto call = peers::call(static_cast<std::uint16_t>(listener->LocalPort()));
    EXPECT_TRUE(testDesktop::pumpUntil([&] { return caller != L"none"; }));
    EXPECT_EQ(caller, L"");
}

class Transfers : public Faults {
protected:
    peers::Server server;
    Watched client;
    peers::Connection peer = connected();

    peers::Connection connected() {
        client->Connect(L"127.0.0.1", server.port());
        EXPECT_TRUE(client.reaches(StateConnected));
        platform::pumpMessages(); // its first write event stands behind that of the connection
        client.events.clear();
        return server.accept();
    }
};

TEST_F(Transfers, ARefusedSendTellsWhatWentAndGoesOnWithANewTotal) {
    headless::limitSends(3, 3);
    client->SendData(L"0123456789");
    EXPECT_THAT(client.events, ElementsAre("SendProgress 10 0", "SendComplete")) << "in one flush";
    EXPECT_EQ(peer.receive(10), "0123456789");

    client.events.clear();
    headless::limitSends(4, 1);
    fail(NetworkCall::send, 10035, 2);
    client->SendData(L"0123456789");
    client->SendData(L"abc");
    EXPECT_THAT(client.events, ElementsAre("SendProgress 4 6")) << "it waits behind the rest";
    EXPECT_TRUE(client.hears("SendComplete"));
    EXPECT_THAT(client.events, ElementsAre("SendProgress 4 6", "SendProgress 9 0", "SendComplete"));
    EXPECT_EQ(peer.receive(13), "0123456789abc");

    client.events.clear();
    fail(NetworkCall::send, 10035);
    client->SendData(L"none of it");
    EXPECT_THAT(client.events, IsEmpty()) << "nothing went, nothing is told";
    EXPECT_TRUE(client.hears("SendComplete"));
    EXPECT_EQ(peer.receive(10), "none of it");

    fail(NetworkCall::send, 10054);
    client->SendData(L"lost");
    EXPECT_EQ(client->State(), StateError);
    client.events.clear();
    headless::postSocketEvent(client->SocketHandle(), platform::events::write, 0);
    platform::pumpMessages();
    EXPECT_THAT(client.events, IsEmpty()) << "it is not tried again";
    client->CloseSck();
    peer = connected();
    client->SendData(L"new");
    EXPECT_EQ(peer.receive(3), "new") << "CloseSck has emptied the buffer";
}

TEST_F(Transfers, ABrokenReadIsAnErrorAndSoIsMemoryThatRunsOut) {
    fail(NetworkCall::recv, 10035); // that the read event promised something makes this a failure too
    peer.send("x");
    EXPECT_TRUE(client.hears("Error 10035 Resource temporarily unavailable. CSocketMaster.RecvDataToBuffer"));
    EXPECT_EQ(client->State(), StateError);
    client->CloseSck();

    peer = connected();
    client->on.DataArrival = [](std::int32_t) { throw std::bad_alloc(); };
    peer.send("x");
    EXPECT_TRUE(client.hears("Error 7 Out of memory CSocketMaster.WndProc"));

    client->CloseSck();
    peer = connected();
    peer.reset();
    EXPECT_TRUE(client.hears("Error 10054 Connection reset by peer. CSocketMaster.PostSocket"));
}

TEST_F(Faults, LookupsEndAfterTheirObjectsAndInTheirPlace) {
    peers::Server server;
    const auto keepsWindow = CSocketMaster::create();
    keepsWindow->Bind(0, L"127.0.0.1");
    headless::setHost("first.test", "127.0.0.2");
    headless::setHost("second.test", "127.0.0.1");
    headless::holdLookups(true);
    {
        Watched gone;
        gone->Connect(L"first.test", server.port());
    }
    Watched closed;
    closed->Connect(L"first.test", server.port());
    closed->CloseSck();
    Watched client;
    client->Connect(L"first.test", server.port());
    client->CloseSck();
    client->Connect(L"second.test", server.port());
    EXPECT_EQ(client->State(), StateResolvingHost);
    headless::holdLookups(false); // their messages come in the order of their beginnings
    EXPECT_TRUE(client.reaches(StateConnected)) << "the first result is taken for that of the second";
    EXPECT_EQ(client->RemoteHostIP(), L"127.0.0.1") << "but the block is the second's";
    Watched last;
    last->Connect(L"second.test", server.port());
    EXPECT_TRUE(last.reaches(StateConnected));
    EXPECT_THAT(client.events, ElementsAre("Connect"));
    EXPECT_THAT(closed.events, IsEmpty());
    EXPECT_EQ(closed->State(), StateClosed);
    EXPECT_THAT(escaped, IsEmpty());
    EXPECT_EQ(LookupTable.count(), 4) << "rows of lookups stay, and those of the dead are used again";
}

TEST_F(Faults, ALookupNeverReportsOnceTheWindowIsGone) {
    headless::holdLookups(true);
    headless::setHostError("nobody.test", 11004);
    Watched client;
    client->Connect(L"localhost", 80);
    client->CloseSck();
    client->Connect(L"nobody.test", 80);
    headless::holdLookups(false);
    ASSERT_TRUE(client.reaches(StateError));
    EXPECT_THAT(client.events,
                ElementsAre("Error 11004 Valid name, no data record of requested type. CSocketMaster.ConnectToIP"));
}

} // namespace
