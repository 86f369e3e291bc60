#include "NetTest.h"
#include "Peer.h"
#include "net/CDownload.h"
#include "platform/Files.h"
#include "platform/headless/Loop.h"
#include "platform/headless/State.h"

/// Each scenario with its first, second, third... platform call failing, until it has no more calls: nothing may leak
/// or crash, every object must be in a state that it can be in, and must work again after CloseSck.

namespace {

constexpr std::int32_t refused = 10055;

/// Waits for what may never come once a call has failed, and must come before.
bool within(const std::function<bool()>& done) {
    headless::pumpUntil([&] { return done() || headless::nthNetworkCallFailed(); });
    return headless::pumpUntil(done, 60);
}

class EveryCall : public NetTest {
protected:
    bool aCloseFailed() const {
        return std::ranges::any_of(
            escaped, [](const RunTimeError& error) { return error.Source == L"CSocketMaster.DestroySocket"; });
    }

    /// Runs the scenario, which answers whether it came to its good end, until no call of it fails any more.
    void loop(const std::function<bool()>& scenario) {
        for (std::size_t n = 1;; ++n) {
            SCOPED_TRACE("call " + std::to_string(n));
            ASSERT_LT(n, 200u);
            headless::reset();
            headless::resetNetwork();
            escaped.clear();
            platform::setEscapeHandler([this](std::exception_ptr error) {
                try {
                    std::rethrow_exception(error);
                } catch (const RunTimeError& caught) {
                    EXPECT_EQ(caught.Number, refused);
                    escaped.push_back(caught);
                }
            });
            headless::failNthNetworkCall(n, refused);
            bool good = false;
            try {
                good = scenario();
            } catch (const RunTimeError& error) {
                EXPECT_EQ(error.Source, L"modSocketMaster.InitiateProcesses") << "others are caught where they arise";
            }
            const bool failed = headless::nthNetworkCallFailed();
            if (n == 1) { // the library has not started, and is not started again
                EXPECT_EQ(InstanceCount, 1);
                InstanceCount = 0;
                ProcessesInitiated = false;
                continue;
            }
            EXPECT_EQ(InstanceCount, 0);
            EXPECT_EQ(MessageWindow, 0u);
            EXPECT_FALSE(AcceptRegistry);
            if (!aCloseFailed()) {
                EXPECT_EQ(headless::openSockets(), 0u);
            }
            ProcessesInitiated = false; // true still if the end of the library failed
            if (!failed) {
                EXPECT_TRUE(good);
                EXPECT_GT(n, 8u) << "the scenario hardly does anything";
                return;
            }
        }
    }

    /// An operation whose failure is raised.
    static void attempt(const std::function<void()>& operation) {
        const RunTimeError error = failureOf(operation);
        const bool translated = error.Number == 7 || error.Number == 40014; // no memory, no address
        EXPECT_TRUE(error.Number == 0 || error.Number == refused || translated) << error.Number;
    }

    static void expectUsable(Watched& watched) {
        const std::int32_t state = watched->State();
        EXPECT_NE(state, StateConnectionPending);
        EXPECT_NE(state, StateOpen);
        EXPECT_TRUE(state == StateClosed || state == StateError || watched->SocketHandle() != -1) << state;
        attempt([&] { watched->CloseSck(); });
        if (watched->State() == StateError && watched->SocketHandle() != -1) attempt([&] { watched->CloseSck(); });
        if (watched->State() == StateError) return; // it never had a socket
        EXPECT_EQ(watched->State(), StateClosed);
        if (!headless::nthNetworkCallFailed()) return; // the failure is still to come
        peers::Server server;
        watched.events.clear();
        watched->Connect(L"127.0.0.1", server.port());
        EXPECT_TRUE(watched.hears("Connect"));
    }

