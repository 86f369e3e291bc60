#include "NetTest.h"
#include "Peer.h"
#include "net/CDownload.h"
#include "platform/Files.h"
#include "platform/headless/Loop.h"
#include "platform/headless/State.h"

using headless::NetworkCall;
using testing::ElementsAre;
using testing::IsEmpty;

/// What the network library refuses, one call at a time: the number, the source, the state, and the way out.

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

    void expectEscape(std::int32_t number, const std::wstring& source) {
        ASSERT_TRUE(testDesktop::pumpUntil([&] { return !escaped.empty(); }));
        EXPECT_EQ(escaped.back().Number, number);
        EXPECT_EQ(escaped.back().Source, source);
        EXPECT_EQ(escaped.back().Description, GetErrorDescription(number));
        escaped.clear();
    }
};

TEST_F(Faults, ALibraryThatDoesNotStartIsNotStartedAgain) {
    fail(NetworkCall::start, 10091);
    expectRaise([] { CSocketMaster::create(); }, 10091, L"modSocketMaster.InitiateProcesses",
                L"Network subsystem is unavailable.");
    EXPECT_TRUE(ProcessesInitiated);
    {
        Watched client;
        client->Connect(L"127.0.0.1", 80);
        EXPECT_THAT(client.events, ElementsAre("Error 10093 Successful WSAStartup not yet performed. "
                                               "CSocketMaster.SocketExists"));
    }
    EXPECT_EQ(InstanceCount, 1) << "the failed one counts";
    InstanceCount = 0;
    ProcessesInitiated = false;
}

TEST_F(Faults, ALibraryThatDoesNotEndEscapesAndStays) {
    fail(NetworkCall::stop, 10036);
    CSocketMaster::create().reset();
    expectEscape(10036, L"modSocketMaster.FinalizeProcesses");
    EXPECT_TRUE(ProcessesInitiated);
    CSocketMaster::create().reset();
    EXPECT_FALSE(ProcessesInitiated) << "the next last object ends it";
}

TEST_F(Faults, WithoutAWindowThereAreNoSockets) {
    Watched client;
    headless::refuseWindows = true;
    expectRaise([&] { client->Connect(L"127.0.0.1", 80); }, 7, L"modSocketMaster.RegisterSocket", L"Out of memory");
    headless::refuseWindows = false;
    Watched other;
    expectRaise([&] { other->Connect(L"127.0.0.1", 80); }, 10022, L"modSocketMaster.RegisterSocket",
                L"Invalid argument.");
    EXPECT_EQ(MessageWindow, 0u) << "the registry is there, so no window is made";
    client->CloseSck();
    other->CloseSck();
    expectWorks(client);
}

TEST_F(Faults, OperationsThatTheLibraryRefusesRaise) {
    const auto byAddress = [](CSocketMaster& socket) { socket.Connect(L"127.0.0.1", 9); };
    const auto bind = [](CSocketMaster& socket) { socket.Bind(0, L"127.0.0.1"); };
    const auto udp = [](CSocketMaster& socket) {
        socket.Protocol(ProtocolUDP);
        socket.Connect(L"127.0.0.1", 9);
    };
    struct Case {
        NetworkCall call;
        std::size_t nth;
        std::function<void(CSocketMaster&)> operation;
        const wchar_t* source;
    };
    for (const auto& [call, nth, operation, source] : std::vector<Case>{
             {NetworkCall::asyncSelect, 1, byAddress, L"modSocketMaster.RegisterSocket"},
             {NetworkCall::getsockopt, 1, byAddress, L"CSocketMaster.ProcessOptions"},
             {NetworkCall::getsockopt, 2, byAddress, L"CSocketMaster.ProcessOptions"},
             {NetworkCall::getsockopt, 1, udp, L"CSocketMaster.ProcessOptions"},
             {NetworkCall::bind, 1, bind, L"CSocketMaster.BindInternal"},
             {NetworkCall::getsockname, 1, bind, L"CSocketMaster.BindInternal"},
             {NetworkCall::gethostname, 1, byAddress, L"CSocketMaster.GetLocalHostName"},
             {NetworkCall::gethostbyname, 1, byAddress, L"CSocketMaster.GetLocalIP"},
             {NetworkCall::gethostname, 1, [](CSocketMaster& s) { s.LocalHostName(); },
              L"CSocketMaster.GetLocalHostName"},
             {NetworkCall::gethostbyname, 1, [](CSocketMaster& s) { s.LocalIP(); }, L"CSocketMaster.GetLocalIP"},
             {NetworkCall::listen, 1, [](CSocketMaster& s) { s.Listen(); }, L"CSocketMaster.Listen"}}) {
        SCOPED_TRACE(testing::Message() << static_cast<int>(call) << " " << nth);
        Watched client;
        fail(call, 10055, nth);
        expectRaise([&] { operation(*client.socket); }, 10055, source, L"No buffer space available.");
        EXPECT_EQ(client->State(), StateClosed);
        EXPECT_THAT(client.events, IsEmpty());
        client->CloseSck();
        client->Protocol(ProtocolTCP);
        expectWorks(client);
    }
}

