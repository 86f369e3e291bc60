#include "NetTest.h"
#include "Peer.h"
#include "net/CDownload.h"
#include "platform/Files.h"
#include "platform/headless/State.h"

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;
using testing::StartsWith;

/// Each scenario with its first, second, third... platform call failing, until it has no more calls: what is told and
/// in which state that leaves the objects. Nothing may leak or crash, and every object works again after CloseSck.

namespace {

std::string replaced(std::string text, const std::string& part, const std::string& by = {}) {
    for (std::size_t at; (at = text.find(part)) != std::string::npos;) text.replace(at, part.size(), by);
    return text;
}

/// Which calls are counted, and the failure that is planted: for the network the error of the interface.
struct Calls {
    void (*failNth)(std::size_t n, std::int32_t number);
    bool (*hasFailed)();
    std::int32_t number;
};
constexpr Calls networkCalls{headless::failNthNetworkCall, headless::nthNetworkCallFailed, 10055};
constexpr Calls fileCalls{headless::failNthFileCall, headless::nthFileCallFailed, 61};

class EveryCall : public NetTest {
protected:
    std::vector<std::string> log; // of the scenario that is running

    /// What came of the scenario with each of its calls failing: its log, with what escaped.
    std::vector<std::string> outcomes(
        const Calls& calls, const std::function<void()>& scenario, const std::function<void()>& prepare = [] {}) {
        std::vector<std::string> all;
        for (std::size_t n = 1; n < 100; ++n) {
            SCOPED_TRACE("call " + std::to_string(n));
            testDesktop::reset();
            begin();
            log.clear();
            prepare();
            calls.failNth(n, calls.number);
            if (const std::string raised = raisedBy(scenario); !raised.empty()) log.push_back("raised " + raised);
            if (InstanceCount == 1) forgetFailedStart();
            if (!calls.hasFailed()) return all;
            if (!escaped.empty() && escaped.back().ends_with("DestroySocket"))
                headless::resetNetwork();    // it is open yet
            CSocketMaster::create().reset(); // a library that did not end with its last object ends with the next one
            EXPECT_FALSE(ProcessesInitiated);
            expectNothingLeft();
            for (const std::string& error : escaped) log.push_back("escaped " + error);
            std::string outcome;
            for (const std::string& line : log) outcome += (outcome.empty() ? "" : ", ") + line;
            all.push_back(replaced(replaced(outcome, "10055 No buffer space available. "), "CSocketMaster."));
        }
        return all;
    }

    /// The object that was refused counts, and the start is not tried again.
    static void forgetFailedStart() {
        Watched other;
        other->Connect(L"127.0.0.1", 80);
        EXPECT_THAT(other.events, ElementsAre("Error 10093 Successful WSAStartup not yet performed. "
                                              "CSocketMaster.SocketExists"));
        --InstanceCount;
        ProcessesInitiated = false;
    }

    void attempt(const std::function<void()>& operation) {
        if (const std::string raised = raisedBy(operation); !raised.empty()) log.push_back("raised " + raised);
    }

    void logErrorsOf(Watched& watched) {
        watched->on.Error = [this](std::int16_t Number, std::wstring& Description, std::int32_t,
                                   const std::wstring& Source, const std::wstring&, std::int32_t,
                                   bool&) { log.push_back("told " + told(RunTimeError(Number, Source, Description))); };
    }

    void logState(const Watched& watched) {
        constexpr const char* names[] = {"closed",   "open",       "listening", "pending", "resolving",
                                         "resolved", "connecting", "connected", "closing", "error"};
        log.push_back(names[watched->State()]);
    }