    static bool connected(Watched& client, const std::wstring& host, const peers::Server& server) {
        attempt([&] { client->Connect(host, server.port()); });
        return within([&] { return client->State() == StateConnected; });
    }
};

TEST_F(EveryCall, ConnectsByNameAndByAddress) {
    for (const std::wstring host : {L"localhost", L"127.0.0.1"}) {
        loop([&] {
            peers::Server server;
            Watched client;
            const bool good = connected(client, host, server);
            expectUsable(client);
            return good;
        });
    }
}

TEST_F(EveryCall, SendsThreeChunksAndReceives) {
    loop([&] {
        peers::Server server;
        Watched client;
        bool good = connected(client, L"127.0.0.1", server);
        if (good) {
            const auto peer = server.accept();
            const std::string data(40'000, 'x');
            attempt([&] { client->SendData(data); });
            good = client->State() == StateConnected && peer.receive(data.size()) == data;
        }
        expectUsable(client);
        return good;
    });
    loop([&] {
        peers::Server server;
        Watched client;
        bool good = connected(client, L"127.0.0.1", server);
        if (good) {
            auto peer = server.accept();
            peer.send("hello");
            peer.close();
            good = within([&] { return client->State() == StateClosing; }) && client->BytesReceived() == 5;
        }
        expectUsable(client);
        return good;
    });
}

TEST_F(EveryCall, Accepts) {
    loop([&] {
        Watched listener;
        Watched claimant;
        bool good = false;
        listener->on.ConnectionRequest = [&](std::int32_t id) { attempt([&] { claimant->Accept(id); }); };
        attempt([&] { listener->Bind(0, L"127.0.0.1"); });
        attempt([&] {
            if (listener->State() == StateOpen) listener->Listen();
        });
        if (listener->State() == StateListening) {
            const auto caller = peers::call(static_cast<std::uint16_t>(listener->LocalPort()));
            caller.send("hello");
            good = within([&] { return claimant->State() == StateConnected && claimant->BytesReceived() == 5; });
        }
        if (listener->State() == StateOpen) attempt([&] { listener->CloseSck(); });
        expectUsable(listener);
        expectUsable(claimant);
        return good;
    });
}

TEST_F(EveryCall, DownloadsWithARedirect) {
    const std::wstring file = testDesktop::scratchFolder() + L"\\file";
    loop([&] {
        std::filesystem::create_directories(headless::mapFolder(testDesktop::scratchFolder()));
        peers::Server server;
        headless::redirectPort(80, server.port());
        CDownload download;
        int ends = 0;
        bool good = false;
        download.on.Error = [&](std::int16_t Number, std::wstring&) {
            EXPECT_TRUE(Number == refused || Number == 7) << Number;
            ++ends;
        };
        download.on.Completed = [&] {
            good = true;
            ++ends;
        };
        const auto serve = [&](const std::string& answer) {
            if (!headless::pumpUntil([&] { return server.hasInput() || ends > 0; }) || ends > 0) return;
            auto peer = server.accept();
            if (!headless::pumpUntil([&] { return peer.hasInput() || ends > 0; }) || ends > 0) return;
            peer.receiveRequest();
            peer.send(answer);
        };
        const auto run = [&] {
            serve("HTTP/1.0 302 Found\r\nLocation: http://localhost/there\r\n\r\n");
            serve("HTTP/1.0 200 OK\r\n\r\nhello");
            headless::pumpUntil([&] { return ends > 0; });
        };
        download.Download(L"http://localhost/here", file);
        run();
        EXPECT_EQ(ends, 1);
        EXPECT_EQ(good, good && platform::readWholeFile(file) == "hello");
        const bool first = good;
        download.Cancel();
        const bool libraryStarted = InstanceCount == 0;
        if (headless::nthNetworkCallFailed() && libraryStarted) {
            ends = 0;
            good = false;
            download.Download(L"http://localhost/again", file);
            run();
            EXPECT_TRUE(good) << "the next one works";
        }
        download.Cancel();
        return first;
    });
}

} // namespace