TEST_F(Faults, FailuresOfASocketAndALookupAreReported) {
    struct Case {
        NetworkCall call;
        std::wstring host;
        std::string source;
        bool hasSocket;
    };
    peers::Server server;
    for (const auto& [call, host, source, hasSocket] :
         std::vector<Case>{{NetworkCall::socket, L"127.0.0.1", "CSocketMaster.SocketExists", false},
                           {NetworkCall::asyncGetHostByName, L"localhost", "CSocketMaster.ResolveIfHostname", true},
                           {NetworkCall::lookup, L"localhost", "CSocketMaster.ConnectToIP", true},
                           {NetworkCall::connect, L"127.0.0.1", "CSocketMaster.ConnectToIP", true},
                           {NetworkCall::connect, L"localhost", "CSocketMaster.ConnectToIP", true},
                           {NetworkCall::connection, L"127.0.0.1", "CSocketMaster.PostSocket", true}}) {
        Watched client;
        fail(call, 10051);
        client->Connect(host, server.port());
        ASSERT_TRUE(client.reaches(StateError));
        EXPECT_THAT(client.events, ElementsAre("Error 10051 Network is unreachable. " + source));
        EXPECT_EQ(client->SocketHandle() != -1, hasSocket);
        client->CloseSck();
        EXPECT_EQ(client->State(), hasSocket ? StateClosed : StateError) << "without a socket nothing leads out";
        if (hasSocket) expectWorks(client);
    }
}

TEST_F(Faults, ALookupWithoutMemoryIsRaised) {
    for (const NetworkCall call : {NetworkCall::allocateMemory, NetworkCall::lockMemory}) {
        Watched client;
        fail(call, 0);
        expectRaise([&] { client->Connect(L"localhost", 80); }, 7, L"CSocketMaster.ResolveIfHostname",
                    L"Out of memory");
        EXPECT_EQ(client->State(), StateError);
        EXPECT_THAT(client.events, IsEmpty());
        expectWorks(client);
    }
}

TEST_F(Faults, AnAddressThatCannotBeAssignedIsRaisedAndLeavesTheObjectConnecting) {
    Watched client;
    expectRaise([&] { client->Connect(L"0.0.0.0", 80); }, 10049, L"CSocketMaster.ConnectToIP",
                L"Cannot assign requested address.");
    EXPECT_EQ(client->State(), StateConnecting);
    EXPECT_THAT(client.events, IsEmpty());
    client->CloseSck();
    EXPECT_EQ(client->State(), StateClosed);
}

