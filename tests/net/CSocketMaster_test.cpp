#include <array>
#include <optional>

#include "NetTest.h"
#include "Peer.h"

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

namespace events = platform::events;

constexpr std::array allEvents{events::read, events::write, events::accept, events::connect, events::close, 4, 64};

/// The object's entry, as if the library had posted the event.
void deliver(const Watched& to, std::int32_t event, std::int32_t code = 0) {
    to->WndProc(MessageWindow, SocketMessage, static_cast<std::uint32_t>(to->SocketHandle()), event | code << 16);
}

/// A socket in the state asked for, with what it takes on the other side.
struct Stage {
    peers::Server server;
    std::optional<peers::Connection> peer;
    Watched socket;

    explicit Stage(std::int32_t state, std::int32_t protocol = ProtocolTCP) {
        socket->Protocol(protocol);
        if (state == StateOpen || state == StateListening) socket->Bind(0, L"127.0.0.1");
        if (state == StateListening) socket->Listen();
        if (state == StateResolvingHost) socket->Connect(L"localhost", server.port());
        if (state >= StateConnecting) socket->Connect(L"127.0.0.1", server.port());
        if (state >= StateConnected) {
            EXPECT_TRUE(socket.reaches(StateConnected));
            peer.emplace(server.accept());
        }
        if (state == StateClosing) peer->close();
        if (state == StateError) deliver(socket, events::read, 10054);
        EXPECT_TRUE(socket.reaches(state));
        socket.events.clear();
    }
};

using SocketObject = NetTest;

TEST_F(SocketObject, TakesInEachStateWhatIsForIt) {
    struct Operation {
        std::string name;
        std::function<void(CSocketMaster&)> run;
        std::function<bool(std::int32_t state, bool udp)> isAllowed;
        std::string refusal = refusals::state;
    };
    const auto ifClosed = [](std::int32_t state, bool) { return state == StateClosed; };
    const auto ifClosedOrUdp = [](std::int32_t state, bool udp) { return udp || state == StateClosed; };
    const auto ifUsable = [](std::int32_t state, bool udp) { return state == (udp ? StateOpen : StateConnected); };
    Value data;
    const std::vector<Operation> operations{
        {"RemotePort", [](auto& socket) { socket.RemotePort(7); }, ifClosedOrUdp},
        {"RemoteHost", [](auto& socket) { socket.RemoteHost(L"127.0.0.1"); }, ifClosedOrUdp},
        {"LocalPort", [](auto& socket) { socket.LocalPort(0); }, ifClosed},
        {"Protocol", [](auto& socket) { socket.Protocol(socket.Protocol()); }, ifClosed},
        {"Connect", [](auto& socket) { socket.Connect(L"127.0.0.1", 9); }, ifClosed},
        {"Bind", [](auto& socket) { socket.Bind(); }, ifClosed},
        {"Listen", [](auto& socket) { socket.Listen(); },
         [](std::int32_t state, bool) { return state == StateClosed || state == StateOpen; }},
        {"Accept", [](auto& socket) { socket.Accept(1); }, ifClosed},
        {"SendData", [](auto& socket) { socket.SendData(L"x"); },
         [](std::int32_t state, bool udp) { return udp || state == StateConnected; }, refusals::transfer},
        {"GetData", [&](auto& socket) { socket.GetData(data); }, ifUsable, refusals::transfer},
        {"PeekData", [&](auto& socket) { socket.PeekData(data); }, ifUsable, refusals::transfer},
    };
    /// What is an event's own in a state; all others pass unnoticed.
    const auto isHeard = [](std::int32_t state, bool udp, std::int32_t event) {
        if (udp) return false; // what there is to read is looked for
        return (state == StateListening && event == events::accept) ||
               (state == StateConnecting && event == events::connect) ||
               (state == StateConnected && (event == events::read || event == events::close));
    };
    std::vector<std::pair<std::int32_t, bool>> stages{{StateClosed, true}, {StateOpen, true}};
    for (std::int32_t state = StateClosed; state <= StateError; ++state)
        if (state != StateConnectionPending && state != StateHostResolved) stages.emplace_back(state, false);
    for (const auto& [state, udp] : stages) {
        SCOPED_TRACE(testing::Message() << "state " << state << (udp ? " of UDP" : ""));
        const Stage stage(state, udp ? ProtocolUDP : ProtocolTCP);
        const Watched& socket = stage.socket;
        for (const Operation& each : operations) {
            const bool isProperty = &each < &operations[4]; // others would change the state
            const std::string refusal = each.isAllowed(state, udp) ? "" : each.refusal + each.name;
            if (isProperty || !refusal.empty()) {
                EXPECT_EQ(raisedBy([&] { each.run(*socket.socket); }), refusal);
            }
        }
        for (const std::int32_t event : allEvents)
            if (!isHeard(state, udp, event)) deliver(socket, event);
        socket->WndProc(MessageWindow, ResolveMessage, 0x7FFF, 0); // of a lookup that it does not await
        EXPECT_EQ(socket->State(), state);
        EXPECT_THAT(socket.events, IsEmpty());
        for (const std::int32_t event : allEvents) {
            deliver(socket, event, 10060);
            EXPECT_EQ(socket->State(), StateError);
        }
        EXPECT_EQ(socket.events.size(), allEvents.size());
        EXPECT_THAT(socket.events, Each("Error 10060 Connection timed out. CSocketMaster.PostSocket"));
        const bool hasSocket = socket->SocketHandle() != -1;
        socket->CloseSck();
        EXPECT_EQ(socket->State(), hasSocket ? StateClosed : StateError) << "without a socket nothing leads out";
    }
}

