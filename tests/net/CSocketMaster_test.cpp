#include "NetTest.h"
#include "Peer.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class SocketObject : public NetTest {
protected:
    /// The object's entry, as if the library had posted the event.
    static void deliver(const Watched& to, std::int32_t event, std::int32_t code = 0) {
        to->WndProc(MessageWindow, SocketMessage, static_cast<std::uint32_t>(to->SocketHandle()), event | code << 16);
    }

    static peers::Connection connect(Watched& client, const peers::Server& server) {
        client->Connect(L"127.0.0.1", server.port());
        EXPECT_TRUE(client.reaches(StateConnected));
        client.events.clear();
        return server.accept();
    }
};

TEST_F(SocketObject, PropertiesTakeWhatTheStateAndTheRangeAllow) {
    const auto socket = CSocketMaster::create();
    struct Property {
        const wchar_t* source;
        std::function<void(std::int32_t)> write;
        bool hasRange;
        bool openForUdp;
    };
    const std::vector<Property> properties{
        {L"CSocketMaster.RemotePort", [&](std::int32_t v) { socket->RemotePort(v); }, true, true},
        {L"CSocketMaster.RemoteHost", [&](std::int32_t) { socket->RemoteHost(L"peer"); }, false, true},
        {L"CSocketMaster.LocalPort", [&](std::int32_t v) { socket->LocalPort(v); }, true, false},
        {L"CSocketMaster.Protocol", [&](std::int32_t) { socket->Protocol(ProtocolTCP); }, false, false},
    };
    for (const auto& property : properties) {
        EXPECT_NO_THROW(property.write(0));
        EXPECT_NO_THROW(property.write(65535));
        if (!property.hasRange) continue;
        for (const std::int32_t port : {-1, 65536})
            expectRaise([&] { property.write(port); }, 40014, property.source, texts::outOfRange);
    }
    socket->LocalPort(0);
    socket->Bind(0, L"127.0.0.1");
    for (const auto& property : properties)
        expectRaise([&] { property.write(1); }, 40020, property.source, texts::invalidState);
    EXPECT_NO_THROW(socket->Tag(L"any time"));
    EXPECT_EQ(socket->Tag(), L"any time");
    EXPECT_EQ(socket->RemotePort(), 65535);
    EXPECT_GT(socket->LocalPort(), 0) << "the port that the system chose";
    EXPECT_EQ(socket->LocalIP(), L"127.0.0.1");

    socket->CloseSck();
    EXPECT_EQ(socket->LocalPort(), 0);
    socket->Protocol(ProtocolUDP);
    socket->Bind(0, L"127.0.0.1");
    for (const auto& property : properties) {
        if (property.openForUdp) {
            EXPECT_NO_THROW(property.write(1));
        } else {
            expectRaise([&] { property.write(1); }, 40020, property.source, texts::invalidState);
        }
    }
}

TEST_F(SocketObject, ConnectsToAnAddressAndAName) {
    peers::Server server;
    for (const std::wstring host : {L"127.0.0.1", L"localhost"}) {
        Watched client;
        client->Connect(host, server.port());
        EXPECT_EQ(client->State(), host == L"localhost" ? StateResolvingHost : StateConnecting);
        ASSERT_TRUE(client.reaches(StateConnected));
        EXPECT_THAT(client.events, ElementsAre("Connect"));
        EXPECT_EQ(client->RemoteHost(), host);
        EXPECT_EQ(client->RemoteHostIP(), L"127.0.0.1") << "the peer's, by name too";
        EXPECT_EQ(client->RemotePort(), server.port());
        EXPECT_GT(client->LocalPort(), 0);
        expectRaise([&] { client->Connect(L"127.0.0.1", 80); }, 40020, L"CSocketMaster.Connect", texts::invalidState);
        server.accept();
    }
}