TEST_F(Faults, WhatIsRaisedAfterALookupComesAsAnErrorAndLeavesTheState) {
    struct Case {
        NetworkCall call;
        std::int32_t code;
        std::string event;
        std::int32_t state;
    };
    for (const auto& [call, code, event, state] :
         {Case{NetworkCall::connect, 10049, "Error 10049 Cannot assign requested address. CSocketMaster.ConnectToIP",
               StateConnecting},
          Case{NetworkCall::bind, 10013, "Error 10013 Permission denied. CSocketMaster.BindInternal",
               StateHostResolved},
          Case{NetworkCall::gethostname, 10050, "Error 10050 Network is down. CSocketMaster.GetLocalHostName",
               StateHostResolved}}) {
        Watched client;
        fail(call, code);
        client->Connect(L"localhost", 80);
        ASSERT_TRUE(testDesktop::pumpUntil([&] { return !client.events.empty(); }));
        EXPECT_THAT(client.events, ElementsAre(event));
        EXPECT_EQ(client->State(), state);
        expectWorks(client);
    }
    EXPECT_THAT(escaped, IsEmpty());

    Watched unheard;
    unheard->on.Error = nullptr;
    fail(NetworkCall::connect, 10049);
    unheard->Connect(L"localhost", 80);
    expectEscape(10049, L"CSocketMaster.ConnectToIP");
}

TEST_F(Faults, AnUnknownPeerAddressIsNoFailure) {
    peers::Server server;
    Watched client;
    client->RemoteHost(L"127.0.0.1");
    fail(NetworkCall::getpeername, 10057);
    client->Connect(L"127.0.0.1", server.port());
    ASSERT_TRUE(client.reaches(StateConnected));
    EXPECT_THAT(client.events, ElementsAre("Connect"));
    EXPECT_EQ(client->RemoteHostIP(), L"");
    EXPECT_EQ(client->RemotePort(), server.port());
}

TEST_F(Faults, ASocketThatDoesNotCloseStays) {
    Watched client;
    client->Bind(0, L"127.0.0.1");
    const std::int32_t handle = client->SocketHandle();
    fail(NetworkCall::closesocket, 10036);
    expectRaise([&] { client->CloseSck(); }, 10036, L"CSocketMaster.DestroySocket", L"Operation now in progress.");
    EXPECT_EQ(client->State(), StateError);
    EXPECT_EQ(client->SocketHandle(), handle);
    EXPECT_TRUE(IsSocketRegistered(handle));
    expectWorks(client);

    fail(NetworkCall::closesocket, 10036);
    client.socket.reset();
    expectEscape(10036, L"CSocketMaster.DestroySocket");
    EXPECT_EQ(MessageWindow, 0u) << "no message may find the dead object";
    headless::resetNetwork(); // closes what stayed open
}

class Accepting : public Faults {
protected:
    Watched listener;
    Watched claimant;
    RunTimeError refusal{0};

    Accepting() {
        listener->Bind(0, L"127.0.0.1");
        listener->Listen();
        listener->on.ConnectionRequest = [this](std::int32_t id) {
            listener.request = id;
            refusal = failureOf([&] { claimant->Accept(id); });
        };
    }
    peers::Connection caller() const { return peers::call(static_cast<std::uint16_t>(listener->LocalPort())); }
};

TEST_F(Accepting, FailuresOnTheWayToTheEventAreToldAndTheListenerListensOn) {
    struct Case {
        NetworkCall call;
        std::string source;
    };
    for (const auto& [call, source] : {Case{NetworkCall::accept, "CSocketMaster.PostSocket"},
                                       Case{NetworkCall::getsockopt, "CSocketMaster.ProcessOptions"}}) {
        fail(call, 10055);
        const auto first = caller();
        EXPECT_TRUE(listener.hears("Error 10055 No buffer space available. " + source));
        EXPECT_EQ(listener->State(), StateListening);
        const auto second = caller();
        EXPECT_TRUE(claimant.reaches(StateConnected));
        claimant->CloseSck();
    }
}