TEST_F(SocketObject, LooksAtPortsAndAddresses) {
    Watched socket;
    for (const std::int32_t port : {0, 65535}) {
        socket->RemotePort(port);
        socket->LocalPort(port);
    }
    for (const std::int32_t port : {-1, 65536}) {
        EXPECT_EQ(raisedBy([&] { socket->RemotePort(port); }), refusals::range + "RemotePort");
        EXPECT_EQ(raisedBy([&] { socket->LocalPort(port); }), refusals::range + "LocalPort");
        EXPECT_EQ(raisedBy([&] { socket->Bind(port); }), refusals::range + "BindInternal");
    }
    EXPECT_EQ(socket->RemotePort(), 65535);
    EXPECT_EQ(socket->LocalPort(), 65535);
    socket->LocalPort(0);
    for (const Value& port :
         {Value(0), Value(65536), Value(-1.0), Value(L"0"), Value(true), Value(Currency{655'360'000})})
        EXPECT_EQ(raisedBy([&] { socket->Connect(L"nobody", port); }), refusals::range + "Connect");
    for (const Value& port : {Value(L"eighty"), Value(L"80 or so"), Value(std::string("80")), Value(Date{80})})
        EXPECT_EQ(raisedBy([&] { socket->Connect({}, port); }), refusals::type + "Connect");
    EXPECT_EQ(raisedBy([&] { socket->Bind(Value(L"any")); }), refusals::type + "BindInternal");
    EXPECT_EQ(raisedBy([&] { socket->Bind(0, L"nobody.invalid"); }),
              "40014 Invalid argument CSocketMaster.BindInternal");
    EXPECT_EQ(socket->SocketHandle(), -1) << "no socket is made for nothing";
    EXPECT_EQ(socket->RemoteHost(), L"nobody") << "the host is taken before the port is looked at";

    socket->Bind({}, L"");
    EXPECT_EQ(socket->LocalIP(), L"127.0.0.1") << "the machine's own first address";
    EXPECT_FALSE(socket->LocalHostName().empty());
    socket->Listen();
    const std::int32_t taken = socket->LocalPort();
    Watched second;
    second->LocalPort(taken);
    EXPECT_EQ(raisedBy([&] { second->Bind(); }), "10048 Address already in use. CSocketMaster.BindInternal");
    second->CloseSck();
    socket->CloseSck();
    second->Bind(taken, L"localhost");
    EXPECT_EQ(second->LocalPort(), taken);
    EXPECT_EQ(second->LocalIP(), L"127.0.0.1");

    // Addresses whose numbers stand for something else: a lookup that is running, and a text that is no address.
    Watched odd;
    odd->Connect(L"1.0.0.0", 65535);
    EXPECT_EQ(odd->State(), StateClosed);
    odd->Connect(L"255.255.255.255", Value(L" 80 "));
    EXPECT_EQ(odd->State(), StateResolvingHost);
    EXPECT_EQ(odd->RemotePort(), 80) << "a text that is a number is one";
}