    static void expectUsable(const Watched& watched) {
        if (!headless::nthNetworkCallFailed()) return; // the failure is still to come
        watched->on = {};
        watched->CloseSck();
        if (watched->State() == StateError) {
            EXPECT_EQ(watched->SocketHandle(), -1) << "only without a socket nothing leads out";
            return;
        }
        peers::Server server;
        watched->Connect(L"127.0.0.1", server.port());
        EXPECT_TRUE(watched.reaches(StateConnected));
    }
};

TEST_F(EveryCall, OfAClientThatConnectsByNameAndTalks) {
    const auto all = outcomes(networkCalls, [&] {
        peers::Server server;
        Watched client;
        logErrorsOf(client);
        client->on.Connect = [&] { attempt([&] { client->SendData(L"hello"); }); };
        attempt([&] { client->Connect(L"localhost", server.port()); });
        std::optional<peers::Connection> peer;
        EXPECT_TRUE(testDesktop::pumpUntil([&] {
            if (!peer && server.hasInput()) {
                peer.emplace(server.accept());
                peer->send("answer");
            }
            return !log.empty() || client->BytesReceived() == 6;
        }));
        if (log.empty()) {
            EXPECT_EQ(peer->receive(5), "hello");
            attempt([&] { client->CloseSck(); });
        }
        logState(client);
        expectUsable(client);
    });
    EXPECT_THAT(all, ElementsAre("raised modSocketMaster.InitiateProcesses", "told SocketExists, error",
                                 "raised ProcessOptions, closed", "raised ProcessOptions, closed",
                                 "raised modSocketMaster.RegisterSocket, closed",
                                 "raised 7 Out of memory ResolveIfHostname, error",
                                 "raised 7 Out of memory ResolveIfHostname, error", "told ResolveIfHostname, error",
                                 "told ConnectToIP, error", "told GetLocalHostName, resolved",
                                 "told GetLocalIP, resolved", "told BindInternal, resolved",
                                 "told BindInternal, resolved", "told ConnectToIP, error", "told PostSocket, error",
                                 "closed", "told SendBufferedData, error", "told RecvDataToBuffer, error",
                                 "raised DestroySocket, error", "closed, escaped modSocketMaster.FinalizeProcesses"));
}

TEST_F(EveryCall, OfAListenerAndItsClaimant) {
    const auto all = outcomes(networkCalls, [&] {
        Watched listener;
        Watched claimant;
        std::optional<peers::Connection> caller;
        logErrorsOf(listener);
        logErrorsOf(claimant);
        listener->on.ConnectionRequest = [&](std::int32_t id) { attempt([&] { claimant->Accept(id); }); };
        attempt([&] { listener->Bind(0, L"127.0.0.1"); });
        if (log.empty()) attempt([&] { listener->Listen(); });
        if (log.empty()) {
            caller.emplace(peers::call(static_cast<std::uint16_t>(listener->LocalPort())));
            caller->send("hello");
        }
        EXPECT_TRUE(testDesktop::pumpUntil([&] { return !log.empty() || claimant->BytesReceived() == 5; }));
        if (log.empty()) attempt([&] { listener->CloseSck(); });
        if (log.empty()) attempt([&] { claimant->CloseSck(); });
        logState(listener);
        logState(claimant);
        expectUsable(listener);
        expectUsable(claimant);
        if (caller && headless::nthNetworkCallFailed()) {
            EXPECT_EQ(caller->receive(1), "") << "the call is over";
        }
    });
    EXPECT_THAT(all, ElementsAre("raised modSocketMaster.InitiateProcesses", "told SocketExists, error, closed",
                                 "raised ProcessOptions, closed, closed", "raised ProcessOptions, closed, closed",
                                 "raised modSocketMaster.RegisterSocket, closed, closed",
                                 "raised BindInternal, closed, closed", "raised BindInternal, closed, closed",
                                 "raised Listen, open, closed", "told PostSocket, listening, closed",
                                 "told ProcessOptions, listening, closed", "told ProcessOptions, listening, closed",
                                 "closed, closed", "raised ProcessOptions, listening, closed",
                                 "raised ProcessOptions, listening, closed", "raised Accept, listening, closed",
                                 "closed, closed", "told RecvDataToBuffer, listening, error",
                                 "raised DestroySocket, error, connected", "raised DestroySocket, closed, error",
                                 "closed, closed, escaped modSocketMaster.FinalizeProcesses"));
}

/// A download that is sent elsewhere and replaces an old file: it has one end, and the next one works.
class EveryCallOfADownload : public EveryCall {
protected:
    const std::wstring file = testDesktop::scratchFolder() + L"\\file";

    void putOldFile() const {
        testDesktop::putFile(file, "old");
        platform::setFileAttributes(file, platform::attributes::readOnly);
    }

    /// Logs its ends.
    void download() {
        const peers::Server server;
        headless::redirectPort(80, server.port());
        const std::size_t before = log.size();
        CDownload download;
        download.on.Completed = [&] { log.push_back("Completed"); };
        download.on.Error = [&](std::int16_t Number, std::wstring& Description) {
            log.push_back(RunTimeError(Number, L"", Description).what());
        };
        download.Download(L"http://localhost/here", file);
        std::optional<peers::Connection> peer;
        EXPECT_TRUE(testDesktop::pumpUntil([&] {
            if (!peer && server.hasInput()) peer.emplace(server.accept());
            if (!peer || !peer->hasInput()) return log.size() > before;
            const std::string request = peer->receiveRequest(); // "" from one that has been given up
            if (request.starts_with("GET /here"))
                peer->send("HTTP/1.0 302 Found\r\nLocation: http://localhost/there\r\n\r\nmoved");
            else if (!request.empty())
                peer->send("HTTP/1.0 200 OK\r\n\r\nhello");
            peer.reset();
            return log.size() > before;
        }));
    }

    std::vector<std::string> ends(const Calls& calls) {
        const auto scenario = [&] {
            download();
            if (!calls.hasFailed() || InstanceCount == 1) return;
            const std::string content = platform::fileAttributes(file) ? platform::readWholeFile(file) : "";
            EXPECT_TRUE(content == "old" || std::string("hello").starts_with(content)) << content;
            download();
            EXPECT_EQ(platform::readWholeFile(file), "hello");
            EXPECT_EQ(platform::openBinary(file), 1) << "no file stays open";
        };
        return outcomes(calls, scenario, [&] { putOldFile(); });
    }
};

TEST_F(EveryCallOfADownload, OfTheNetworkAndOfItsFile) {
    const auto all = ends(networkCalls);
    EXPECT_EQ(all.front(), "10055 No buffer space available.") << "from a library that does not start";
    EXPECT_THAT(all, Contains("7 Out of memory, Completed").Times(4)) << "of each lookup";
    EXPECT_THAT(all, Contains("10055 No buffer space available., Completed").Times(28));
    EXPECT_THAT(all, Contains(StartsWith("Completed, Completed")).Times(5)) << "the others are told to nobody";
    EXPECT_THAT(all, SizeIs(38));
    EXPECT_THAT(ends(fileCalls), AllOf(SizeIs(8), Each("61 Disk full, Completed")));
}

} // namespace