TEST_F(Accepting, FailuresOfTheClaimantAreRaisedAndNothingIsLeftOver) {
    struct Case {
        NetworkCall call;
        std::size_t nth; // the first is the holder's
        const wchar_t* source;
    };
    for (const auto& [call, nth, source] : {Case{NetworkCall::getsockopt, 3, L"CSocketMaster.ProcessOptions"},
                                            Case{NetworkCall::getsockname, 1, L"CSocketMaster.Accept"}}) {
        fail(call, 10055, nth);
        auto first = caller();
        EXPECT_TRUE(testDesktop::pumpUntil([&] { return refusal.Number != 0; }));
        EXPECT_EQ(refusal.Number, 10055);
        EXPECT_EQ(refusal.Source, source);
        EXPECT_EQ(claimant->State(), StateClosed);
        EXPECT_FALSE(AcceptRegistry);
        claimant->CloseSck();
        EXPECT_EQ(first.receiveSome(1), "") << "closed";
        const auto second = caller();
        EXPECT_TRUE(claimant.reaches(StateConnected));
        claimant->CloseSck();
        refusal = RunTimeError(0);
    }
}

TEST_F(Accepting, AnUnknownCallerIsAcceptedWithoutAnAddress) {
    fail(NetworkCall::getpeername, 10057, 1);
    fail(NetworkCall::getpeername, 10057, 1);
    claimant->RemoteHost(L"earlier");
    claimant->RemotePort(5);
    const auto peer = caller();
    ASSERT_TRUE(claimant.reaches(StateConnected));
    EXPECT_EQ(claimant->RemotePort(), 0);
    EXPECT_EQ(claimant->RemoteHostIP(), L"");
    EXPECT_EQ(claimant->RemoteHost(), L"");
}

class Transfers : public Faults {
protected:
    peers::Server server;
    Watched client;
    peers::Connection peer = connected();

    peers::Connection connected() {
        client->Connect(L"127.0.0.1", server.port());
        EXPECT_TRUE(client.reaches(StateConnected));
        settle();
        client.events.clear();
        return server.accept();
    }
};

TEST_F(Transfers, PartialSendsGoOnInTheSameFlush) {
    headless::limitSends(3, 3);
    client->SendData(L"0123456789");
    EXPECT_THAT(client.events, ElementsAre("SendProgress 10 0", "SendComplete"));
    EXPECT_EQ(peer.receive(10), "0123456789");
}

TEST_F(Transfers, ARefusedSendTellsWhatWentAndGoesOnWithANewTotal) {
    headless::limitSends(4, 1);
    fail(NetworkCall::send, 10035, 2);
    client->SendData(L"0123456789");
    EXPECT_THAT(client.events, ElementsAre("SendProgress 4 6"));
    client->SendData(L"abc");
    EXPECT_EQ(client.events.size(), 1u) << "it waits behind the rest";
    EXPECT_TRUE(client.hears("SendComplete"));
    EXPECT_THAT(client.events, ElementsAre("SendProgress 4 6", "SendProgress 9 0", "SendComplete"));
    EXPECT_EQ(peer.receive(13), "0123456789abc");

    client.events.clear();
    fail(NetworkCall::send, 10035);
    client->SendData(L"none of it");
    EXPECT_THAT(client.events, IsEmpty()) << "nothing went, nothing is told";
    EXPECT_TRUE(client.hears("SendComplete"));
}

TEST_F(Transfers, ABrokenSendIsReportedAndKeepsItsData) {
    fail(NetworkCall::send, 10054);
    client->SendData(L"lost");
    EXPECT_EQ(client->State(), StateError);
    EXPECT_THAT(client.events, ElementsAre("Error 10054 Connection reset by peer. CSocketMaster.SendBufferedData"));
    headless::postSocketEvent(client->SocketHandle(), platform::events::write, 0);
    platform::pumpMessages();
    EXPECT_EQ(client.events.size(), 1u) << "it is not tried again";
    client->CloseSck();
    peer = connected();
    client->SendData(L"new");
    EXPECT_EQ(peer.receive(3), "new") << "CloseSck has emptied the buffer";
}