TEST_F(SocketObject, ConnectLooksAtItsPort) {
    Watched client;
    const std::wstring source = L"CSocketMaster.Connect";
    for (const Value& port : {Value(0), Value(65536), Value(-1.0), Value(L"0"), Value(true)})
        expectRaise([&] { client->Connect(L"127.0.0.1", port); }, 40014, source, texts::outOfRange);
    for (const Value& port :
         {Value(L"eighty"), Value(L""), Value(L"80 or so"), Value(std::string("80")), Value(Date{80})})
        expectRaise([&] { client->Connect(L"127.0.0.1", port); }, 40018, source, texts::unsupported);
    EXPECT_EQ(client->State(), StateClosed);
    EXPECT_EQ(client->RemoteHost(), L"127.0.0.1") << "the host is taken before the port is looked at";

    peers::Server server;
    client->Connect({}, L" " + std::to_wstring(server.port()) + L" ");
    EXPECT_TRUE(client.hears("Connect")) << "a text that is a number is one";
}

TEST_F(SocketObject, AFailedConnectionIsReportedAndCloseSckLeadsOut) {
    std::uint16_t deadPort = peers::Server().port();
    struct Case {
        std::wstring host;
        std::string error;
    };
    for (const auto& [host, error] :
         {Case{L"127.0.0.1", "Error 10061 Connection refused. CSocketMaster.PostSocket"},
          Case{L"nobody.invalid", "Error " + unknownHost() + " CSocketMaster.ConnectToIP"}}) {
        Watched client;
        client->Connect(host, deadPort);
        ASSERT_TRUE(client.reaches(StateError));
        EXPECT_THAT(client.events, ElementsAre(error));
        expectRaise([&] { client->Connect(); }, 40020, L"CSocketMaster.Connect", texts::invalidState);
        expectRaise([&] { client->Listen(); }, 40020, L"CSocketMaster.Listen", texts::invalidState);

        client->CloseSck();
        EXPECT_EQ(client->State(), StateClosed);
        peers::Server server;
        client->Connect(L"127.0.0.1", server.port());
        EXPECT_TRUE(client.hears("Connect"));
    }
}

TEST_F(SocketObject, RemembersItsPeerOverCloseSck) {
    peers::Server server;
    Watched client;
    client->Tag(L"kept");
    const auto peer = connect(client, server);
    peer.send("left unread");
    ASSERT_TRUE(client.hears("DataArrival 11"));
    client->CloseSck();
    EXPECT_EQ(client->State(), StateClosed);
    EXPECT_EQ(client->SocketHandle(), -1);
    EXPECT_EQ(client->RemoteHostIP(), L"");
    EXPECT_EQ(client->BytesReceived(), 0);
    EXPECT_EQ(client->RemoteHost(), L"127.0.0.1");
    EXPECT_EQ(client->Tag(), L"kept");

    client->Connect();
    EXPECT_TRUE(client.hears("Connect"));
    EXPECT_EQ(client->RemotePort(), server.port());
}

TEST_F(SocketObject, AddressesThatAreNotWhatTheySeem) {
    Watched client;
    client->Connect(L"1.0.0.0", 80);
    EXPECT_EQ(client->State(), StateClosed) << "its number stands for a lookup that is running";
    client->CloseSck();

    client->Connect(L"255.255.255.255", 80);
    EXPECT_EQ(client->State(), StateResolvingHost) << "its number stands for a text that is no address";
    client->CloseSck();
    EXPECT_THAT(client.events, IsEmpty());
}

TEST_F(SocketObject, CloseSckDuringALookupIsTheEndOfIt) {
    peers::Server server;
    const auto keepsWindow = CSocketMaster::create();
    keepsWindow->Bind(0, L"127.0.0.1");
    Watched client;
    client->Connect(L"localhost", server.port());
    client->CloseSck();
    EXPECT_EQ(client->State(), StateClosed);
    Watched other; // whose lookup comes after that one
    other->Connect(L"localhost", server.port());
    EXPECT_TRUE(other.hears("Connect"));
    settle();
    EXPECT_EQ(client->State(), StateClosed);
    EXPECT_THAT(client.events, IsEmpty());
    EXPECT_THAT(escaped, IsEmpty());
}

