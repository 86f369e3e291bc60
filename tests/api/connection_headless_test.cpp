#include "platform/headless/Loop.h"
#include "platform/headless/Sockets.h"
#include "program/ProgramTest.h"

namespace {

using headless::NetworkCall;

class Connection : public ProgramTest {
protected:
    void SetUp() override {
        ProgramTest::SetUp();
        logIn();
    }
    static bool send() {
        Strings keys, values;
        return gAPI->APISend(L"vh.wallpapers.browse", keys, values);
    }
};

/// The socket's own report has closed it already when the sender looks: the watchdog is left to find out.
TEST_F(Connection, ARefusedSendIsToldOnlyToWhoIsWaiting) {
    const std::wstring failure = L"Quillory - Connection Issue | Network Error 10055!\r\nNo buffer space available.";
    const std::tuple<bool, bool, bool, std::int32_t, std::wstring, bool> cases[] = {
        {true, false, false, 10055, L"", false},         {true, false, true, 10055, failure, false},
        {false, true, true, 10055, L"", false},          {false, false, true, 10055, L"", false},
        {true, false, false, 10053, outageNotice, true}, {false, true, false, 11004, outageNotice, true}};
    for (const auto& [loggedIn, silent, forced, error, told, isOutage] : cases) {
        gAPI->apiNetworkOutage = gTimers->Active_SockTimeout = gTimers->Active_NetworkRetry = false;
        gAPI->apiLoggedIn = loggedIn;
        gAPI->apiSilent = silent;
        gAPI->apiForced = forced;
        ++timerTick;
        headless::failNetworkCall(NetworkCall::send, 1, error);
        EXPECT_TRUE(send());
        EXPECT_EQ(takeNotice(), told);
        EXPECT_TRUE(gTimers->Active_SockTimeout);
        EXPECT_EQ(gAPI->apiNetworkOutage, isOutage);
        EXPECT_EQ(gTimers->Active_NetworkRetry, isOutage);
        EXPECT_EQ(Start_NetworkRetry, isOutage ? timerTick : 0);
        Start_NetworkRetry = 0;
    }
    EXPECT_THAT(newBoxes(), IsEmpty());
}

TEST_F(Connection, ASocketThatStaysInErrorIsClosedAndShownAtTheLoginWindow) {
    for (const bool loggedIn : {true, false}) {
        gAPI->apiLoggedIn = loggedIn;
        headless::failNetworkCall(NetworkCall::send, 1, 10055);
        headless::failNetworkCall(NetworkCall::closesocket, 1, 10038);
        EXPECT_EQ(newBoxes().size(), 0u);
        EXPECT_FALSE(send());
        EXPECT_EQ(loggedIn, headless::boxes.empty());
        EXPECT_TRUE(send()) << "the next request connects anew";
    }
    EXPECT_THAT(newBoxes(),
                ElementsAre(L"Connection Error | 16 | Could not connect to the Velvet Harbor servers!\r\n\r\n"
                            L"Make sure you're connected to the internet and try again."));
}

/// A socket that cannot be made never leaves its error by itself; the API gets a new one. Bound and connected it is
/// only after the lookup, where nobody is left to raise an error to but the one who waits.
TEST_F(Connection, AConnectionThatFailsEndsTheWait) {
    for (const NetworkCall call :
         {NetworkCall::socket, NetworkCall::bind, NetworkCall::connect, NetworkCall::gethostname}) {
        gAPI->APICloseSock();
        gAPI->apiNetworkOutage = false;
        headless::failNetworkCall(call, 1, 10049);
        EXPECT_FALSE(send());
        EXPECT_TRUE(gAPI->apiNetworkOutage);
        EXPECT_TRUE(send()) << "the next request connects anew";
    }
}

TEST_F(Connection, IsClosedByWhatEndsIt) {
    const std::function<void()> endings[] = {
        [] { gAPI->APILogout(); },
        [] { gAPI->apiSetNetworkOutage(); },
        [] { EXPECT_THROW(frmMain->exitQuillory(true), headless::ProcessEnded); },
        [] { EXPECT_THROW(frmLogin.Unload(), headless::ProcessEnded); },
    };
    for (const auto& end : endings) {
        ASSERT_TRUE(send());
        const std::size_t open = headless::openSockets();
        end();
        EXPECT_EQ(headless::openSockets(), open - 1);
    }
}

} // namespace