TEST_F(Transfers, ABrokenReadIsAnError) {
    for (const std::int32_t code : {10054, 10035}) {
        fail(NetworkCall::recv, code);
        peer.send("x");
        ASSERT_TRUE(client.reaches(StateError));
        EXPECT_EQ(client.events.size(), 1u);
        EXPECT_THAT(client.events.back(), testing::EndsWith(" CSocketMaster.RecvDataToBuffer"));
        client->CloseSck();
        peer = connected();
    }
}

TEST_F(Transfers, AConnectionThatThePeerBreaksIsReported) {
    peer.reset();
    ASSERT_TRUE(client.reaches(StateError));
    EXPECT_THAT(client.events, ElementsAre("Error 10054 Connection reset by peer. CSocketMaster.PostSocket"));
    expectWorks(client);
}

TEST_F(Faults, ABrokenDownloadIsAnErrorAndLeavesThePart) {
    peers::Server server;
    headless::redirectPort(80, server.port());
    const std::wstring file = testDesktop::scratchFolder() + L"\\file";
    CDownload download;
    std::int32_t error = 0;
    std::int32_t arrived = 0;
    download.on.DataArrival = [&](std::int32_t bytes) { arrived += bytes; };
    download.on.Error = [&](std::int16_t Number, std::wstring& Description) {
        error = Number;
        EXPECT_EQ(Description, L"Connection reset by peer.");
    };
    download.Download(L"http://127.0.0.1/", file);
    ASSERT_TRUE(testDesktop::pumpUntil([&] { return server.hasInput(); }));
    auto peer = server.accept();
    peer.send("HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\npart");
    EXPECT_TRUE(testDesktop::pumpUntil([&] { return arrived == 4; }));
    peer.reset();
    EXPECT_TRUE(testDesktop::pumpUntil([&] { return error == 10054; }));
    EXPECT_EQ(platform::readWholeFile(file), "part");
    EXPECT_EQ(InstanceCount, 0);
}

/// One end for each download, whatever fails on its way and whoever raised it.
TEST_F(Faults, ADownloadEndsInOneErrorWhateverItsSocketMeets) {
    peers::Server server;
    headless::redirectPort(80, server.port());
    const std::wstring file = testDesktop::scratchFolder() + L"\\file";
    struct Case {
        std::function<void()> fault;
        std::string answer; // of the server, which then closes; empty where no connection comes
        std::string error;
    };
    const std::string body = "HTTP/1.0 200 OK\r\n\r\nbody";
    const auto refusal = [](NetworkCall call, std::int32_t code) { return [=] { fail(call, code); }; };
    for (const auto& [fault, answer, error] : std::vector<Case>{
             {refusal(NetworkCall::connect, 10049), "", "10049 Cannot assign requested address."},
             {refusal(NetworkCall::bind, 10013), "", "10013 Permission denied."},
             {refusal(NetworkCall::gethostname, 10050), "", "10050 Network is down."},
             {refusal(NetworkCall::lookup, 11004), "", "11004 Valid name, no data record of requested type."},
             {refusal(NetworkCall::recv, 10054), body, "10054 Connection reset by peer."},
             {[&] { headless::failFile(headless::FileCall::write, file, 61); }, body, "61 Disk full"},
             {[&] { headless::failFile(headless::FileCall::write, file, 61); }, "no head", "61 Disk full"},
             {[] {}, "HTTP/1.0 200 OK\r\n\r\nno memory", "7 Out of memory"}}) {
        SCOPED_TRACE(error);
        headless::resetFiles();
        std::filesystem::create_directories(headless::mapFolder(testDesktop::scratchFolder()));
        std::vector<std::string> ends;
        CDownload download;
        download.on.DataArrival = [&](std::int32_t) {
            if (answer.ends_with("no memory")) throw std::bad_alloc();
        };
        download.on.Completed = [&] { ends.push_back("completed"); };
        download.on.Error = [&](std::int16_t Number, std::wstring& Description) {
            ends.push_back(std::to_string(Number) + " " + std::string(Description.begin(), Description.end()));
        };
        fault();
        download.Download(L"http://localhost/", file);
        if (!answer.empty()) {
            ASSERT_TRUE(testDesktop::pumpUntil([&] { return server.hasInput(); }));
            auto peer = server.accept();
            peer.send(answer);
            peer.close();
        }
        EXPECT_TRUE(testDesktop::pumpUntil([&] { return !ends.empty(); }));
        EXPECT_THAT(ends, ElementsAre(error));
        EXPECT_EQ(InstanceCount, 0) << "idle again";
        EXPECT_THAT(escaped, IsEmpty());
    }
}