TEST_F(SocketObject, ListensAndTellsWhoIsCalling) {
    Watched listener;
    listener->RemoteHost(L"own.host");
    listener->RemotePort(77);
    listener->Bind(0, L"127.0.0.1");
    listener->Listen();
    EXPECT_EQ(listener->State(), StateListening);
    expectRaise([&] { listener->Bind(); }, 40020, L"CSocketMaster.Bind", texts::invalidState);
    expectRaise([&] { listener->Accept(1); }, 40020, L"CSocketMaster.Accept", texts::invalidState);

    Watched claimant;
    std::int32_t callersPort = 0;
    listener->on.ConnectionRequest = [&](std::int32_t id) {
        EXPECT_EQ(listener->RemoteHostIP(), L"127.0.0.1");
        EXPECT_EQ(listener->RemoteHost(), L"");
        callersPort = listener->RemotePort();
        claimant->Accept(id);
    };
    const auto caller = peers::call(static_cast<std::uint16_t>(listener->LocalPort()));
    ASSERT_TRUE(claimant.reaches(StateConnected));
    EXPECT_EQ(callersPort, caller.port());
    EXPECT_EQ(listener->RemoteHost(), L"own.host") << "its own again";
    EXPECT_EQ(listener->RemotePort(), 77);
    EXPECT_EQ(claimant->RemotePort(), caller.port());
    EXPECT_EQ(claimant->RemoteHostIP(), L"127.0.0.1");
    EXPECT_EQ(claimant->LocalPort(), listener->LocalPort());
    EXPECT_FALSE(AcceptRegistry);

    caller.send("hello");
    EXPECT_TRUE(claimant.hears("DataArrival 5"));
    claimant->SendData(L"there");
    EXPECT_EQ(caller.receive(5), "there");

    Watched other;
    expectRaise([&] { other->Accept(claimant->SocketHandle()); }, 40006, L"CSocketMaster.Accept", texts::wrongState);
    other.socket.reset();
    caller.send("!");
    EXPECT_TRUE(claimant.hears("DataArrival 6")) << "the socket is still its own";
}

TEST_F(SocketObject, ACallThatNobodyClaimsIsClosedAfterTheEvent) {
    Watched listener;
    listener->Bind(0, L"127.0.0.1");
    listener->Listen();
    auto caller = peers::call(static_cast<std::uint16_t>(listener->LocalPort()));
    ASSERT_TRUE(listener.hears("ConnectionRequest"));
    EXPECT_EQ(caller.receiveSome(1), "") << "closed";
    EXPECT_FALSE(IsSocketRegistered(listener.request));
    EXPECT_FALSE(AcceptRegistry);
    EXPECT_EQ(InstanceCount, 1) << "the holder is gone";
    EXPECT_EQ(listener->State(), StateListening);
}

TEST_F(SocketObject, AListenerMayClaimTheCallItself) {
    Watched listener;
    listener->Bind(0, L"127.0.0.1");
    listener->Listen();
    listener->on.ConnectionRequest = [&](std::int32_t id) {
        listener->CloseSck();
        listener->Accept(id);
    };
    const auto caller = peers::call(static_cast<std::uint16_t>(listener->LocalPort()));
    ASSERT_TRUE(listener.reaches(StateConnected));
    EXPECT_EQ(listener->RemotePort(), caller.port()) << "not what the listener had";
    caller.send("x");
    EXPECT_TRUE(listener.hears("DataArrival 1"));
}