TEST_F(SocketObject, ConnectsHearsThePeerOutAndRemembersIt) {
    peers::Server server;
    Watched client;
    client->Tag(L"kept");
    client->Connect(L"localhost", server.port());
    ASSERT_TRUE(client.reaches(StateConnected));
    EXPECT_EQ(client->RemoteHostIP(), L"127.0.0.1") << "the peer's, by name too";
    EXPECT_GT(client->LocalPort(), 0) << "the system's choice";
    auto peer = server.accept();
    peer.send("last words");
    peer.close();
    ASSERT_TRUE(client.reaches(StateClosing));
    EXPECT_THAT(client.events, ElementsAre("Connect", "DataArrival 10", "CloseSck"));
    EXPECT_EQ(client->BytesReceived(), 10);
    EXPECT_NE(client->SocketHandle(), -1);
    client->CloseSck();
    EXPECT_EQ(client->State(), StateClosed);
    EXPECT_EQ(client->SocketHandle(), -1);
    EXPECT_EQ(client->LocalPort(), 0);
    EXPECT_EQ(client->RemoteHostIP(), L"");
    EXPECT_EQ(client->BytesReceived(), 0);
    EXPECT_EQ(client->Tag(), L"kept");

    client.events.clear();
    client->Connect(L"127.0.0.1");
    EXPECT_EQ(client->State(), StateConnecting) << "no lookup";
    EXPECT_TRUE(client.hears("Connect"));
    EXPECT_EQ(client->RemotePort(), server.port());

    server.close();
    client->CloseSck();
    client->Connect();
    EXPECT_TRUE(client.hears("Error 10061 Connection refused. CSocketMaster.PostSocket"));
    client->CloseSck();
    client.events.clear();
    client->Connect(L"nobody.invalid");
    EXPECT_TRUE(client.reaches(StateError));
    EXPECT_THAT(client.events, ElementsAre(AllOf(StartsWith("Error 1100"), EndsWith(" CSocketMaster.ConnectToIP"))));
}

TEST_F(SocketObject, ListensAndTellsWhoIsCalling) {
    const Stage stage(StateListening);
    const Watched& listener = stage.socket;
    const auto port = static_cast<std::uint16_t>(listener->LocalPort());
    std::int32_t request = -1;
    listener->on.ConnectionRequest = [&](std::int32_t id) { request = id; };
    const auto unclaimed = peers::call(port);
    ASSERT_TRUE(testDesktop::pumpUntil([&] { return request != -1; }));
    EXPECT_EQ(unclaimed.receive(1), "") << "closed after the event";
    EXPECT_FALSE(IsSocketRegistered(request));
    EXPECT_EQ(InstanceCount, 1) << "the holder is gone";

    Watched claimant;
    listener->on.ConnectionRequest = [&](std::int32_t id) {
        EXPECT_EQ(listener->RemoteHostIP(), L"127.0.0.1");
        EXPECT_NE(listener->RemotePort(), 0);
        claimant->Accept(id);
    };
    const auto caller = peers::call(port);
    ASSERT_TRUE(claimant.reaches(StateConnected));
    EXPECT_EQ(listener->RemoteHostIP(), L"") << "its own again";
    EXPECT_EQ(claimant->RemotePort(), caller.port());
    EXPECT_EQ(claimant->RemoteHostIP(), L"127.0.0.1");
    EXPECT_EQ(claimant->LocalPort(), port);
    EXPECT_FALSE(AcceptRegistry);
    claimant->SendData(L"there");
    EXPECT_EQ(caller.receive(5), "there");

    EXPECT_EQ(raisedBy([&] { Watched()->Accept(claimant->SocketHandle()); }), refusals::transfer + "Accept");
    caller.send("!");
    EXPECT_TRUE(claimant.hears("DataArrival 1")) << "the socket is still its own";

    listener->on.ConnectionRequest = [&](std::int32_t id) { // and may be claimed by the listener itself
        listener->CloseSck();
        listener->Accept(id);
    };
    const auto last = peers::call(port);
    ASSERT_TRUE(listener.reaches(StateConnected));
    EXPECT_EQ(listener->RemotePort(), last.port()) << "not what the listener had";
}

TEST_F(SocketObject, AClaimantGetsWhatTheHolderTookInAndThePeersClose) {
    const Stage stage(StateListening);
    Watched claimant;
    stage.socket->on.ConnectionRequest = [&](std::int32_t id) {
        const auto holder = GetAcceptedObject(id);
        EXPECT_TRUE(testDesktop::pumpUntil([&] { return holder->State() == StateClosing; })) << "in a nested loop";
        Value data;
        EXPECT_EQ(raisedBy([&] { holder->PeekData(data); }), refusals::transfer + "PeekData");
        claimant->Accept(id);
    };
    peers::call(static_cast<std::uint16_t>(stage.socket->LocalPort())).send("early");
    ASSERT_TRUE(claimant.reaches(StateClosing));
    EXPECT_THAT(claimant.events, ElementsAre("DataArrival 5", "CloseSck"));
}

TEST_F(SocketObject, AnOwnerMayHaveTheFailureShown) {
    Watched client;
    client->on.Error = [](auto, std::wstring& Description, auto, auto&&, auto&&, auto, bool& CancelDisplay) {
        Description += L" Sorry!";
        CancelDisplay = false;
    };
    deliver(client, events::connect, 10061);
    client->on.Error = nullptr;
    deliver(client, events::connect, 10061); // left as it is, nothing is shown
    EXPECT_THAT(testDesktop::shownBoxes(),
                ElementsAre(testDesktop::ShownBox{L"Connection refused. Sorry!", L"CSocketMaster.PostSocket", 0}));
}

} // namespace