TEST_F(Transfers, ACloseThatOvertakesUnreadDataLosesIt) {
    peer.send("unread");
    headless::postSocketEvent(client->SocketHandle(), platform::events::close, 0);
    ASSERT_TRUE(client.reaches(StateClosing));
    headless::postSocketEvent(client->SocketHandle(), platform::events::read, 0);
    platform::pumpMessages();
    EXPECT_THAT(client.events, ElementsAre("CloseSck"));
    EXPECT_EQ(client->BytesReceived(), 0);
    expectWorks(client);
}

TEST_F(Faults, DatagramsThatTheLibraryRefuses) {
    peers::Datagrams peer;
    fail(NetworkCall::setsockopt, 10042);
    Watched socket;
    socket->Protocol(ProtocolUDP);
    socket->Connect(L"127.0.0.1", peer.port());
    EXPECT_EQ(socket->State(), StateOpen) << "without broadcasts, then";

    int arrivals = 0;
    Value data;
    socket->on.DataArrival = [&](std::int32_t) {
        if (++arrivals > 1) return;
        fail(NetworkCall::recvfrom, 10050);
        expectRaise([&] { socket->GetData(data); }, 10050, L"CSocketMaster.RecvData", L"Network is down.");
    };
    peer.sendTo(socket->LocalPort(), "one");
    EXPECT_TRUE(testDesktop::pumpUntil([&] { return arrivals == 1; }));
    EXPECT_EQ(std::get<std::string>(data).size(), 3u) << "stored before the error";

    fail(NetworkCall::pendingBytes, 10050);
    peer.sendTo(socket->LocalPort(), "two");
    ASSERT_TRUE(testDesktop::pumpUntil([&] { return socket->BytesReceived() == 0; }));
    EXPECT_EQ(arrivals, 1) << "of no known size, and dropped";
    peer.sendTo(socket->LocalPort(), "three");
    EXPECT_TRUE(testDesktop::pumpUntil([&] { return arrivals == 2; }));

    socket->RemoteHost(L"127.0.0.1");
    fail(NetworkCall::sendto, 10051);
    socket->SendData(L"x");
    EXPECT_EQ(socket->State(), StateError);
    EXPECT_THAT(socket.events, ElementsAre("Error 10051 Network is unreachable. CSocketMaster.SendBufferedDataUDP"));
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
    Watched client;
    client->Connect(L"first.test", server.port());
    client->CloseSck();
    client->Connect(L"second.test", server.port());
    EXPECT_EQ(client->State(), StateResolvingHost);
    headless::holdLookups(false);
    EXPECT_TRUE(client.reaches(StateConnected)) << "the first result is taken for that of the second";
    EXPECT_EQ(client->RemoteHostIP(), L"127.0.0.1") << "but the block is the second's";
    settle();
    EXPECT_THAT(client.events, ElementsAre("Connect"));
    EXPECT_THAT(escaped, IsEmpty());
}

TEST_F(Faults, ALookupNeverReportsOnceTheWindowIsGone) {
    headless::holdLookups(true);
    Watched client;
    client->Connect(L"localhost", 80);
    client->CloseSck();
    EXPECT_EQ(MessageWindow, 0u);
    client->Bind(0, L"127.0.0.1");
    client->CloseSck();
    client->Connect(L"nobody.invalid", 80);
    headless::holdLookups(false);
    ASSERT_TRUE(client.reaches(StateError));
    EXPECT_THAT(client.events, ElementsAre("Error 11001 Host not found. CSocketMaster.ConnectToIP"));
}

} // namespace