TEST_F(SocketObject, AClaimantGetsWhatTheHolderTookInAndThePeersClose) {
    Watched listener;
    listener->Bind(0, L"127.0.0.1");
    listener->Listen();
    auto caller = peers::call(static_cast<std::uint16_t>(listener->LocalPort()));
    caller.send("early");
    caller.close();
    Watched claimant;
    listener->on.ConnectionRequest = [&](std::int32_t id) {
        const auto holder = GetAcceptedObject(id);
        EXPECT_TRUE(testDesktop::pumpUntil([&] { return holder->State() == StateClosing; }))
            << "the loop goes on in a handler";
        Value refused;
        expectRaise([&] { holder->PeekData(refused); }, 40006, L"CSocketMaster.PeekData", texts::wrongState);
        claimant->on.DataArrival = [&](std::int32_t total) {
            claimant.events.push_back("DataArrival " + std::to_string(total));
            Value data;
            claimant->GetData(data);
            EXPECT_EQ(data, Value(std::string("early")));
        };
        claimant->Accept(id);
    };
    ASSERT_TRUE(claimant.reaches(StateClosing));
    EXPECT_THAT(claimant.events, ElementsAre("DataArrival 5", "CloseSck"));
}

TEST_F(SocketObject, ThePeersCloseKeepsTheSocketAndWhatIsUnread) {
    peers::Server server;
    Watched client;
    auto peer = connect(client, server);
    peer.send("last words");
    peer.close();
    ASSERT_TRUE(client.reaches(StateClosing));
    EXPECT_THAT(client.events, ElementsAre("DataArrival 10", "CloseSck"));
    EXPECT_EQ(client->BytesReceived(), 10);
    EXPECT_NE(client->SocketHandle(), -1);
    Value data;
    expectRaise([&] { client->GetData(data); }, 40006, L"CSocketMaster.GetData", texts::wrongState);
    expectRaise([&] { client->SendData(L"too late"); }, 40006, L"CSocketMaster.SendData", texts::wrongState);
    expectRaise([&] { client->Connect(); }, 40020, L"CSocketMaster.Connect", texts::invalidState);
}

TEST_F(SocketObject, EventsCountOnlyInTheirState) {
    using namespace platform;
    const std::vector<std::int32_t> all{
        events::read, events::write, events::accept, events::connect, events::close, 4, 64};
    const auto expectIgnored = [&](const Watched& watched, std::vector<std::int32_t> ignored) {
        const std::int32_t state = watched->State();
        for (const std::int32_t event : ignored) {
            deliver(watched, event);
            EXPECT_EQ(watched->State(), state) << event;
        }
        EXPECT_THAT(watched.events, IsEmpty()) << state;
    };
    peers::Server server;
    Watched closed;
    expectIgnored(closed, all);
    Watched bound;
    bound->Bind(0, L"127.0.0.1");
    expectIgnored(bound, all);
    bound->Listen();
    expectIgnored(bound, {events::read, events::write, events::connect, events::close, 4});
    Watched resolving;
    resolving->Connect(L"localhost", server.port());
    expectIgnored(resolving, all);
    Watched client;
    auto peer = connect(client, server);
    expectIgnored(client, {events::write, events::accept, events::connect, 4});
    deliver(client, events::close);
    EXPECT_THAT(client.events, ElementsAre("CloseSck"));
    client.events.clear();
    expectIgnored(client, all);
}

TEST_F(SocketObject, AnErrorCodeIsReportedWithAnyEventInAnyState) {
    using namespace platform;
    const std::string error = "Error 10060 Connection timed out. CSocketMaster.PostSocket";
    for (const std::int32_t event :
         {events::read, events::write, events::accept, events::connect, events::close, 128}) {
        peers::Server server;
        Watched closed;
        deliver(closed, event, 10060);
        EXPECT_EQ(closed->State(), StateError);
        EXPECT_THAT(closed.events, ElementsAre(error));
        closed->CloseSck();
        EXPECT_EQ(closed->State(), StateError) << "without a socket nothing leads out";

        Watched client;
        const auto peer = connect(client, server);
        deliver(client, event, 10060);
        deliver(client, event, 10060);
        EXPECT_EQ(client->State(), StateError);
        EXPECT_THAT(client.events, ElementsAre(error, error));
    }
}

