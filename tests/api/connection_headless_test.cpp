#include "platform/headless/Loop.h"
#include "platform/headless/Sockets.h"
#include "program/ProgramTest.h"

namespace {

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

/// Wine has another word for a hang-up on an unread request.
TEST_F(Connection, ABrokenConnectionIsToldOnlyToWhoIsWaiting) {
    struct Case {
        bool forced;
        const wchar_t* notice;
    };
    for (const Case& c : {Case{false, L""}, Case{true, L"Network Error 10054!\r\nConnection reset by peer."}}) {
        frmSlideMessage.discard();
        getGalleries(); // connects
        gAPI->apiForced = c.forced;
        ASSERT_TRUE(testDesktop::pumpUntil([] { return frmMain->cboGallery.Enabled(); }));
        gAPI->RotateWallpaper();
        site().hangUp(); // on a request that it has not read: a reset
        if (c.forced) {
            EXPECT_TRUE(testDesktop::pumpUntil([] { return frmSlideMessage.isLoaded(); }));
        } else {
            person::settle();
        }
        EXPECT_EQ(frmSlideMessage.isLoaded() ? frmSlideMessage->lblStatusMsg.Caption() : L"", c.notice);
        EXPECT_FALSE(gAPI->apiNetworkOutage) << "no outage starts; the next request connects anew";
    }
}

/// The socket's own report has closed it already when the sender looks: the watchdog is left to find out.
TEST_F(Connection, ARefusedSendIsToldOnlyToWhoIsWaiting) {
    for (const bool forced : {false, true}) {
        gAPI->apiForced = forced;
        gTimers->Active_SockTimeout = false;
        headless::failNetworkCall(headless::NetworkCall::send, 1, 10055);
        EXPECT_TRUE(send());
        EXPECT_TRUE(gTimers->Active_SockTimeout);
        EXPECT_EQ(frmSlideMessage.isLoaded(), forced);
        EXPECT_FALSE(gAPI->apiNetworkOutage);
    }
    EXPECT_EQ(frmSlideMessage->lblStatusMsg.Caption(), L"Network Error 10055!\r\nNo buffer space available.");
    EXPECT_TRUE(headless::boxes.empty());
}

TEST_F(Connection, WhatTheNetworkBreaksOffIsAnOutageUnattendedToo) {
    gAPI->apiForced = false;
    timerTick = 7;
    headless::failNetworkCall(headless::NetworkCall::send, 1, 10053);
    send();
    EXPECT_TRUE(gAPI->apiNetworkOutage);
    EXPECT_TRUE(gTimers->Active_NetworkRetry);
    EXPECT_EQ(Start_NetworkRetry, 7);
    EXPECT_EQ(frmSlideMessage->lblStatusMsg.Caption().substr(0, 33), L"Could not connect to VelvetHarbor");
}

/// Nobody has asked for a wallpaper yet: whether a person has typed the login or not, the watchdog has the word.
TEST_F(Connection, AnErrorDuringALoginIsNotToldAsSuch) {
    gAPI->apiLoggedIn = false;
    for (const bool silent : {true, false}) {
        gAPI->apiSilent = silent;
        gAPI->apiForced = true;
        headless::failNetworkCall(headless::NetworkCall::send, 1, 10055);
        gAPI->APILogin();
        EXPECT_FALSE(frmSlideMessage.isLoaded());
        EXPECT_TRUE(headless::boxes.empty());
        EXPECT_FALSE(gAPI->apiNetworkOutage);
        EXPECT_TRUE(gTimers->Active_SockTimeout);
    }
}

TEST_F(Connection, ASocketThatStaysInErrorIsClosedAndShownAtTheLoginWindow) {
    for (const bool loggedIn : {true, false}) {
        gAPI->apiLoggedIn = loggedIn;
        headless::failNetworkCall(headless::NetworkCall::send, 1, 10055);
        headless::failNetworkCall(headless::NetworkCall::closesocket, 1, 10038);
        EXPECT_FALSE(send());
        EXPECT_EQ(headless::boxes.size(), loggedIn ? 0u : 1u);
        EXPECT_TRUE(send()) << "the next request connects anew";
    }
    EXPECT_EQ(headless::boxes[0].title, L"Connection Error");
    EXPECT_EQ(headless::boxes[0].style, 16);
}

/// Such a socket never leaves its error by itself; the API gets a new one.
TEST_F(Connection, ASocketThatCannotBeMadeIsMadeAnewForTheNextRequest) {
    gAPI->APICloseSock();
    headless::failNetworkCall(headless::NetworkCall::socket, 1, 10055);
    EXPECT_FALSE(send());
    EXPECT_TRUE(gAPI->apiNetworkOutage);
    EXPECT_TRUE(gAPI->apiNetworkRetry());
    EXPECT_TRUE(send());
}

/// Bound and connected only after the lookup, where nobody is left to raise an error to but the one who waits.
TEST_F(Connection, AConnectionThatFailsBehindItsLookupEndsTheWait) {
    using headless::NetworkCall;
    for (const NetworkCall call : {NetworkCall::bind, NetworkCall::connect, NetworkCall::gethostname}) {
        gAPI->APICloseSock();
        gAPI->apiNetworkOutage = false;
        headless::failNetworkCall(call, 1, 10049);
        EXPECT_FALSE(send());
        EXPECT_TRUE(gAPI->apiNetworkOutage);
        EXPECT_TRUE(send()) << "the next request connects anew";
    }
}

} // namespace