TEST_F(SocketObject, AnOwnerMayHaveTheFailureShown) {
    Watched client;
    client->on.Error = [](std::int16_t, std::wstring& Description, std::int32_t, const std::wstring&,
                          const std::wstring&, std::int32_t, bool& CancelDisplay) {
        Description += L" Sorry!";
        CancelDisplay = false;
    };
    deliver(client, platform::events::connect, 10061);
    EXPECT_THAT(testDesktop::shownBoxes(),
                ElementsAre(testDesktop::ShownBox{L"Connection refused. Sorry!", L"CSocketMaster.PostSocket", 0}));
    client->on.Error = nullptr;
    deliver(client, platform::events::connect, 10061);
    EXPECT_EQ(testDesktop::shownBoxes().size(), 1u) << "left as it is, nothing is shown";
}

TEST_F(SocketObject, AHandlerMayDropTheObjectThatRaisedTheEvent) {
    peers::Server server;
    struct Step {
        const char* event;
        std::function<void(CSocketMaster::Events&, std::function<void()>)> drop;
    };
    const std::vector<Step> steps{
        {"Connect", [](auto& on, auto drop) { on.Connect = drop; }},
        {"DataArrival", [](auto& on, auto drop) { on.DataArrival = [drop](std::int32_t) { drop(); }; }},
        {"CloseSck", [](auto& on, auto drop) { on.CloseSck = drop; }},
        {"SendProgress", [](auto& on, auto drop) { on.SendProgress = [drop](std::int32_t, std::int32_t) { drop(); }; }},
        {"SendComplete", [](auto& on, auto drop) { on.SendComplete = drop; }},
        {"Error", [](auto& on, auto drop) {
             on.Error = [drop](std::int16_t, std::wstring&, std::int32_t, const std::wstring&, const std::wstring&,
                               std::int32_t, bool&) { drop(); };
         }}};
    for (const auto& step : steps) {
        SCOPED_TRACE(step.event);
        auto socket = CSocketMaster::create();
        bool connected = false;
        socket->on.Connect = [&] {
            connected = true;
            CSocketMaster& talker = *socket;
            talker.SendData(L"hello"); // drops it, in one case
        };
        step.drop(socket->on, [&] { socket.reset(); });
        socket->Connect(L"127.0.0.1", server.port());
        auto peer = server.accept();
        EXPECT_TRUE(testDesktop::pumpUntil([&] { return connected || !socket; }));
        if (socket) {
            EXPECT_EQ(peer.receive(5), "hello");
            peer.send("answer");
        }
        peer.close();
        if (step.event == std::string("Error"))
            socket->WndProc(MessageWindow, SocketMessage, 0, platform::events::close | 10054 << 16);
        EXPECT_TRUE(testDesktop::pumpUntil([&] { return !socket; }));
        EXPECT_EQ(InstanceCount, 0);
    }
    EXPECT_THAT(escaped, IsEmpty());
}

TEST_F(SocketObject, BindTakesAPortAndAnAddress) {
    const std::wstring source = L"CSocketMaster.BindInternal";
    Watched first;
    for (const Value& port : {Value(-1), Value(65536)})
        expectRaise([&] { first->Bind(port); }, 40014, source, texts::outOfRange);
    expectRaise([&] { first->Bind(Value(L"any")); }, 40018, source, texts::unsupported);
    expectRaise([&] { first->Bind(0, L"nobody.invalid"); }, 40014, source, L"Invalid argument");
    EXPECT_EQ(first->SocketHandle(), -1) << "no socket is made for nothing";

    first->Bind({}, L"");
    EXPECT_EQ(first->State(), StateOpen);
    EXPECT_EQ(first->LocalIP(), L"127.0.0.1") << "the machine's own first address";
    first->Listen();

    Watched second;
    second->LocalPort(first->LocalPort());
    expectRaise([&] { second->Bind(); }, 10048, source, L"Address already in use.");
    second->CloseSck();
    const std::int32_t port = first->LocalPort();
    first->CloseSck();
    Watched third;
    third->Bind(port, L"localhost");
    EXPECT_EQ(third->LocalPort(), port);
    EXPECT_EQ(third->LocalIP(), L"127.0.0.1");
    EXPECT_FALSE(third->LocalHostName().empty());
}

} // namespace
